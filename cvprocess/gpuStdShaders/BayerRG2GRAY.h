#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Turns the raw picture of a Bayer sensor into grey.
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
/// The grey is the luminance of that colour, `0.212671 red + 0.715160 green + 0.072169 blue` (ITU-R BT.709).
///
/// Input: one rectangle texture with the sensor value in r. Output: grey in r; g, b and a have no defined value.
/// For inputs of 0..1 the grey stays below 3, as the scale may be 3: formats that are not float clamp.
/// Border: places outside take what the texture's wrap mode gives, the edge pixel for RectTexture. No parameters.
///
/// Example:
///
///     BayerRG2GRAY demosaic;
///     demosaic.prepareExecution(raw, grey);
///     demosaic.execute();
class VELMOR_CVPROCESS_EXPORT BayerRG2GRAY : public GpuStdShaders
{
public:
    /// Compiles the program; needs the context.
    BayerRG2GRAY();

    ~BayerRG2GRAY() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
