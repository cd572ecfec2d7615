#include "math/SquareMatrix.h"

#include "math/Vector.h"
#include "tests/support/Symmetric2x2.h"
#include "tests/support/ThrownText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <random>
#include <stdexcept>

using velmor::math::Matrix;
using velmor::math::SquareMatrix;
using velmor::math::Vector;

namespace velmor::tests {
namespace {

/// Each operation of a rotation rounds to half an epsilon; some dozen of them meet in an element of these orders.
constexpr double kTolerance = 64 * std::numeric_limits<double>::epsilon();

struct Decomposition
{
    explicit Decomposition(const SquareMatrix& matrix) : vectors(1), values(1)
    {
        matrix.eigenSymmetric(vectors, values);
    }

    SquareMatrix vectors;
    Vector values;
};

SquareMatrix diagonal(std::initializer_list<double> elements)
{
    SquareMatrix matrix(static_cast<unsigned>(elements.size()));
    unsigned place = 0;
    for (const double element : elements) {
        matrix[place][place] = element;
        ++place;
    }
    return matrix;
}

/// Elements on -scale .. scale.
SquareMatrix randomSymmetric(unsigned order, double scale, std::mt19937& random)
{
    SquareMatrix matrix(order);
    std::uniform_real_distribution<double> element(-1.0, 1.0);
    for (unsigned row = 0; row < order; ++row)
        for (unsigned col = row; col < order; ++col)
            matrix[row][col] = matrix[col][row] = scale * element(random);
    return matrix;
}

double largestElement(const SquareMatrix& matrix)
{
    double largest = 0.0;
    for (unsigned row = 0; row < matrix.rows(); ++row)
        for (unsigned col = 0; col < matrix.cols(); ++col)
            largest = std::max(largest, std::abs(matrix[row][col]));
    return largest;
}

double dot(const double* a, const double* b, unsigned size)
{
    double sum = 0.0;
    for (unsigned i = 0; i < size; ++i)
        sum += a[i] * b[i];
    return sum;
}

/// What makes a decomposition right: A v = lambda v, unit vectors at right angles, the order and the signs.
void expectDecomposes(const SquareMatrix& matrix)
{
    const unsigned order = matrix.rows();
    const double scale = largestElement(matrix);
    const Decomposition result(matrix);
    ASSERT_EQ(result.values.size(), order);
    ASSERT_EQ(result.vectors.rows(), order);
    ASSERT_EQ(result.vectors.cols(), order);
    for (unsigned k = 0; k < order; ++k) {
        const double* const vector = result.vectors[k];
        for (unsigned row = 0; row < order; ++row)
            EXPECT_NEAR(dot(matrix[row], vector, order), result.values[k] * vector[row], kTolerance * scale);
        for (unsigned other = 0; other < order; ++other)
            EXPECT_NEAR(dot(vector, result.vectors[other], order), k == other ? 1.0 : 0.0, kTolerance);
        if (k > 0) {
            EXPECT_GE(result.values[k - 1], result.values[k]);
        }
        const double* const first = std::find_if(vector, vector + order, [](double e) { return e != 0.0; });
        ASSERT_NE(first, vector + order);
        EXPECT_GT(*first, 0.0);
    }
}

TEST(SquareMatrix, HasAsManyRowsAsColumns)
{
    for (const unsigned order : {0u, 1u, 2u, 3u, 8u}) {
        const SquareMatrix matrix(order);
        EXPECT_EQ(matrix.rows(), order);
        EXPECT_EQ(matrix.cols(), order);
    }
}

TEST(SquareMatrix, LoadCopiesTheElementsOfAnyMatrixOfItsSize)
{
    Matrix source(2, 2);
    source[0][1] = 5.0;
    source[1][0] = -3.0;
    SquareMatrix target(2);
    target.load(source);
    EXPECT_EQ(target[0][0], 0.0);
    EXPECT_EQ(target[0][1], 5.0);
    EXPECT_EQ(target[1][0], -3.0);
    source[0][1] = 6.0;
    EXPECT_EQ(target[0][1], 5.0);
}

TEST(SquareMatrix, LoadRefusesAnotherSize)
{
    SquareMatrix target = diagonal({1.0, 2.0});
    EXPECT_EQ(thrownText<std::invalid_argument>([&] { target.load(Matrix(2, 3)); }),
              "Matrix::copyFrom(): expected 2 x 2 elements, got 2 x 3");
    EXPECT_EQ(target[1][1], 2.0);
}

TEST(SquareMatrix, EigenvaluesOfOrderTwoAgreeWithTheirClosedForm)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> element(-10.0, 10.0);
    for (int repeat = 0; repeat < 200; ++repeat) {
        const double xx = element(random), xy = element(random), yy = element(random);
        const double middle = (xx + yy) / 2;
        const double spread = std::hypot((xx - yy) / 2, xy);
        const SquareMatrix matrix = symmetric2x2(xx, xy, yy);
        const Decomposition result(matrix);
        EXPECT_NEAR(result.values[0], middle + spread, kTolerance * 10.0);
        EXPECT_NEAR(result.values[1], middle - spread, kTolerance * 10.0);
        // The major axis lies at half the angle of (xx - yy, 2 xy).
        const double angle = std::atan2(2 * xy, xx - yy) / 2;
        EXPECT_NEAR(std::abs(result.vectors[0][0] * std::cos(angle) + result.vectors[0][1] * std::sin(angle)), 1.0,
                    kTolerance);
        expectDecomposes(matrix);
    }
}

TEST(SquareMatrix, RandomMatricesOfOrdersOneToEightAreDecomposed)
{
    std::mt19937 random(2);
    for (unsigned order = 1; order <= 8; ++order)
        for (int repeat = 0; repeat < 50; ++repeat)
            expectDecomposes(randomSymmetric(order, 1.0, random));
}

TEST(SquareMatrix, MatricesOfAnyMagnitudeAreDecomposed)
{
    std::mt19937 random(3);
    for (unsigned order = 2; order <= 4; ++order)
        for (const double scale : {std::ldexp(1.0, 1020), 1e100, 1e-100, std::ldexp(1.0, -1000)})
            expectDecomposes(randomSymmetric(order, scale, random));
}

TEST(SquareMatrix, DifferencesBeyondTheLargestDoubleDoNoHarm)
{
    // 1e308 - (-1e308) is more than a double holds; the eigenvalues, +- sqrt(2) * 1e308, are not.
    const SquareMatrix matrix = symmetric2x2(1e308, 1e308, -1e308);
    const Decomposition result(matrix);
    EXPECT_NEAR(result.values[0] / 1e308, std::sqrt(2.0), kTolerance);
    EXPECT_NEAR(result.values[1] / 1e308, -std::sqrt(2.0), kTolerance);
    // The angle of the major axis is pi / 8.
    EXPECT_NEAR(result.vectors[0][0], std::cos(std::atan(1.0) / 2), kTolerance);
    EXPECT_NEAR(result.vectors[0][1], std::sin(std::atan(1.0) / 2), kTolerance);
}

TEST(SquareMatrix, RowsOfVeryDifferentMagnitudeKeepTheirOwn)
{
    // The off-diagonal element moves the eigenvalues by 1e-40 at most: far below the last place of both.
    const Decomposition result(symmetric2x2(1e-20, 1e-20, 1e20));
    EXPECT_EQ(result.values[0], 1e20);
    EXPECT_EQ(result.values[1], 1e-20);
}

TEST(SquareMatrix, ADiagonalMatrixIsDecomposedExactly)
{
    const Decomposition result(diagonal({1.0 / 3, 5e-324, -1e308, 7.0, 1e308}));
    const double values[] = {1e308, 7.0, 1.0 / 3, 5e-324, -1e308};
    const unsigned places[] = {4, 3, 0, 1, 2};
    for (unsigned k = 0; k < 5; ++k) {
        EXPECT_EQ(result.values[k], values[k]);
        for (unsigned col = 0; col < 5; ++col)
            EXPECT_EQ(result.vectors[k][col], col == places[k] ? 1.0 : 0.0);
    }
}

TEST(SquareMatrix, TheZeroMatrixHasZerosAndTheAxes)
{
    const Decomposition result(SquareMatrix(3));
    for (unsigned k = 0; k < 3; ++k) {
        EXPECT_EQ(result.values[k], 0.0);
        for (unsigned col = 0; col < 3; ++col)
            EXPECT_EQ(result.vectors[k][col], col == k ? 1.0 : 0.0);
    }
}

TEST(SquareMatrix, EqualEigenvaluesStillHaveVectorsAtRightAngles)
{
    expectDecomposes(diagonal({3.0, 3.0, 3.0}));
    // Ones everywhere: 3 once, 0 twice.
    SquareMatrix ones(3);
    std::fill(ones[0], ones[3], 1.0);
    expectDecomposes(ones);
    const Decomposition result(ones);
    EXPECT_NEAR(result.values[0], 3.0, kTolerance);
    EXPECT_NEAR(result.values[1], 0.0, kTolerance);
    EXPECT_NEAR(result.values[2], 0.0, kTolerance);
    for (unsigned col = 0; col < 3; ++col)
        EXPECT_NEAR(result.vectors[0][col], 1.0 / std::sqrt(3.0), kTolerance);
}

TEST(SquareMatrix, AZeroDiagonalIsNoObstacle)
{
    const Decomposition result(symmetric2x2(0.0, 2.0, 0.0));
    EXPECT_NEAR(result.values[0], 2.0, kTolerance);
    EXPECT_NEAR(result.values[1], -2.0, kTolerance);
    EXPECT_NEAR(result.vectors[0][0], std::sqrt(0.5), kTolerance);
    EXPECT_NEAR(result.vectors[0][1], std::sqrt(0.5), kTolerance);
    EXPECT_NEAR(result.vectors[1][0], std::sqrt(0.5), kTolerance);
    EXPECT_NEAR(result.vectors[1][1], -std::sqrt(0.5), kTolerance);
}

TEST(SquareMatrix, OnlyTheUpperTriangleIsRead)
{
    SquareMatrix matrix = symmetric2x2(2.0, 1.0, 2.0);
    matrix[1][0] = std::numeric_limits<double>::quiet_NaN();
    const Decomposition result(matrix);
    EXPECT_NEAR(result.values[0], 3.0, kTolerance);
    EXPECT_NEAR(result.values[1], 1.0, kTolerance);
}

TEST(SquareMatrix, ElementsThatAreNotFiniteGiveNoNumbers)
{
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double bad : {infinity, -infinity, std::numeric_limits<double>::quiet_NaN()}) {
        for (const auto& matrix : {symmetric2x2(bad, 0.0, 1.0), symmetric2x2(1.0, bad, 1.0)}) {
            const Decomposition result(matrix);
            for (unsigned k = 0; k < 2; ++k) {
                EXPECT_TRUE(std::isnan(result.values[k]));
                EXPECT_TRUE(std::isnan(result.vectors[k][0]));
                EXPECT_TRUE(std::isnan(result.vectors[k][1]));
            }
        }
    }
}

TEST(SquareMatrix, EigenSymmetricLeavesTheMatrixAloneAndMayWriteOverIt)
{
    SquareMatrix matrix = symmetric2x2(2.0, 1.0, 2.0);
    const Decomposition separate(matrix);
    EXPECT_EQ(matrix[0][0], 2.0);
    EXPECT_EQ(matrix[0][1], 1.0);
    Vector values(1);
    matrix.eigenSymmetric(matrix, values);
    for (unsigned k = 0; k < 2; ++k) {
        EXPECT_EQ(values[k], separate.values[k]);
        EXPECT_EQ(matrix[k][0], separate.vectors[k][0]);
        EXPECT_EQ(matrix[k][1], separate.vectors[k][1]);
    }
}

TEST(SquareMatrix, OrderZeroHasNothingToDecompose)
{
    const Decomposition result(SquareMatrix(0));
    EXPECT_EQ(result.values.size(), 0u);
    EXPECT_EQ(result.vectors.rows(), 0u);
}

} // namespace
} // namespace velmor::tests
