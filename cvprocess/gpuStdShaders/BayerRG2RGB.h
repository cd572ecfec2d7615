#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Turns the raw picture of a Bayer sensor into colour.
///
/// The pattern is RGGB: red on even rows and columns, blue on odd ones, green between, counted from the texture's
/// origin. A picture whose first pixel is not red comes out with its colours exchanged.
///
/// With v(dx, dy) the sensor values around a pixel: the average of the pixel's own colour along the row is
/// `alpha = (v(-2, 0) + v(0, 0) + v(2, 0)) / 3`, the other colours are averages of two neighbours (gamma: left and
/// right, above and below, or the upper left and lower right diagonal), and all are scaled by `v(0, 0) / alpha`, so
/// that the pixel's own colour comes out as its sensor value. Where alpha is 0 nothing is scaled. The composition along
/// the row is used everywhere, whatever the contrast along the column: the test that chooses compares the horizontal
/// contrast with itself. This is meant.
///
/// Input: one rectangle texture with the sensor value in r. Output: red, green, blue in r, g, b, and 0 in a; up
/// to 3 for inputs of 0..1, as the scale may be 3: formats that are not float clamp.
/// Border: places outside take what the texture's wrap mode gives, the edge pixel for RectTexture. No parameters.
///
/// Example:
///
///     BayerRG2RGB demosaic;
///     demosaic.prepareExecution(raw, colour);
///     demosaic.execute();
class VELMOR_CVPROCESS_EXPORT BayerRG2RGB : public GpuStdShaders
{
public:
    /// Compiles the program; needs the context.
    BayerRG2RGB();

    ~BayerRG2RGB() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
