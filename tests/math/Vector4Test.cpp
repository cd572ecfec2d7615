#include "math/Vector4.h"

#include "tests/math/Copies.h"

#include <gtest/gtest.h>

#include <type_traits>

using velmor::math::Vector4;

static_assert(std::is_base_of_v<velmor::math::Vector, Vector4>);

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
    expectIndependentCopies(Vector4(1.0, 2.0, 3.0, 4.0), Vector4(0.0, 0.0, 0.0, 0.0));
}

} // namespace
} // namespace velmor::tests
