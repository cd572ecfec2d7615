#pragma once

#include "math/Matrix.h"

namespace velmor::math {

class Vector;

/// A matrix with as many rows as columns.
class VELMOR_MATH_EXPORT SquareMatrix : public Matrix
{
public:
    /// Makes a matrix of zeros.
    /// @param order  number of rows, and of columns
    explicit SquareMatrix(unsigned order);

    /// Copies the elements of a matrix of the same size.
    /// @throws std::invalid_argument  when the sizes differ
    virtual void load(const Matrix& other);

    /// Decomposes a symmetric matrix into eigenvectors and eigenvalues, by Jacobi rotations (Golub and Van Loan, Matrix
    /// Computations, section 8.5). Only the upper triangle is read.
    ///
    /// Eigenvalues come in descending order, and row k of `vectors` is the unit eigenvector of value k. The first
    /// element of each row that is not zero is positive, so that results repeat. A diagonal matrix is decomposed
    /// exactly. If an element is not finite, the values and vectors are not numbers.
    /// @param[out] vectors  becomes a matrix of this order
    /// @param[out] values   becomes a vector of this order
    virtual void eigenSymmetric(SquareMatrix& vectors, Vector& values) const;
};

} // namespace velmor::math
