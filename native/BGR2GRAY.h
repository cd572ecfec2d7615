#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Turns a colour picture into grey by its luminance: `grey = 0.212671 c0 + 0.715160 c1 + 0.072169 c2`.
///
/// The weights are those of ITU-R BT.709 for red, green and blue. By design BGR2GRAY and RGB2GRAY give the same result:
/// both weight channel 0 by 0.212671. This is right for every picture whose first channel is red.
///
/// Sources: one picture of 3 or 4 channels of bytes or floats. Result: 1 channel; the source's depth unless another is
/// asked for. There are no parameters. Each pixel is computed from its own place alone.
///
/// Limits: a fourth channel has the weight 0.0. So it does not count, unless it is infinite or no number: then the grey
/// is no number.
///
/// Example:
///
///     const native::BGR2GRAY grey;
///     grey.execute(frame, result);
class VELMOR_NATIVE_EXPORT BGR2GRAY : public Filter
{
public:
    /// Makes the filter.
    BGR2GRAY();
};

} // namespace velmor::native
