#include "cvprocess/gpuStdShaders/Not.h"

#include "tests/support/PixelTest.h"

namespace velmor::tests {
namespace {

using Not = PixelTest;

/// One subtraction of values on 0..1 rounds by half a unit in the last place of at most 1.
constexpr float kRounding = 6e-8f;

float complement(float a, float)
{
    return 1.0f - a;
}

TEST_F(Not, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::Not>(nullptr);
    expectPixels(*filter, false, perChannel(complement), kRounding);
}

TEST_F(Not, OfBytes)
{
    const auto filter = makeQuietly<cvprocess::Not>(nullptr);
    expectBytes(*filter, false, perByte([](int a, int) { return 255 - a; }));
}

TEST_F(Not, ComplementsAlphaToo)
{
    const auto filter = makeQuietly<cvprocess::Not>(nullptr);
    expectNear(runOne(*filter, {1.0f, 1.0f, 1.0f, 1.0f}), {0.0f, 0.0f, 0.0f, 0.0f}, 0.0f);
    expectNear(runOne(*filter, {0.25f, 0.0f, 1.5f, 0.75f}), {0.75f, 1.0f, -0.5f, 0.25f}, kRounding);
}

} // namespace
} // namespace velmor::tests
