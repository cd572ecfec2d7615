#pragma once

#include <GL/glew.h>

// Links programs of the classic dialect, whose texts are then made definite. All others go to the driver as they come.

namespace velmor::glsupport::adapter {

// Entry point

void GLAPIENTRY linkProgram(GLuint program);

} // namespace velmor::glsupport::adapter
