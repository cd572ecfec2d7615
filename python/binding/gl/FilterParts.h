#pragma once

#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

namespace velmor::python::gl {

/// Reaches what filters keep for themselves, of a filter of any class.
struct FilterParts : cvprocess::GpuStdShaders
{
    static constexpr auto framebuffer = &FilterParts::mCurrentFbo;
};

inline cvprocess::GlFbo& framebufferOf(const cvprocess::GpuStdShaders& filter)
{
    return *(filter.*FilterParts::framebuffer);
}

} // namespace velmor::python::gl
