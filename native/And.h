#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Marks the channels that are set in both pictures: 1 where `A > 0` and `B > 0`, else 0.
///
/// From bytes to bytes 1 is 255.
///
/// Sources: two pictures of 1, 3 or 4 channels of bytes or floats, of one type. Result: the same channels; the sources'
/// depth unless another is asked for. There are no parameters. Each pixel is computed from its own place alone.
///
/// Example:
///
///     const native::And both;
///     both.execute(skinMask, motionMask, movingSkin);
class VELMOR_NATIVE_EXPORT And : public Filter
{
public:
    /// Makes the filter.
    And();
};

} // namespace velmor::native
