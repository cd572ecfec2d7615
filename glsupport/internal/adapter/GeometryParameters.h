#pragma once

#include "glsupport/internal/adapter/Context.h"
#include "glsupport/internal/adapter/ShaderText.h"

#include <GL/glew.h>

// What EXT_geometry_shader4 has a program say of its geometry stage.

namespace velmor::glsupport::adapter {

/// The parameters of a program in the words of the language.
GeometryLayout layoutOf(const ProgramRecord& program, int verticesAnInvocation, bool shifted);

// Entry point

void GLAPIENTRY programParameteri(GLuint program, GLenum name, GLint value);

} // namespace velmor::glsupport::adapter
