#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Adds two pictures channel by channel: `out = A + B`, limited to 0..1.
///
/// By design this is a sum with a limit and no logical "or": 0.3 and 0.3 make 0.6.
///
/// Sources: two pictures of 1, 3 or 4 channels of bytes or floats, of one type. Result: the same channels; the sources'
/// depth unless another is asked for. There are no parameters. Each pixel is computed from its own place alone.
///
/// Example:
///
///     const native::Or either;
///     either.execute(skinMask, motionMask, skinOrMotion);
class VELMOR_NATIVE_EXPORT Or : public Filter
{
public:
    /// Makes the filter.
    Or();
};

} // namespace velmor::native
