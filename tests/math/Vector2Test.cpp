#include "math/Vector2.h"

#include "tests/math/Copies.h"

#include <gtest/gtest.h>

#include <type_traits>

using velmor::math::Vector2;

static_assert(std::is_base_of_v<velmor::math::Vector, Vector2>);

namespace velmor::tests {
namespace {

TEST(Vector2, StartsAtTheOrigin)
{
    const Vector2 origin;
    ASSERT_EQ(origin.size(), 2u);
    EXPECT_EQ(origin[0], 0.0);
    EXPECT_EQ(origin[1], 0.0);
}

TEST(Vector2, HoldsXThenY)
{
    const Vector2 point(1.5, -2.5);
    ASSERT_EQ(point.size(), 2u);
    EXPECT_EQ(point[0], 1.5);
    EXPECT_EQ(point[1], -2.5);
}

TEST(Vector2, CopiesAreIndependent)
{
    expectIndependentCopies(Vector2(1.0, 2.0), Vector2());
}

} // namespace
} // namespace velmor::tests
