#pragma once

#include "math/Vector.h"

namespace velmor::math {

/// A vector of two elements: x, y.
class VELMOR_MATH_EXPORT Vector2 : public Vector
{
public:
    /// (0, 0).
    Vector2();

    /// (x, y).
    Vector2(double x, double y);
};

} // namespace velmor::math
