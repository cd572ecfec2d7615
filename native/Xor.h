#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Computes by how much the second picture exceeds the first: `B - A` where that is negative in no channel of the
/// pixel, else 0 in all channels.
///
/// The name is kept although this is no logical "exclusive or". Classify computes the same.
///
/// Sources: two pictures of 1, 3 or 4 channels of bytes or floats, of one type. Result: the same channels; the sources'
/// depth unless another is asked for. There are no parameters. Each pixel is computed from its own place alone.
///
/// Example:
///
///     const native::Xor gain;
///     gain.execute(frameBefore, frameNow, brighter);
class VELMOR_NATIVE_EXPORT Xor : public Filter
{
public:
    /// Makes the filter.
    Xor();
};

} // namespace velmor::native
