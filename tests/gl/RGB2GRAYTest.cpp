#include "cvprocess/gpuStdShaders/RGB2GRAY.h"

#include "cvprocess/gpuStdShaders/BGR2GRAY.h"
#include "tests/support/ReferenceRules.h"

namespace velmor::tests {
namespace {

using RGB2GRAY = PixelTest;

/// Three weights, three products and two sums, each rounded by half a unit in the last place of at most 1, and for
/// bytes the rounding of the texel itself.
constexpr float kRounding = 4e-7f;

TEST_F(RGB2GRAY, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::RGB2GRAY>();
    expectPixels(*filter, false, luminance, kRounding);
}

TEST_F(RGB2GRAY, OfAFrame)
{
    const auto filter = makeQuietly<cvprocess::RGB2GRAY>();
    expectFrame(*filter, perPixel(luminance, kRounding), photograph(core::cvdata::Image::RGB));
}

TEST_F(RGB2GRAY, GivesTheSameAsBGR2GRAY)
{
    const Picture picture = randomPicture(31, 37, 5);
    EXPECT_EQ(run(*makeQuietly<cvprocess::RGB2GRAY>(), picture).texels,
              run(*makeQuietly<cvprocess::BGR2GRAY>(), picture).texels);
}

} // namespace
} // namespace velmor::tests
