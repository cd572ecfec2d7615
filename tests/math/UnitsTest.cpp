#include "math/Units.h"

#include <gtest/gtest.h>

using velmor::math::Units;

namespace velmor::tests {
namespace {

TEST(Units, HalfATurnIs180Degrees)
{
    EXPECT_EQ(Units::toDeg(3.141592653589793), 180.0);
    EXPECT_EQ(Units::toDeg(-3.141592653589793), -180.0);
    EXPECT_EQ(Units::toDeg(3.141592653589793 / 2), 90.0);
    EXPECT_EQ(Units::toDeg(0.0), 0.0);
}

TEST(Units, MultipliesBeforeItDivides)
{
    // The factor 180 / pi, taken first, gives another last bit for this angle.
    const volatile double pi = 3.141592653589793;
    const double radians = 1.1;
    ASSERT_NE(radians * 180.0 / pi, radians * (180.0 / pi));
    EXPECT_EQ(Units::toDeg(radians), radians * 180.0 / pi);
}

} // namespace
} // namespace velmor::tests
