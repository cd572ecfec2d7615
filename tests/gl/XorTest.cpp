#include "cvprocess/gpuStdShaders/Xor.h"

#include "tests/support/ReferenceRules.h"

namespace velmor::tests {
namespace {

using Xor = PixelTest;

/// One subtraction of values on 0..1 rounds by half a unit in the last place of at most 1.
constexpr float kRounding = 6e-8f;

TEST_F(Xor, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::Xor>();
    expectPixels(*filter, true, gain, kRounding);
}

TEST_F(Xor, OfBytes)
{
    const auto filter = makeQuietly<cvprocess::Xor>();
    expectBytes(*filter, true, gainOfBytes);
}

TEST_F(Xor, KeepsWhereTheSecondIsNowhereBelowTheFirst)
{
    const auto filter = makeQuietly<cvprocess::Xor>();
    const Texel dark = {0.2f, 0.2f, 0.2f, 1.0f}, bright = {0.5f, 0.5f, 0.5f, 1.0f};
    expectNear(runOne(*filter, dark, bright), {0.3f, 0.3f, 0.3f, 0.0f}, kRounding);
    expectNear(runOne(*filter, bright, dark), {0.0f, 0.0f, 0.0f, 0.0f}, 0.0f);
    expectNear(runOne(*filter, bright, bright), {0.0f, 0.0f, 0.0f, 0.0f}, 0.0f);
}

TEST_F(Xor, TestsEachChannelAlphaIncluded)
{
    const auto filter = makeQuietly<cvprocess::Xor>();
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
