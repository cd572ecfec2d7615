#pragma once

#include <GL/glew.h>

namespace velmor::python::gl {

/// While it lives, a shader that does not compile throws std::runtime_error with what the driver says about it, where
/// the shader manager would end the process.
///
/// It stands in the place of glCompileShader() and glGetShaderiv(), and so needs to be alone; see Alone.
class Compilation
{
public:
    Compilation();
    Compilation(const Compilation&) = delete;
    Compilation& operator=(const Compilation&) = delete;
    ~Compilation();
};

/// Whether a program is linked; and if it is not, what the driver says.
/// @throws std::runtime_error  when it is not
void checkLinked(GLuint program);

} // namespace velmor::python::gl
