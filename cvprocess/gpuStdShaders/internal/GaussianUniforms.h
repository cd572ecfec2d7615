#pragma once

#include "core/cvdata/GM.h"

#include <GL/glew.h>

// Numbers of a Gaussian component as the uniforms of the program in use. Doubles become floats.

namespace velmor::cvprocess {

inline GLfloat narrowed(double value)
{
    return static_cast<GLfloat>(value);
}

/// Four floats for a mat2 of the shader: the classic dialect takes them.
inline void sendCovariance(GLint location, const core::cvdata::GM& gaussian)
{
    const math::SquareMatrix& inverse = gaussian.invCovariance;
    glUniform4f(location, narrowed(inverse[0][0]), narrowed(inverse[0][1]), narrowed(inverse[1][0]),
                narrowed(inverse[1][1]));
}

inline void sendMean(GLint location, const core::cvdata::GM& gaussian)
{
    glUniform2f(location, narrowed(gaussian.mean[0]), narrowed(gaussian.mean[1]));
}

} // namespace velmor::cvprocess
