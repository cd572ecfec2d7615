#pragma once

#include <GL/glew.h>

namespace velmor::glsupport::adapter {

/// Raises an OpenGL error, so that it is the caller's to find. Changes nothing else. While a display list is compiled
/// GL_INVALID_ENUM and GL_INVALID_VALUE alone may be raised.
void raise(GLenum error);

} // namespace velmor::glsupport::adapter
