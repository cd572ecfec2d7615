#include "cvprocess/gpuStdShaders/Or.h"

#include "tests/support/PixelTest.h"

#include <algorithm>

namespace velmor::tests {
namespace {

using Or = PixelTest;

/// One addition of values on 0..1 rounds by half a unit in the last place of at most 2.
constexpr float kRounding = 1.2e-7f;

float saturatedSum(float a, float b)
{
    return std::clamp(a + b, 0.0f, 1.0f);
}

TEST_F(Or, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::Or>(nullptr);
    expectPixels(*filter, true, perChannel(saturatedSum), kRounding);
}

TEST_F(Or, OfBytes)
{
    const auto filter = makeQuietly<cvprocess::Or>(nullptr);
    expectBytes(*filter, true, perByte([](int a, int b) { return std::min(a + b, 255); }));
}

TEST_F(Or, IsASaturatedSumNotAThreshold)
{
    const auto filter = makeQuietly<cvprocess::Or>(nullptr);
    expectNear(runOne(*filter, {0.7f, 0.0f, 0.4f, 1.0f}, {0.6f, 0.0f, 0.4f, 1.0f}), {1.0f, 0.0f, 0.8f, 1.0f},
               kRounding);
    expectNear(runOne(*filter, {0.3f, 0.3f, 0.3f, 0.3f}, {0.3f, 0.3f, 0.3f, 0.3f}), {0.6f, 0.6f, 0.6f, 0.6f},
               kRounding);
    expectNear(runOne(*filter, {-0.5f, -0.5f, 5.0f, 0.25f}, {0.25f, 0.75f, -1.0f, 0.0f}), {0.0f, 0.25f, 1.0f, 0.25f},
               kRounding);
}

} // namespace
} // namespace velmor::tests
