#include "math/Vector2.h"

namespace velmor::math {

Vector2::Vector2() : Vector(2) {}

Vector2::Vector2(double x, double y) : Vector(2)
{
    (*this)[0] = x;
    (*this)[1] = y;
}

} // namespace velmor::math
