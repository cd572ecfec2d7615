#include "math/Math.h"

#include <gtest/gtest.h>

using velmor::math::Math;

namespace velmor::tests {
namespace {

TEST(Math, GetMinReturnsTheSmallerAndTheFirstOnATie)
{
    const unsigned three = 3, five = 5, alsoThree = 3;
    EXPECT_EQ(&Math::getMin(three, five), &three);
    EXPECT_EQ(&Math::getMin(five, three), &three);
    EXPECT_EQ(&Math::getMin(three, alsoThree), &three);
    EXPECT_EQ(&Math::getMin(alsoThree, three), &alsoThree);
}

TEST(Math, GetMaxReturnsTheLargerAndTheFirstOnATie)
{
    const float low = -1.5f, high = 2.5f, alsoHigh = 2.5f;
    EXPECT_EQ(&Math::getMax(low, high), &high);
    EXPECT_EQ(&Math::getMax(high, low), &high);
    EXPECT_EQ(&Math::getMax(high, alsoHigh), &high);
    EXPECT_EQ(&Math::getMax(alsoHigh, high), &alsoHigh);
}

TEST(Math, GetCropClampsIntoTheClosedRange)
{
    EXPECT_EQ(Math::getCrop(5u, 0u, 3u), 3u);
    EXPECT_EQ(Math::getCrop(2u, 0u, 3u), 2u);
    EXPECT_EQ(Math::getCrop(0.5f, 1.0f, 3.0f), 1.0f);
    EXPECT_EQ(Math::getCrop(3u, 0u, 3u), 3u);
    EXPECT_EQ(Math::getCrop(0u, 0u, 3u), 0u);
}

TEST(Math, GetCropOfAnEmptyRangeIsItsLowEnd)
{
    for (const unsigned value : {0u, 2u, 3u, 4u, 9u})
        EXPECT_EQ(Math::getCrop(value, 4u, 2u), 4u);
}

} // namespace
} // namespace velmor::tests
