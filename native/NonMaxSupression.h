#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Thins edges: keeps a gradient magnitude only where it is the largest along its gradient (Canny, 1986).
///
/// m is the magnitude and d the direction of a pixel. The filter looks up the magnitudes at `d / (1.4142 m)` pixels
/// ahead and behind. If one of them is at least m, ties included, the result is 0; otherwise it is `1.4142 m`. Where m
/// is 0 the result is 0.
///
/// A place is the sum of a pixel's centre and the way from there, in floats; what is looked up is the pixel that
/// holds it, and a place on the boundary of two pixels belongs to the one on the right or below.
///
/// Source: a picture of 3 or 4 channels of floats, with m in channel 0, and d in channels 1 and 2 as
/// (component + 1) / 2. No filter of this library writes that encoding (GRAY2Sobel writes signed sums), so the caller
/// prepares it. Channel 3 is not read. Result: 1 channel of floats. There are no parameters.
/// Border: a place beyond the edge, however far, is the edge's.
/// Limits: a coordinate that is not a number is the first column or row. An m that is not a number stays none.
///
/// Example:
///
///     const native::NonMaxSupression thin;
///     thin.execute(magnitudeAndDirection, edges);
class VELMOR_NATIVE_EXPORT NonMaxSupression : public Filter
{
public:
    /// Makes the filter.
    NonMaxSupression();
};

} // namespace velmor::native
