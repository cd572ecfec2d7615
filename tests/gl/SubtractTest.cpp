#include "cvprocess/gpuStdShaders/Subtract.h"

#include "tests/support/PixelTest.h"

#include <cmath>

namespace velmor::tests {
namespace {

using Subtract = PixelTest;

/// One subtraction of values on 0..1 rounds by half a unit in the last place of at most 1.
constexpr float kRounding = 6e-8f;

float distance(float a, float b)
{
    return std::abs(a - b);
}

TEST_F(Subtract, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::Subtract>();
    expectPixels(*filter, true, perChannel(distance), kRounding);
}

TEST_F(Subtract, OfBytes)
{
    const auto filter = makeQuietly<cvprocess::Subtract>();
    expectBytes(*filter, true, perByte([](int a, int b) { return std::abs(a - b); }));
}

TEST_F(Subtract, OfEqualsIsZeroAlphaIncluded)
{
    const auto filter = makeQuietly<cvprocess::Subtract>();
    const Texel texel = {0.3f, 0.6f, 0.9f, 1.0f};
    expectNear(runOne(*filter, texel, texel), {0.0f, 0.0f, 0.0f, 0.0f}, 0.0f);
}

TEST_F(Subtract, DoesNotMindTheOrder)
{
    const auto filter = makeQuietly<cvprocess::Subtract>();
    const Texel a = {0.1f, 0.9f, 0.5f, 1.0f}, b = {0.4f, 0.2f, 0.5f, 0.0f};
    expectNear(runOne(*filter, a, b), {0.3f, 0.7f, 0.0f, 1.0f}, kRounding);
    expectNear(runOne(*filter, b, a), {0.3f, 0.7f, 0.0f, 1.0f}, kRounding);
}

} // namespace
} // namespace velmor::tests
