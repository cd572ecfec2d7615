#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Turns the raw picture of a Bayer sensor into grey.
///
/// The pattern is RGGB, counted from the texture's origin: red on even rows and columns, blue on odd ones, green
/// between. If the first pixel of a picture is not red, its colours come out exchanged.
///
/// v(dx, dy) are the sensor values around a pixel. The pixel's own colour is averaged along its row:
/// `alpha = (v(-2, 0) + v(0, 0) + v(2, 0)) / 3`. Each of the other two colours is the average of two neighbours
/// (gamma): left and right, above and below, or upper left and lower right. All three are then scaled by
/// `v(0, 0) / alpha`, so that the pixel's own colour comes out as its sensor value. Where alpha is 0 nothing is scaled.
/// By design the row is used everywhere, whatever the contrast along the column: the test that chooses between the two
/// compares the horizontal contrast with itself.
///
/// The grey is the luminance of that colour, `0.212671 red + 0.715160 green + 0.072169 blue` (ITU-R BT.709).
///
/// Input: one rectangle texture with the sensor value in r. Output: grey in r; g, b and a have no defined value.
/// For inputs of 0..1 the grey stays below 3, because the scale may reach 3. Formats other than float clamp it.
/// There are no parameters.
/// Border: outside the source the texture's wrap mode decides; a RectTexture repeats its edge pixels.
///
/// Example:
///
///     BayerRG2GRAY demosaic;
///     demosaic.prepareExecution(raw, grey);
///     demosaic.execute();
class VELMOR_CVPROCESS_EXPORT BayerRG2GRAY : public GpuStdShaders
{
public:
    /// Compiles the program; a context must be current.
    BayerRG2GRAY();

    ~BayerRG2GRAY() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
