#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Finds edges: the Sobel gradients of a grey picture and their magnitude.
///
/// The filter correlates the red channel with two kernels of 3 x 3 (Sobel and Feldman, 1968), here row by row from the
/// top:
///
///     horizontal edges h:  -1 -2 -1 / 0 0 0 / 1 2 1
///     vertical edges v:     1 0 -1 / 2 0 -2 / 1 0 -1
///
/// Input: one rectangle texture with grey in r. Output: h in r, v in g, sqrt(h^2 + v^2) in b; a has no defined value.
/// For inputs of 0..1, r and g lie in -4..4 and b in 0..5.657: the destination needs a float format, because others
/// clamp.
/// There are no parameters.
/// Border: outside the source the texture's wrap mode decides; a RectTexture repeats its edge pixels.
///
/// Example:
///
///     GRAY2Sobel sobel;
///     sobel.prepareExecution(grey, gradients); // gradients: RectTexture::RGBA32F
///     sobel.execute();
class VELMOR_CVPROCESS_EXPORT GRAY2Sobel : public GpuStdShaders
{
public:
    /// Compiles the program; a context must be current.
    GRAY2Sobel();

    ~GRAY2Sobel() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
