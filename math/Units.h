#pragma once

#include "math/Export.h"

namespace velmor::math {

/// Conversions between units.
struct VELMOR_MATH_EXPORT Units
{
    /// Converts radians to degrees: `radians * 180.0 / 3.141592653589793`, with the multiplication first.
    static double toDeg(double radians);
};

} // namespace velmor::math
