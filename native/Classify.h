#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Keeps the difference of two pictures where it is not negative: `B - A` where that is negative in no channel of
/// the pixel, else 0 in all channels.
///
/// Sources: two pictures of 1, 3 or 4 channels of bytes or floats, of one type. Result: the same channels; the sources'
/// depth unless another is asked for. There are no parameters. Each pixel is computed from its own place alone.
///
/// Example:
///
///     const native::Classify gain;
///     gain.execute(background, frameNow, foreground);
class VELMOR_NATIVE_EXPORT Classify : public Filter
{
public:
    /// Makes the filter.
    Classify();
};

} // namespace velmor::native
