// Compiled without access control, to see fields.

#include "core/cvdata/ColourHist2d.h"

#include "tests/support/DeathText.h"
#include "tests/support/ThrownText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <type_traits>

using velmor::core::cvdata::ColourHist2d;

namespace velmor::tests {
namespace {

TEST(ColourHist2d, StartsWithZerosAndTellsItsBins)
{
    const ColourHist2d histogram(16, 8, 4);
    unsigned char bins1 = 0, bins2 = 0, bins3 = 0;
    histogram.getNofBins(bins1, bins2, bins3);
    EXPECT_EQ(bins1, 16);
    EXPECT_EQ(bins2, 8);
    EXPECT_EQ(bins3, 4);
    ASSERT_EQ(histogram.data().size(), 16u * 8u * 4u);
    for (unsigned k = 0; k < histogram.data().size(); ++k)
        EXPECT_EQ(histogram.data()[k], 0.0);
}

TEST(ColourHist2d, AddressesBinsWithTheFirstDimensionInnermost)
{
    ColourHist2d histogram(16, 16, 8);
    EXPECT_EQ(&histogram.getValue(1, 2, 3), &histogram.data()[801]);
    ColourHist2d other(3, 5, 7);
    unsigned index = 0;
    for (unsigned char k = 0; k < 7; ++k)
        for (unsigned char j = 0; j < 5; ++j)
            for (unsigned char i = 0; i < 3; ++i)
                EXPECT_EQ(&other.getValue(i, j, k), &other.data()[index++]);
}

TEST(ColourHist2d, StrideOfTheThirdDimensionIsAnUnsigned32BitField)
{
    const ColourHist2d histogram(255, 255, 1);
    static_assert(std::is_same_v<decltype(histogram.mThirdStride), std::uint32_t>);
    EXPECT_EQ(histogram.mThirdStride, 65025u);
}

TEST(ColourHist2d, IncreaseValueAddsOneToABin)
{
    ColourHist2d histogram(4, 4, 4);
    histogram.increaseValue(3, 2, 1);
    histogram.increaseValue(3, 2, 1);
    histogram.increaseValue(0, 0, 3);
    EXPECT_EQ(histogram.getValue(3, 2, 1), 2.0);
    EXPECT_EQ(histogram.getValue(0, 0, 3), 1.0);
    double sum = 0.0;
    for (unsigned k = 0; k < 64; ++k)
        sum += histogram.data()[k];
    EXPECT_EQ(sum, 3.0);
}

TEST(ColourHist2d, ResetAndScaleReachEveryBin)
{
    ColourHist2d histogram(2, 3, 2);
    for (unsigned k = 0; k < 12; ++k)
        histogram.data()[k] = k + 1.0;
    histogram.data().scale(0.5);
    for (unsigned k = 0; k < 12; ++k)
        EXPECT_EQ(histogram.data()[k], (k + 1.0) * 0.5);
    histogram.reset();
    for (unsigned k = 0; k < 12; ++k)
        EXPECT_EQ(histogram.data()[k], 0.0);
}

TEST(ColourHist2d, ResetLeavesZerosWhateverTheBinsHeld)
{
    ColourHist2d histogram(3, 3, 1);
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const double values[] = {1.0, -0.0, std::nan(""), kInfinity, -kInfinity, 5e-324, 1e300, -2.0, 0.0};
    std::copy(std::begin(values), std::end(values), &histogram.data()[0]);
    histogram.reset();
    for (unsigned k = 0; k < 9; ++k) {
        EXPECT_EQ(histogram.data()[k], 0.0) << values[k];
        EXPECT_FALSE(std::signbit(histogram.data()[k])) << values[k];
    }
}

TEST(ColourHist2d, RefusesADimensionWithoutBins)
{
    EXPECT_EQ(thrownText<std::invalid_argument>([] { ColourHist2d histogram(16, 0, 8); }),
              "ColourHist2d::ColourHist2d(): expected at least 1 bin in each dimension, got 16 x 0 x 8");
}

#ifndef NDEBUG
TEST(ColourHist2dDeathTest, AnIndexBeyondTheLastBinIsNoticedByTheVector)
{
    ColourHist2d histogram(4, 4, 4);
    EXPECT_DEATH(histogram.increaseValue(0, 0, 4),
                 assertion("math/Vector.h", "index < size() && \"Vector::operator[]: no such element\""));
}
#endif

} // namespace
} // namespace velmor::tests
