#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Turns a picture upside down: row y of the result is row `height - 1 - y` of the source.
///
/// Columns keep their order, and pixels their values.
///
/// Source: a picture of 1, 3 or 4 channels of bytes or floats. Result: the same channels; the source's depth unless
/// another is asked for. There are no parameters. No place outside the source is read.
/// The result may be the source, which then takes a second picture's memory for a while.
///
/// Example:
///
///     const native::FlipV flip;
///     flip.execute(picture, flipped);
class VELMOR_NATIVE_EXPORT FlipV : public Filter
{
public:
    /// Makes the filter.
    FlipV();
};

} // namespace velmor::native
