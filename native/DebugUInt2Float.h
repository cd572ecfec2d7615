#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Makes a picture of unsigned integers visible: `out = in / 65535`, channel by channel.
///
/// 65535 becomes 1, and larger integers give values above 1. An integer becomes the nearest float first, and the
/// quotient is rounded to a float once more.
///
/// Source: a picture of 1 or 4 channels of 16-bit unsigned integers, or of 32-bit ones in a `cv::Mat` of `CV_32S`,
/// which are read as unsigned: -1 is 4294967295. Result: the same channels, floats. There are no parameters. Each pixel
/// is computed from its own place alone.
///
/// Example:
///
///     const native::DebugUInt2Float view;
///     view.execute(counts, picture); // counts: CV_16UC1, picture: CV_32FC1
class VELMOR_NATIVE_EXPORT DebugUInt2Float : public Filter
{
public:
    /// Makes the filter.
    DebugUInt2Float();
};

} // namespace velmor::native
