#pragma once

#include "math/SquareMatrix.h"

namespace velmor::tests {

inline math::SquareMatrix symmetric2x2(double xx, double xy, double yy)
{
    math::SquareMatrix matrix(2);
    matrix[0][0] = xx;
    matrix[0][1] = matrix[1][0] = xy;
    matrix[1][1] = yy;
    return matrix;
}

} // namespace velmor::tests
