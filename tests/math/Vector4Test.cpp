#include "math/Vector4.h"

#include <gtest/gtest.h>

#include <type_traits>

using velmor::math::Vector;
using velmor::math::Vector4;

static_assert(std::is_base_of_v<Vector, Vector4>);

namespace velmor::tests {
namespace {

TEST(Vector4, HoldsItsElementsInOrder)
{
    const Vector4 vector(1.0, -2.0, 3.5, 1e300);
    ASSERT_EQ(vector.size(), 4u);
    EXPECT_EQ(vector[0], 1.0);
    EXPECT_EQ(vector[1], -2.0);
    EXPECT_EQ(vector[2], 3.5);
    EXPECT_EQ(vector[3], 1e300);
}

TEST(Vector4, CopiesAreIndependent)
{
    const Vector4 original(1.0, 2.0, 3.0, 4.0);
    const Vector4 copy(original);
    Vector4 assigned(0.0, 0.0, 0.0, 0.0);
    assigned = original;
    original[3] = 9.0;
    EXPECT_EQ(copy[3], 4.0);
    EXPECT_EQ(assigned[0], 1.0);
    EXPECT_EQ(assigned[3], 4.0);
}

} // namespace
} // namespace velmor::tests
