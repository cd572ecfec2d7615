#pragma once

#include "math/Export.h"

#include <memory>

namespace velmor::math {

/// A dense matrix of doubles, stored row by row.
///
/// Up to four elements lie inside the object itself, so 2 x 2 matrices and vectors of up to four elements never
/// allocate memory. The elements of a const matrix can be written: const protects only the size.
class VELMOR_MATH_EXPORT Matrix
{
public:
    /// Makes a matrix of zeros.
    /// @param rows, cols  number of rows and columns; either may be 0
    /// @throws std::invalid_argument  when rows * cols does not fit an unsigned int
    Matrix(unsigned rows, unsigned cols);

    /// A deep copy.
    Matrix(const Matrix& other);

    /// Takes the elements of another matrix, which has 0 rows and 0 columns afterwards.
    Matrix(Matrix&& other) noexcept;

    virtual ~Matrix();

    /// Copies the size and the elements of another matrix.
    Matrix& operator=(const Matrix& other);

    /// Takes the elements of another matrix, which has 0 rows and 0 columns afterwards.
    Matrix& operator=(Matrix&& other) noexcept;

    unsigned rows() const { return mRows; } ///< number of rows
    unsigned cols() const { return mCols; } ///< number of columns

    /// The first element of a row, so that m[r][c] addresses an element. The indices are not checked.
    double* operator[](unsigned row) const { return elements() + row * mCols; }

    /// Copies the elements of a matrix of the same size.
    /// @throws std::invalid_argument  when the sizes differ
    void copyFrom(const Matrix& other);

    /// The element at a row and column.
    /// @throws std::out_of_range  when there is no such element
    virtual double& at(unsigned row, unsigned col) const;

protected:
    /// The first element of the first row; the others follow row by row.
    double* elements() const { return mAllocated ? mAllocated.get() : mInside; }

    /// Number of elements.
    unsigned count() const { return mRows * mCols; }

private:
    static constexpr unsigned kInside = 4;

    unsigned mRows;
    unsigned mCols;
    std::unique_ptr<double[]> mAllocated; ///< the elements when there are more than kInside, else null
    mutable double mInside[kInside];      ///< the elements when there are at most kInside
};

} // namespace velmor::math
