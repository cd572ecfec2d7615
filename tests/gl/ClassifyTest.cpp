#include "cvprocess/gpuStdShaders/Classify.h"

#include "tests/support/ReferenceRules.h"

namespace velmor::tests {
namespace {

using Classify = PixelTest;

/// One subtraction of values on 0..1 rounds by half a unit in the last place of at most 1.
constexpr float kRounding = 6e-8f;

TEST_F(Classify, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::Classify>();
    expectPixels(*filter, true, gain, kRounding);
}

TEST_F(Classify, OfBytes)
{
    const auto filter = makeQuietly<cvprocess::Classify>();
    expectBytes(*filter, true, gainOfBytes);
}

TEST_F(Classify, TestsAlphaToo)
{
    const auto filter = makeQuietly<cvprocess::Classify>();
    const Texel first = {0.25f, 0.25f, 0.25f, 1.0f};
    expectNear(runOne(*filter, first, {0.75f, 0.75f, 0.75f, 0.5f}), {0.0f, 0.0f, 0.0f, 0.0f}, 0.0f);
    expectNear(runOne(*filter, first, {0.75f, 0.5f, 0.25f, 1.0f}), {0.5f, 0.25f, 0.0f, 0.0f}, 0.0f);
    expectNear(runOne(*filter, first, first), {0.0f, 0.0f, 0.0f, 0.0f}, 0.0f);
}

} // namespace
} // namespace velmor::tests
