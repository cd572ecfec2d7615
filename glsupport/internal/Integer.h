#pragma once

#include <GL/glew.h>

namespace velmor::glsupport {

/// A state of OpenGL that is one number.
inline GLint integer(GLenum name)
{
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

} // namespace velmor::glsupport
