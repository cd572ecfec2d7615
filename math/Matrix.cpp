#include "math/Matrix.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace velmor::math {
namespace {

std::string sizeText(unsigned rows, unsigned cols)
{
    return std::to_string(rows) + " x " + std::to_string(cols);
}

unsigned checkedCount(unsigned rows, unsigned cols)
{
    if (cols != 0 && rows > std::numeric_limits<unsigned>::max() / cols)
        throw std::invalid_argument("Matrix::Matrix(): expected fewer than 2^32 elements, got " + sizeText(rows, cols));
    return rows * cols;
}

} // namespace

Matrix::Matrix(unsigned rows, unsigned cols) : mRows(rows), mCols(cols), mInside{}
{
    const unsigned elementCount = checkedCount(rows, cols);
    if (elementCount > kInside)
        mAllocated = std::make_unique<double[]>(elementCount);
}

Matrix::Matrix(const Matrix& other) : Matrix(other.mRows, other.mCols)
{
    copyFrom(other);
}

Matrix::Matrix(Matrix&& other) noexcept : mRows(0), mCols(0)
{
    *this = std::move(other);
}

Matrix::~Matrix() = default;

// cppcheck-suppress operatorEqVarError ; copyFrom() assigns mInside
Matrix& Matrix::operator=(const Matrix& other)
{
    if (this == &other)
        return *this;
    if (count() != other.count()) {
        auto allocated = other.count() > kInside ? std::make_unique<double[]>(other.count()) : nullptr;
        mAllocated = std::move(allocated);
    }
    mRows = other.mRows;
    mCols = other.mCols;
    copyFrom(other);
    return *this;
}

Matrix& Matrix::operator=(Matrix&& other) noexcept
{
    if (this == &other)
        return *this;
    mAllocated = std::move(other.mAllocated);
    std::copy_n(other.mInside, kInside, mInside);
    mRows = std::exchange(other.mRows, 0);
    mCols = std::exchange(other.mCols, 0);
    return *this;
}

void Matrix::copyFrom(const Matrix& other)
{
    if (mRows != other.mRows || mCols != other.mCols)
        throw std::invalid_argument("Matrix::copyFrom(): expected " + sizeText(mRows, mCols) + " elements, got " +
                                    sizeText(other.mRows, other.mCols));
    if (this != &other)
        std::copy_n(other.elements(), count(), elements());
}

double& Matrix::at(unsigned row, unsigned col) const
{
    if (row >= mRows || col >= mCols)
        throw std::out_of_range("Matrix::at(): expected a place inside " + sizeText(mRows, mCols) + ", got row " +
                                std::to_string(row) + ", column " + std::to_string(col));
    return (*this)[row][col];
}

} // namespace velmor::math
