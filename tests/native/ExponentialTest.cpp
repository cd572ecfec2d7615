#include "tests/support/InstructionSets.h"
#include "tests/support/NativeTest.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tests/native/ExponentialTest.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include "native/internal/Exponential-inl.h"

#include <hwy/highway.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {

/// The exponentials of numbers, of which there are a multiple of 8.
HWY_ATTR void exponentials(const double* x, double* out, std::size_t count)
{
    const hn::ScalableTag<double> d;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d))
        hn::StoreU(exponential(d, hn::LoadU(d, x + i)), d, out + i);
}

} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {

HWY_EXPORT(exponentials);

static std::vector<double> exponentialsOf(std::vector<double> x)
{
    const std::size_t count = x.size();
    x.resize((count + 7) / 8 * 8);
    std::vector<double> results(x.size());
    HWY_DYNAMIC_DISPATCH(exponentials)(x.data(), results.data(), x.size());
    results.resize(count);
    return results;
}

} // namespace velmor::native

namespace velmor::tests {
namespace {

using native::exponentialsOf;

/// How far a result is from e to the power of x, in units of the last place of a double.
double errorOf(double result, double x)
{
    const long double exact = std::exp(static_cast<long double>(x));
    const auto nearest = static_cast<double>(exact);
    if (std::isinf(nearest))
        return std::isinf(result) && result > 0.0 ? 0.0 : std::numeric_limits<double>::infinity();
    int exponent = 0;
    std::frexp(nearest, &exponent);
    const long double unit = std::ldexp(1.0L, std::max(exponent, -1021) - 53);
    return static_cast<double>(std::fabs(result - exact) / unit);
}

/// Numbers of all sizes that matter: evenly from where results are 0 to where they are infinite, near 0, and around the
/// halves of ln 2 where the whole number of the reduction changes.
std::vector<double> arguments()
{
    std::vector<double> x;
    for (int i = 0; i <= 1'500'000; ++i)
        x.push_back(-750.0 + i * 0x1.0624dd2f1a9fcp-10);
    std::mt19937_64 random(1);
    for (int i = 0; i < 200'000; ++i)
        x.push_back(std::ldexp(static_cast<double>(random()) - 0x1p63, -63 - static_cast<int>(random() % 60)));
    for (int i = -2160; i <= 2050; ++i) {
        double near = i * 0.34657359027997264;
        for (int step = 0; step < 3; ++step, near = std::nextafter(near, 1e3))
            x.push_back(near);
    }
    return x;
}

TEST(Exponential, IsWithinAUnitOfTheLastPlace)
{
    const std::vector<double> x = arguments();
    onEachInstructionSet([&](const std::string& set) {
        const std::vector<double> results = exponentialsOf(x);
        double worst = 0.0, where = 0.0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            const double error = errorOf(results[i], x[i]);
            if (error > worst) {
                worst = error;
                where = x[i];
            }
        }
        EXPECT_LT(worst, 0.9) << set << " at " << where;
    });
}

TEST(Exponential, HasTheSameBitsOnEachInstructionSet)
{
    const std::vector<double> x = arguments();
    std::vector<double> expected;
    onEachInstructionSet([&](const std::string& set) {
        const std::vector<double> results = exponentialsOf(x);
        if (expected.empty())
            expected = results;
        EXPECT_EQ(std::memcmp(results.data(), expected.data(), x.size() * sizeof(double)), 0) << set;
    });
}

TEST(Exponential, IsExactWhereTheResultIs)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const double tiny = std::numeric_limits<double>::denorm_min();
    onEachInstructionSet([&](const std::string& set) {
        SCOPED_TRACE(set);
        const std::vector<double> results =
            exponentialsOf({0.0, -0.0, infinity, -infinity, 1e300, -1e300, 710.0, -746.0, -745.0, std::nan("")});
        EXPECT_EQ(results[0], 1.0);
        EXPECT_EQ(results[1], 1.0);
        EXPECT_EQ(results[2], infinity);
        EXPECT_EQ(results[3], 0.0);
        EXPECT_EQ(results[4], infinity);
        EXPECT_EQ(results[5], 0.0);
        EXPECT_EQ(results[6], infinity);
        EXPECT_EQ(results[7], 0.0);
        EXPECT_EQ(results[8], tiny);
        EXPECT_TRUE(std::isnan(results[9]));
    });
}

} // namespace
} // namespace velmor::tests
#endif
