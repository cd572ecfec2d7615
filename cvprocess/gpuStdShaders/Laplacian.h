#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <cstdint>
#include <string>

namespace velmor::cvprocess {

/// Finds edges: the absolute Laplacian of a picture, by one of three kernels of 3 x 3.
///
/// `out = |sum of kernel * neighbour|`, channel by channel, alpha included. The kernels, row by row from the top:
///
///     kernelType 1        0 1 0 / 1 -4 1 / 0 1 0
///     kernelType 2       -1 2 -1 / 2 -4 2 / -1 2 -1
///     any other value    -1 -1 -1 / -1 8 -1 / -1 -1 -1
///
/// Input: one rectangle texture. Output: r, g, b, a, up to 8 for inputs of 0..1: the destination needs a float format,
/// because others clamp.
/// Parameter: `kernelType`, default 0. It can be changed through params() between passes.
/// Border: outside the source the texture's wrap mode decides; a RectTexture repeats its edge pixels.
///
/// Example:
///
///     Laplacian::Param param;
///     param.kernelType = 1;
///     Laplacian laplacian(&param);
///     laplacian.prepareExecution(picture, edges); // edges: RectTexture::RGBA32F
///     laplacian.execute();
class VELMOR_CVPROCESS_EXPORT Laplacian : public GpuStdShaders
{
public:
    /// Settings.
    struct Param
    {
        std::int32_t kernelType = 0; ///< 1: four neighbours, 2: eight neighbours, else the negative Laplacian
    };

    /// Compiles the program; a context must be current.
    /// @param param  copied; null for the defaults
    explicit Laplacian(Param* param);

    ~Laplacian() override;

    /// The filter's own settings, which the next pass uses.
    Param* params() { return &mParam; }

    void execute() override;

private:
    Param mParam;
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
