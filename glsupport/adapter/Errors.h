#pragma once

#include <GL/glew.h>

namespace velmor::glsupport::adapter {

/// Raises an OpenGL error, so that it is the caller's to find. Changes nothing else.
void raise(GLenum error);

} // namespace velmor::glsupport::adapter
