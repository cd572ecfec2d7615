#pragma once

#include "tests/support/PixelTest.h"

namespace velmor::tests {

// What filters are to give, computed in double precision from the formulas. Where several filters share a rule, it
// stands here; the others have theirs in their own test.

/// The luminance of ITU-R BT.709 in all four channels.
Texel luminance(const Texel& colour, const Texel&);

/// Hue, saturation and value as a shader of the library writes them: (V, S, H / 360, 1).
Texel hsv(double red, double green, double blue);

/// Expects hue and saturation of colours that are all but black, and of ones that are all but grey.
/// @param run        what a filter gives for a red, a green and a blue
/// @param tolerance  of hue and saturation
void expectFaintColours(const std::function<Texel(float red, float green, float blue)>& run, float tolerance);

/// Red, green and blue at a place of an RGGB mosaic, and 0.
Texel demosaiced(const Picture& mosaic, int x, int y);

/// The mosaic that an RGGB sensor would see of a picture: at each place one of the three colours.
core::cvdata::Image mosaicOf(const core::cvdata::Image& colours);

/// The second texel less the first, and zeros where any channel of that is negative.
Texel gain(const Texel& first, const Texel& second);
Bytes gainOfBytes(const Bytes& first, const Bytes& second);

} // namespace velmor::tests
