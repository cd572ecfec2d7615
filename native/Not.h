#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Computes the complement of a picture, channel by channel: `out = 1 - A`.
///
/// Alpha is complemented too.
///
/// Sources: a picture of 1, 3 or 4 channels of bytes or floats. Result: the same channels; the source's depth
/// unless another is asked for. There are no parameters. Each pixel is computed from its own place alone.
///
/// Example:
///
///     const native::Not background;
///     background.execute(skinMask, everythingElse);
class VELMOR_NATIVE_EXPORT Not : public Filter
{
public:
    /// Makes the filter.
    Not();
};

} // namespace velmor::native
