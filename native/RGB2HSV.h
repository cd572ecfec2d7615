#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Turns a colour picture into value, saturation and hue, in this order.
///
/// The model is the hexcone (Smith, Color gamut transform pairs, 1978). (R, G, B) are the channels (2, 1, 0), MAX is
/// their largest and MIN their smallest. Then `V = MAX`, `S = (MAX - MIN) / MAX`, or 0 for black, and the hue in
/// degrees is
///
///     0                                  where MAX = MIN
///     60 (G - B) / (MAX - MIN)           where MAX = R, else
///     120 + 60 (B - R) / (MAX - MIN)     where MAX = G, else
///     240 + 60 (R - G) / (MAX - MIN)
///
/// plus 360 where that is below 0. The third channel of the result is hue / 360. Use this filter for pictures whose
/// first channel is blue, as OpenCV reads them from files.
///
/// Sources: one picture of 3 or 4 channels of bytes or floats; a fourth one does not count. Result: 3 channels; the
/// source's depth unless another is asked for. There are no parameters. Each pixel is computed from its own place
/// alone.
///
/// Limits: a hue just below 360 may be rounded to 1, which is the same red as 0. In bytes this happens to every hue
/// above 359.3.
///
/// Example:
///
///     const native::RGB2HSV toHsv;
///     toHsv.execute(frame, result);
class VELMOR_NATIVE_EXPORT RGB2HSV : public Filter
{
public:
    /// Makes the filter.
    RGB2HSV();
};

} // namespace velmor::native
