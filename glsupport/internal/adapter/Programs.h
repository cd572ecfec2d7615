#pragma once

#include <GL/glew.h>

// Follows programs from their creation through their use to their end.

namespace velmor::glsupport::adapter {

// Entry points

GLuint GLAPIENTRY createProgram();
void GLAPIENTRY deleteProgram(GLuint program);
void GLAPIENTRY useProgram(GLuint program);

} // namespace velmor::glsupport::adapter
