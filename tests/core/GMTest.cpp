#include "core/cvdata/GM.h"

#include "tests/support/FieldOrder.h"
#include "tests/support/Symmetric2x2.h"
#include "tests/support/ThrownText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using velmor::core::cvdata::GM;
using velmor::math::SquareMatrix;
using velmor::math::Vector;

namespace velmor::tests {
namespace {

std::string errorOf(const SquareMatrix& matrix, const Vector& mean)
{
    return thrownText<std::invalid_argument>([&] { GM::fromCovariance(matrix, mean, 1.0f); });
}

TEST(GM, StartsWithZerosInTwoDimensions)
{
    const GM gm;
    EXPECT_EQ(gm.dimension, 2);
    EXPECT_EQ(gm.invCovariance.rows(), 2u);
    EXPECT_EQ(gm.invCovariance.cols(), 2u);
    EXPECT_EQ(gm.mean.size(), 2u);
    for (const double number : {gm.invCovariance[0][0], gm.invCovariance[0][1], gm.invCovariance[1][0],
                                gm.invCovariance[1][1], gm.mean[0], gm.mean[1]})
        EXPECT_EQ(number, 0.0);
    EXPECT_EQ(gm.determinant, 0.0f);
    EXPECT_EQ(gm.weight, 0.0f);
}

TEST(GM, TakesTheDimensionGiven)
{
    const GM gm(5);
    EXPECT_EQ(gm.dimension, 5);
    EXPECT_EQ(gm.invCovariance.rows(), 5u);
    EXPECT_EQ(gm.mean.size(), 5u);
    EXPECT_EQ(thrownText<std::invalid_argument>([] { GM none(0); }), "GM::GM(): expected at least 1 dimension, got 0");
    EXPECT_EQ(thrownText<std::invalid_argument>([] { GM negative(-3); }),
              "GM::GM(): expected at least 1 dimension, got -3");
}

TEST(GM, FieldsStandInTheOrderStated)
{
    const GM gm;
    EXPECT_TRUE(standInOrder({&gm.invCovariance, &gm.determinant, &gm.dimension, &gm.mean, &gm.weight}));
}

// Inverse and determinant of | a b; b c | are | c -b; -b a | / (ac - bb) and ac - bb.
TEST(GM, FromCovarianceInvertsTwoDimensions)
{
    Vector mean(2);
    mean[0] = 100.0;
    mean[1] = 90.5;
    const auto gm = GM::fromCovariance(symmetric2x2(8.0, 2.0, 5.0), mean, 0.25f); // determinant 36
    EXPECT_EQ(gm->dimension, 2);
    EXPECT_EQ(gm->determinant, 36.0f);
    EXPECT_EQ(gm->weight, 0.25f);
    EXPECT_EQ(gm->mean[0], 100.0);
    EXPECT_EQ(gm->mean[1], 90.5);
    EXPECT_NEAR(gm->invCovariance[0][0], 5.0 / 36.0, 1e-16);
    EXPECT_NEAR(gm->invCovariance[0][1], -2.0 / 36.0, 1e-16);
    EXPECT_NEAR(gm->invCovariance[1][0], -2.0 / 36.0, 1e-16);
    EXPECT_NEAR(gm->invCovariance[1][1], 8.0 / 36.0, 1e-16);
}

TEST(GM, FromCovarianceLeavesNoNegativeZero)
{
    const auto gm = GM::fromCovariance(symmetric2x2(4.0, 0.0, 9.0), Vector(2), 1.0f);
    EXPECT_EQ(gm->invCovariance[0][1], 0.0);
    EXPECT_FALSE(std::signbit(gm->invCovariance[0][1]));
    EXPECT_FALSE(std::signbit(gm->invCovariance[1][0]));
}

TEST(GM, FromCovarianceReadsTheUpperRightElements)
{
    SquareMatrix matrix = symmetric2x2(8.0, 2.0, 5.0);
    matrix[1][0] = -77.0;
    const auto gm = GM::fromCovariance(matrix, Vector(2), 1.0f);
    EXPECT_EQ(gm->determinant, 36.0f);
    EXPECT_NEAR(gm->invCovariance[1][0], -2.0 / 36.0, 1e-16);
}

// B B' is positive definite; the product with the inverse must be the unit matrix.
TEST(GM, FromCovarianceInvertsAnyDimension)
{
    std::mt19937 random(1);
    std::normal_distribution<double> normal;
    for (unsigned order = 1; order <= 6; ++order) {
        SquareMatrix root(order);
        SquareMatrix matrix(order);
        for (unsigned r = 0; r < order; ++r)
            for (unsigned c = 0; c < order; ++c)
                root[r][c] = normal(random) + (r == c ? 4.0 : 0.0);
        for (unsigned r = 0; r < order; ++r)
            for (unsigned c = 0; c < order; ++c)
                for (unsigned k = 0; k < order; ++k)
                    matrix[r][c] += root[r][k] * root[c][k];
        const auto gm = GM::fromCovariance(matrix, Vector(order), 1.0f);
        EXPECT_EQ(gm->dimension, static_cast<int>(order));
        for (unsigned r = 0; r < order; ++r) {
            for (unsigned c = 0; c < order; ++c) {
                double product = 0.0;
                for (unsigned k = 0; k < order; ++k)
                    product += matrix[r][k] * gm->invCovariance[k][c];
                EXPECT_NEAR(product, r == c ? 1.0 : 0.0, 1e-12) << "order " << order;
            }
        }
    }
}

TEST(GM, FromCovarianceRefusesWhatHasNoInverse)
{
    const std::string refused = "GM::fromCovariance(): expected a positive definite covariance, got one with the "
                                "determinant ";
    EXPECT_EQ(errorOf(symmetric2x2(1.0, 1.0, 1.0), Vector(2)), refused + "0.000000");
    EXPECT_EQ(errorOf(symmetric2x2(0.0, 0.0, 0.0), Vector(2)), refused + "0.000000");
    EXPECT_EQ(errorOf(symmetric2x2(1.0, 2.0, 1.0), Vector(2)), refused + "-3.000000");
    EXPECT_EQ(errorOf(symmetric2x2(-1.0, 0.0, -1.0), Vector(2)),
              refused + "1.000000"); // of a maximum, not of a minimum
    EXPECT_EQ(errorOf(symmetric2x2(1e-30, 0.0, 1e-30), Vector(2)), refused + "0.000000"); // too small for a float
    EXPECT_EQ(errorOf(symmetric2x2(1e30, 0.0, 1e30), Vector(2)), refused + "inf");        // too large for a float
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(errorOf(symmetric2x2(notANumber, 0.0, 1.0), Vector(2)).rfind(refused, 0), 0u);
    EXPECT_EQ(errorOf(symmetric2x2(1.0, notANumber, 1.0), Vector(2)).rfind(refused, 0), 0u);
    EXPECT_EQ(errorOf(symmetric2x2(std::numeric_limits<double>::infinity(), 0.0, 1.0), Vector(2)).rfind(refused, 0),
              0u);
}

TEST(GM, FromCovarianceRefusesSizesThatDiffer)
{
    EXPECT_EQ(errorOf(symmetric2x2(1.0, 0.0, 1.0), Vector(3)),
              "GM::fromCovariance(): expected a covariance of the order of the mean, 1 or more, got order 2 and 3 "
              "elements of the mean");
    EXPECT_EQ(errorOf(SquareMatrix(0), Vector(0)),
              "GM::fromCovariance(): expected a covariance of the order of the mean, 1 or more, got order 0 and 0 "
              "elements of the mean");
}

} // namespace
} // namespace velmor::tests
