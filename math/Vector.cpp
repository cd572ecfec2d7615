#include "math/Vector.h"

namespace velmor::math {

Vector::Vector(unsigned size) : Matrix(size, 1) {}

Vector& Vector::operator=(const Vector& other)
{
    Matrix::operator=(other);
    return *this;
}

void Vector::scale(double factor)
{
    double* const begin = elements();
    for (double* element = begin; element != begin + size(); ++element)
        *element *= factor;
}

} // namespace velmor::math
