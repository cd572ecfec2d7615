#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Turns the raw picture of a Bayer sensor into grey.
///
/// The grey is the luminance of the colour that BayerRG2RGB gives,
/// `0.212671 red + 0.715160 green + 0.072169 blue` (ITU-R BT.709). From bytes to bytes it is rounded once: the three
/// colours are neither rounded nor limited before.
///
/// Source: a picture of 1 channel of bytes or floats, in the pattern that BayerRG2RGB takes. Result: 1 channel; the
/// source's depth unless another is asked for. There are no parameters. Border: neighbours outside the picture are its
/// edge's.
/// For sources of 0..1 the grey stays below 3, because colours are scaled by up to 3; bytes stop at 255.
///
/// Example:
///
///     const native::BayerRG2GRAY demosaic;
///     demosaic.execute(raw, grey);
class VELMOR_NATIVE_EXPORT BayerRG2GRAY : public Filter
{
public:
    /// Makes the filter.
    BayerRG2GRAY();
};

} // namespace velmor::native
