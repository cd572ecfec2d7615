#pragma once

#include <GL/glew.h>

#include <vector>

// Has glUniform4f() set a mat2.

namespace velmor::glsupport::adapter {

/// The locations of a program's uniforms of type mat2, sorted.
std::vector<GLint> mat2LocationsOf(GLuint program);

// Entry point

void GLAPIENTRY uniform4f(GLint location, GLfloat x, GLfloat y, GLfloat z, GLfloat w);

} // namespace velmor::glsupport::adapter
