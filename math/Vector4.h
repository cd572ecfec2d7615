#pragma once

#include "math/Vector.h"

namespace velmor::math {

/// A vector of four elements.
class VELMOR_MATH_EXPORT Vector4 : public Vector
{
public:
    /// The four elements, in their order.
    Vector4(double first, double second, double third, double fourth);
};

} // namespace velmor::math
