#include "cvprocess/gpuStdShaders/BGR2GRAY.h"

#include "tests/support/ReferenceRules.h"

using velmor::core::cvdata::Image;

namespace velmor::tests {
namespace {

using BGR2GRAY = PixelTest;

/// Three weights, three products and two sums, each rounded by half a unit in the last place of at most 1, and for
/// bytes the rounding of the texel itself.
constexpr float kRounding = 4e-7f;

TEST_F(BGR2GRAY, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::BGR2GRAY>();
    expectPixels(*filter, false, luminance, kRounding);
}

TEST_F(BGR2GRAY, OfAFrame)
{
    const auto filter = makeQuietly<cvprocess::BGR2GRAY>();
    expectFrame(*filter, perPixel(luminance, kRounding), photograph(Image::RGB));
}

TEST_F(BGR2GRAY, WeightsTheStoredRedByTheWeightOfRedAndLeavesAlphaOut)
{
    const auto filter = makeQuietly<cvprocess::BGR2GRAY>();
    expectNear(runOne(*filter, {1.0f, 0.0f, 0.0f, 0.5f}), {0.212671f, 0.212671f, 0.212671f, 0.212671f}, kRounding);
    expectNear(runOne(*filter, {0.0f, 1.0f, 0.0f, 0.5f}), {0.715160f, 0.715160f, 0.715160f, 0.715160f}, kRounding);
    expectNear(runOne(*filter, {0.0f, 0.0f, 1.0f, 0.5f}), {0.072169f, 0.072169f, 0.072169f, 0.072169f}, kRounding);
    expectNear(runOne(*filter, {0.0f, 0.0f, 0.0f, 1.0f}), {0.0f, 0.0f, 0.0f, 0.0f}, 0.0f);
    expectNear(runOne(*filter, {1.0f, 1.0f, 1.0f, 1.0f}), {1.0f, 1.0f, 1.0f, 1.0f}, kRounding);
}

} // namespace
} // namespace velmor::tests
