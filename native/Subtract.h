#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Computes the absolute difference of two pictures, channel by channel: `out = |A - B|`.
///
/// Sources: two pictures of 1, 3 or 4 channels of bytes or floats, of one type. Result: the same channels; the sources'
/// depth unless another is asked for. There are no parameters. Each pixel is computed from its own place alone.
///
/// Example:
///
///     const native::Subtract change;
///     change.execute(frameBefore, frameNow, difference);
class VELMOR_NATIVE_EXPORT Subtract : public Filter
{
public:
    /// Makes the filter.
    Subtract();
};

} // namespace velmor::native
