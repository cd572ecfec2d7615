#pragma once

#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <cstdint>

namespace velmor::python::gl {

/// Reaches what filters keep for themselves, of a filter of any class.
struct FilterParts : cvprocess::GpuStdShaders
{
    static constexpr auto program = &FilterParts::mProgObj;
    static constexpr auto framebuffer = &FilterParts::mCurrentFbo;
};

inline std::uint32_t programOf(const cvprocess::GpuStdShaders& filter)
{
    return filter.*FilterParts::program;
}

inline cvprocess::GlFbo& framebufferOf(const cvprocess::GpuStdShaders& filter)
{
    return *(filter.*FilterParts::framebuffer);
}

} // namespace velmor::python::gl
