#pragma once

#include <GL/glew.h>

#include <set>

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

    /// Those of the above for which ours have been put in place and not been taken away again. Ours may be called for
    /// them even where GLEW's pointer is no longer ours: a third party may have wrapped it.
    std::set<const void*> replaced;
};

} // namespace velmor::glsupport::adapter
