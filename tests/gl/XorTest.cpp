#include "cvprocess/gpuStdShaders/Xor.h"

#include "tests/support/PixelTest.h"

#include <algorithm>
#include <cmath>

using velmor::cvprocess::Xor;

namespace velmor::tests {
namespace {

/// One subtraction of values on 0..1 rounds by half a unit in the last place of at most 1.
constexpr float kRounding = 6e-8f;

Texel gain(const Texel& a, const Texel& b)
{
    Texel difference;
    for (std::size_t i = 0; i < 4; ++i)
        difference[i] = b[i] - a[i];
    const bool lost = std::any_of(difference.begin(), difference.end(), [](float channel) { return channel < 0.0f; });
    return lost ? Texel{} : difference;
}

TEST_F(PixelTest, XorOfFloats)
{
    const auto filter = makeQuietly<Xor>();
    expectPixels(*filter, true, gain, kRounding);
}

TEST_F(PixelTest, XorOfBytes)
{
    const auto filter = makeQuietly<Xor>();
    expectBytes(*filter, true, [](const Bytes& a, const Bytes& b) {
        const bool lost = b[0] < a[0] || b[1] < a[1] || b[2] < a[2];
        return lost ? Bytes{} : perByte([](int first, int second) { return second - first; })(a, b);
    });
}

TEST_F(PixelTest, XorKeepsWhereTheSecondIsNowhereBelowTheFirst)
{
    const auto filter = makeQuietly<Xor>();
    const Texel dark = {0.2f, 0.2f, 0.2f, 1.0f}, bright = {0.5f, 0.5f, 0.5f, 1.0f};
    expectNear(runOne(*filter, dark, bright), {0.3f, 0.3f, 0.3f, 0.0f}, kRounding);
    expectNear(runOne(*filter, bright, dark), {0.0f, 0.0f, 0.0f, 0.0f}, 0.0f);
    expectNear(runOne(*filter, bright, bright), {0.0f, 0.0f, 0.0f, 0.0f}, 0.0f);
}

TEST_F(PixelTest, XorTestsEachChannelAlphaIncluded)
{
    const auto filter = makeQuietly<Xor>();
    const Texel first = {0.5f, 0.5f, 0.5f, 0.5f};
    for (std::size_t channel = 0; channel < 4; ++channel) {
        Texel second = {0.75f, 0.75f, 0.75f, 0.75f};
        second[channel] = 0.25f;
        expectNear(runOne(*filter, first, second), {0.0f, 0.0f, 0.0f, 0.0f}, 0.0f);
    }
    expectNear(runOne(*filter, first, {0.75f, 0.75f, 0.75f, 0.75f}), {0.25f, 0.25f, 0.25f, 0.25f}, 0.0f);
}

} // namespace
} // namespace velmor::tests
