#include "math/Units.h"

namespace velmor::math {

double Units::toDeg(double radians)
{
    return radians * 180.0 / 3.141592653589793;
}

} // namespace velmor::math
