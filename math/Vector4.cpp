#include "math/Vector4.h"

namespace velmor::math {

Vector4::Vector4(double first, double second, double third, double fourth) : Vector(4)
{
    (*this)[0] = first;
    (*this)[1] = second;
    (*this)[2] = third;
    (*this)[3] = fourth;
}

} // namespace velmor::math
