#include "math/Vector.h"

#include "tests/support/DeathText.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <type_traits>

using velmor::math::Matrix;
using velmor::math::Vector;

static_assert(std::is_base_of_v<Matrix, Vector>);
static_assert(std::is_same_v<decltype(std::declval<const Vector&>()[0u]), double&>);

namespace velmor::tests {
namespace {

/// The sizes on both sides of the four elements that lie inside the object.
constexpr unsigned kSizes[] = {0, 1, 2, 4, 5, 2048};

Vector counting(unsigned size)
{
    Vector vector(size);
    for (unsigned i = 0; i < size; ++i)
        vector[i] = i + 1.0;
    return vector;
}

TEST(Vector, IsAColumnOfZeros)
{
    for (const unsigned size : kSizes) {
        const Vector vector(size);
        EXPECT_EQ(vector.size(), size);
        EXPECT_EQ(vector.rows(), size);
        EXPECT_EQ(vector.cols(), 1u);
        for (unsigned i = 0; i < size; ++i)
            EXPECT_EQ(vector[i], 0.0);
    }
}

TEST(Vector, SharesItsElementsWithTheMatrixThatItIs)
{
    const Vector vector = counting(5);
    const Matrix& matrix = vector;
    for (unsigned i = 0; i < 5; ++i)
        EXPECT_EQ(&vector[i], &matrix[i][0]);
}

TEST(Vector, CopiesAndAssignmentsHaveElementsOfTheirOwn)
{
    for (const unsigned size : kSizes) {
        const Vector original = counting(size);
        const Vector copy(original);
        Vector assigned(3);
        EXPECT_EQ(&(assigned = original), &assigned);
        for (unsigned i = 0; i < size; ++i)
            original[i] = -1.0;
        ASSERT_EQ(copy.size(), size);
        ASSERT_EQ(assigned.size(), size);
        for (unsigned i = 0; i < size; ++i) {
            EXPECT_EQ(copy[i], i + 1.0);
            EXPECT_EQ(assigned[i], i + 1.0);
        }
    }
}

TEST(Vector, ScaleMultipliesEveryElement)
{
    for (const unsigned size : kSizes) {
        Vector vector = counting(size);
        vector.scale(-0.25);
        for (unsigned i = 0; i < size; ++i)
            EXPECT_EQ(vector[i], (i + 1.0) * -0.25);
    }
}

#ifndef NDEBUG
TEST(VectorDeathTest, AnIndexBeyondTheEndStops)
{
    const std::string message = assertion("math/Vector.h", "index < size() && \"Vector::operator[]: no such element\"");
    const Vector vector(3);
    EXPECT_EXIT(vector[3], testing::KilledBySignal(SIGABRT), message);
    const Vector empty(0);
    EXPECT_EXIT(empty[0], testing::KilledBySignal(SIGABRT), message);
}
#endif

} // namespace
} // namespace velmor::tests
