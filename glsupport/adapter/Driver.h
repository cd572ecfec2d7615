#pragma once

#include "glsupport/internal/Integer.h"

#include <GL/glew.h>

namespace velmor::glsupport::adapter {

/// The entry points of the driver while ours are in place.
struct Driver
{
    PFNGLCOMPILESHADERPROC compileShader = nullptr;
    PFNGLCREATEPROGRAMPROC createProgram = nullptr;
    PFNGLDELETEPROGRAMPROC deleteProgram = nullptr;
    PFNGLLINKPROGRAMPROC linkProgram = nullptr;
    PFNGLPROGRAMPARAMETERIEXTPROC programParameteri = nullptr;
    PFNGLUSEPROGRAMPROC useProgram = nullptr;
    PFNGLUNIFORM4FPROC uniform4f = nullptr;
    PFNGLFRAMEBUFFERTEXTURE2DEXTPROC framebufferTexture2DExt = nullptr;
    PFNGLFRAMEBUFFERTEXTURE2DPROC framebufferTexture2D = nullptr;
    PFNGLBINDFRAMEBUFFEREXTPROC bindFramebufferExt = nullptr;
    PFNGLBINDFRAMEBUFFERPROC bindFramebuffer = nullptr;
    PFNGLDELETEFRAMEBUFFERSEXTPROC deleteFramebuffersExt = nullptr;
    PFNGLDELETEFRAMEBUFFERSPROC deleteFramebuffers = nullptr;
};

extern Driver driver;

/// Whether calls go into a display list: what they would do is not done now.
inline bool isCompilingList()
{
    return integer(GL_LIST_INDEX) != 0;
}

} // namespace velmor::glsupport::adapter
