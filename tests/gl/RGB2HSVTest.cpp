#include "cvprocess/gpuStdShaders/RGB2HSV.h"

#include "cvprocess/gpuStdShaders/BGR2HSV.h"
#include "tests/support/ReferenceRules.h"

using velmor::core::cvdata::Image;
using velmor::cvprocess::BGR2HSV;

namespace velmor::tests {
namespace {

using RGB2HSV = PixelTest;

constexpr float kRounding = 4e-7f; // as for BGR2HSV

Texel hsvOfBgr(const Texel& texel, const Texel&)
{
    return hsv(texel[2], texel[1], texel[0]);
}

TEST_F(RGB2HSV, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::RGB2HSV>();
    expectPixels(*filter, false, hsvOfBgr, kRounding);
}

TEST_F(RGB2HSV, OfAFrame)
{
    const auto filter = makeQuietly<cvprocess::RGB2HSV>();
    expectFrame(*filter, perPixel(hsvOfBgr, kRounding), photograph(Image::RGB));
}

TEST_F(RGB2HSV, TakesTheStoredRedForBlue)
{
    const auto filter = makeQuietly<cvprocess::RGB2HSV>();
    expectNear(runOne(*filter, {1.0f, 0.0f, 0.0f, 0.0f}), {1.0f, 1.0f, 240.0f / 360.0f, 1.0f}, kRounding);
    expectNear(runOne(*filter, {0.0f, 0.0f, 1.0f, 0.0f}), {1.0f, 1.0f, 0.0f, 1.0f}, kRounding);
}

TEST_F(RGB2HSV, OfAFaintColourHasItsHueAndSaturation)
{
    const auto filter = makeQuietly<cvprocess::RGB2HSV>();
    expectFaintColours([&](float r, float g, float b) { return runOne(*filter, {b, g, r, 0.0f}); }, kRounding);
}

TEST_F(RGB2HSV, IsBGR2HSVOfExchangedColours)
{
    const Picture picture = randomPicture(31, 37, 5);
    Picture exchanged = picture;
    for (Texel& texel : exchanged.texels)
        std::swap(texel[0], texel[2]);
    EXPECT_EQ(run(*makeQuietly<cvprocess::RGB2HSV>(), picture).texels, run(*makeQuietly<BGR2HSV>(), exchanged).texels);
}

} // namespace
} // namespace velmor::tests
