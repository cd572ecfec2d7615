#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Turns the raw picture of a Bayer sensor into colour.
///
/// The pattern is RGGB, counted from the picture's first pixel: red on even rows and columns, blue on odd ones, green
/// between. If the first pixel of a picture is not red, its colours come out exchanged. A part of a larger picture
/// counts from its own first pixel.
///
/// v(dx, dy) are the sensor values around a pixel. The pixel's own colour is averaged along its row:
/// `alpha = (v(-2, 0) + v(0, 0) + v(2, 0)) / 3`. Each of the other two colours is the average of two neighbours
/// (gamma): left and right, above and below, or upper left and lower right. All three are then scaled by
/// `v(0, 0) / alpha`, so that the pixel's own colour comes out as its sensor value. Where alpha is 0 nothing is scaled.
/// By design the row is used everywhere, whatever the contrast along the column.
///
/// Source: a picture of 1 channel of bytes or floats. Result: 3 channels, red first; the source's depth unless another
/// is asked for. There are no parameters. Border: neighbours outside the picture are its edge's.
/// For sources of 0..1 the colours go up to 3, because the scale may reach 3; bytes stop at 255.
///
/// Example:
///
///     const native::BayerRG2RGB demosaic;
///     demosaic.execute(raw, colour);
class VELMOR_NATIVE_EXPORT BayerRG2RGB : public Filter
{
public:
    /// Makes the filter.
    BayerRG2RGB();
};

} // namespace velmor::native
