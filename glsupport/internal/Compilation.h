#pragma once

#include "glsupport/Export.h"

namespace velmor::glsupport {

/// While it lives, a shader that does not compile and a program that does not link throw std::runtime_error with what
/// the driver says about them, and a message of the driver's that there is no memory for throws std::bad_alloc. The
/// shader manager would end the process, or go on with a program that draws nothing.
///
/// It stands in the place of GLEW's glCompileShader(), glGetShaderiv(), glGetProgramiv() and glLinkProgram(), which are
/// variables of the process. So there is one at a time, and meanwhile no other thread calls them.
class VELMOR_GLSUPPORT_EXPORT Compilation
{
public:
    Compilation();
    Compilation(const Compilation&) = delete;
    Compilation& operator=(const Compilation&) = delete;
    ~Compilation();
};

} // namespace velmor::glsupport
