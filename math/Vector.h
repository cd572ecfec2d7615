#pragma once

#include "math/Matrix.h"

#include <cassert>

namespace velmor::math {

/// A column vector of doubles.
class VELMOR_MATH_EXPORT Vector : public Matrix
{
public:
    /// Makes a vector of zeros.
    /// @param size  number of elements; may be 0
    explicit Vector(unsigned size);

    /// A deep copy.
    Vector(const Vector&) = default;

    /// Takes the elements of another vector, which has none afterwards.
    Vector(Vector&&) noexcept = default;

    /// Copies the size and the elements of another vector.
    Vector& operator=(const Vector& other);

    /// Takes the elements of another vector, which has none afterwards.
    Vector& operator=(Vector&&) noexcept = default;

    /// Number of elements.
    unsigned size() const { return rows(); }

    /// An element; the index is checked by an assertion.
    double& operator[](unsigned index) const
    {
        assert(index < size() && "Vector::operator[]: no such element");
        return elements()[index];
    }

    /// Multiplies every element by a factor, in place.
    void scale(double factor);
};

} // namespace velmor::math
