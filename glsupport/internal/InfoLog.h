#pragma once

#include <GL/glew.h>

#include <string>

namespace velmor::glsupport {

/// What the driver says about a shader or a program.
/// @param query  glGetShaderiv or glGetProgramiv
/// @param read   glGetShaderInfoLog or glGetProgramInfoLog
inline std::string infoLog(GLuint object, PFNGLGETSHADERIVPROC query, PFNGLGETSHADERINFOLOGPROC read)
{
    GLint length = 0;
    query(object, GL_INFO_LOG_LENGTH, &length);
    std::string log(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    GLsizei written = 0;
    if (!log.empty())
        read(object, length, &written, log.data());
    log.resize(static_cast<std::size_t>(written));
    return log;
}

} // namespace velmor::glsupport
