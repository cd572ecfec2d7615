#include "cvprocess/gpuStdShaders/BGR2HSV.h"

#include "tests/support/ReferenceRules.h"

using velmor::core::cvdata::Image;

namespace velmor::tests {
namespace {

using BGR2HSV = PixelTest;

/// The hue comes from a difference, a quotient, a product and two sums on 0..360 degrees, which are rounded by half a
/// unit in the last place (1.5e-5 degrees) or, the quotient, by three: 1e-4 degrees of 360 in all. The saturation, a
/// quotient on 0..1, lies closer.
constexpr float kRounding = 4e-7f;

Texel hsvOfRgb(const Texel& texel, const Texel&)
{
    return hsv(texel[0], texel[1], texel[2]);
}

TEST_F(BGR2HSV, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::BGR2HSV>();
    expectPixels(*filter, false, hsvOfRgb, kRounding);
}

TEST_F(BGR2HSV, OfAFrame)
{
    const auto filter = makeQuietly<cvprocess::BGR2HSV>();
    expectFrame(*filter, perPixel(hsvOfRgb, kRounding), photograph(Image::RGB));
}

TEST_F(BGR2HSV, WritesValueSaturationHueAndOne)
{
    const auto filter = makeQuietly<cvprocess::BGR2HSV>();
    const float sixth = 1.0f / 6.0f;
    const auto expectHue = [&](const Texel& colour, float hue) {
        expectNear(runOne(*filter, colour), {1.0f, 1.0f, hue, 1.0f}, kRounding);
    };
    expectHue({1.0f, 0.0f, 0.0f, 0.0f}, 0.0f);
    expectHue({1.0f, 1.0f, 0.0f, 0.0f}, sixth); // of two largest, red counts before green
    expectHue({0.0f, 1.0f, 0.0f, 0.0f}, 2 * sixth);
    expectHue({0.0f, 1.0f, 1.0f, 0.0f}, 3 * sixth); // and green before blue
    expectHue({0.0f, 0.0f, 1.0f, 0.0f}, 4 * sixth);
    expectHue({1.0f, 0.0f, 1.0f, 0.0f}, 5 * sixth); // and red before blue: 360 is added to -60
}

TEST_F(BGR2HSV, OfAFaintColourHasItsHueAndSaturation)
{
    const auto filter = makeQuietly<cvprocess::BGR2HSV>();
    expectFaintColours([&](float r, float g, float b) { return runOne(*filter, {r, g, b, 0.0f}); }, kRounding);
}

TEST_F(BGR2HSV, OfGreyAndBlackHasNeitherHueNorSaturation)
{
    const auto filter = makeQuietly<cvprocess::BGR2HSV>();
    expectNear(runOne(*filter, {0.4f, 0.4f, 0.4f, 0.2f}), {0.4f, 0.0f, 0.0f, 1.0f}, 0.0f);
    expectNear(runOne(*filter, {1.0f, 1.0f, 1.0f, 1.0f}), {1.0f, 0.0f, 0.0f, 1.0f}, 0.0f);
    expectNear(runOne(*filter, {0.0f, 0.0f, 0.0f, 0.0f}), {0.0f, 0.0f, 0.0f, 1.0f}, 0.0f);
}

} // namespace
} // namespace velmor::tests
