#include "math/Matrix.h"

#include "tests/support/ThrownText.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

using velmor::math::Matrix;

namespace velmor::tests {
namespace {

/// Fills a matrix so that each element tells its place.
void number(const Matrix& matrix)
{
    for (unsigned row = 0; row < matrix.rows(); ++row)
        for (unsigned col = 0; col < matrix.cols(); ++col)
            matrix[row][col] = 10.0 * row + col;
}

void expectNumbered(const Matrix& matrix, unsigned rows, unsigned cols)
{
    ASSERT_EQ(matrix.rows(), rows);
    ASSERT_EQ(matrix.cols(), cols);
    for (unsigned row = 0; row < rows; ++row)
        for (unsigned col = 0; col < cols; ++col)
            EXPECT_EQ(matrix[row][col], 10.0 * row + col) << "row " << row << ", column " << col;
}

struct Size
{
    unsigned rows, cols;
};

// Sizes on both sides of the four elements that lie inside the object, and shapes with the same number of elements.
constexpr Size kSizes[] = {{0, 0}, {0, 3}, {3, 0}, {1, 1}, {2, 2}, {4, 1}, {1, 4}, {5, 1}, {2, 3}, {3, 2}, {7, 9}};

TEST(Matrix, StartsWithZeros)
{
    for (const auto [rows, cols] : kSizes) {
        const Matrix matrix(rows, cols);
        EXPECT_EQ(matrix.rows(), rows);
        EXPECT_EQ(matrix.cols(), cols);
        for (unsigned row = 0; row < rows; ++row)
            for (unsigned col = 0; col < cols; ++col)
                EXPECT_EQ(matrix[row][col], 0.0);
    }
}

TEST(Matrix, RowsFollowEachOtherInMemory)
{
    for (const auto [rows, cols] : kSizes) {
        const Matrix matrix(rows, cols);
        for (unsigned row = 0; row < rows; ++row)
            EXPECT_EQ(matrix[row], matrix[0] + row * cols);
    }
}

TEST(Matrix, ElementsOfAConstMatrixCanBeWritten)
{
    const Matrix matrix(2, 3);
    number(matrix);
    expectNumbered(matrix, 2, 3);
    matrix.at(1, 2) = -4.0;
    EXPECT_EQ(matrix[1][2], -4.0);
}

TEST(Matrix, ACopyHasElementsOfItsOwn)
{
    for (const auto [rows, cols] : kSizes) {
        const Matrix original(rows, cols);
        number(original);
        const Matrix copy(original);
        expectNumbered(copy, rows, cols);
        for (unsigned row = 0; row < rows && cols > 0; ++row)
            original[row][0] = -1.0;
        expectNumbered(copy, rows, cols);
    }
}

TEST(Matrix, AssignmentTakesSizeAndElements)
{
    for (const auto [fromRows, fromCols] : kSizes) {
        for (const auto [toRows, toCols] : kSizes) {
            const Matrix source(fromRows, fromCols);
            number(source);
            Matrix target(toRows, toCols);
            EXPECT_EQ(&(target = source), &target);
            expectNumbered(target, fromRows, fromCols);
            if (fromRows > 0 && fromCols > 0) {
                target[0][0] = -1.0;
                EXPECT_EQ(source[0][0], 0.0);
            }
        }
    }
}

TEST(Matrix, SelfAssignmentChangesNothing)
{
    for (const auto [rows, cols] : kSizes) {
        Matrix matrix(rows, cols);
        number(matrix);
        const Matrix& same = matrix;
        matrix = same;
        expectNumbered(matrix, rows, cols);
    }
}

TEST(Matrix, AMoveTakesTheElementsAndLeavesNone)
{
    for (const auto [fromRows, fromCols] : kSizes) {
        for (const auto [toRows, toCols] : kSizes) {
            Matrix source(fromRows, fromCols);
            const Matrix& sourceAfter = source;
            number(source);
            Matrix made(std::move(source));
            const Matrix& madeAfter = made;
            expectNumbered(made, fromRows, fromCols);
            // cppcheck-suppress accessMoved ; a moved matrix has no elements
            expectNumbered(sourceAfter, 0, 0);
            Matrix target(toRows, toCols);
            EXPECT_EQ(&(target = std::move(made)), &target);
            expectNumbered(target, fromRows, fromCols);
            // cppcheck-suppress accessMoved ; a moved matrix has no elements
            expectNumbered(madeAfter, 0, 0);
        }
    }
}

TEST(Matrix, AMoveToItselfChangesNothing)
{
    for (const auto [rows, cols] : kSizes) {
        Matrix matrix(rows, cols);
        number(matrix);
        Matrix& same = matrix;
        matrix = std::move(same);
        expectNumbered(matrix, rows, cols);
    }
}

TEST(Matrix, CopyFromTakesTheElementsOfAMatrixOfTheSameSize)
{
    for (const auto [rows, cols] : kSizes) {
        const Matrix source(rows, cols);
        number(source);
        Matrix target(rows, cols);
        target.copyFrom(source);
        expectNumbered(target, rows, cols);
        target.copyFrom(target);
        expectNumbered(target, rows, cols);
    }
}

TEST(Matrix, CopyFromRefusesAnotherSize)
{
    Matrix target(2, 3);
    number(target);
    EXPECT_EQ(thrownText<std::invalid_argument>([&] { target.copyFrom(Matrix(3, 2)); }),
              "Matrix::copyFrom(): expected 2 x 3 elements, got 3 x 2");
    expectNumbered(target, 2, 3);
}

TEST(Matrix, AtAddressesTheElementsAndRefusesOtherPlaces)
{
    const Matrix matrix(2, 3);
    for (unsigned row = 0; row < 2; ++row)
        for (unsigned col = 0; col < 3; ++col)
            EXPECT_EQ(&matrix.at(row, col), &matrix[row][col]);
    EXPECT_EQ(thrownText<std::out_of_range>([&] { matrix.at(2, 0); }),
              "Matrix::at(): expected a place inside 2 x 3, got row 2, column 0");
    EXPECT_EQ(thrownText<std::out_of_range>([&] { matrix.at(1, 3); }),
              "Matrix::at(): expected a place inside 2 x 3, got row 1, column 3");
}

TEST(Matrix, RefusesMoreElementsThanItCanCount)
{
    EXPECT_EQ(thrownText<std::invalid_argument>([] { Matrix(65536, 65536); }),
              "Matrix::Matrix(): expected fewer than 2^32 elements, got 65536 x 65536");
}

} // namespace
} // namespace velmor::tests
