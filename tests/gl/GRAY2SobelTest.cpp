#include "cvprocess/gpuStdShaders/GRAY2Sobel.h"

#include "tests/support/PixelTest.h"

#include <cmath>

using velmor::core::cvdata::Image;

namespace velmor::tests {
namespace {

using GRAY2Sobel = PixelTest;

/// Sums of six products on -4..4, each rounded by half a unit in the last place of at most 4 (2.4e-7); the magnitude
/// adds the roundings of both.
constexpr float kRounding = 3e-6f;

Texel sobel(const Picture& grey, const Picture&, int x, int y)
{
    const auto at = [&](int dx, int dy) -> double {
        return grey.clamped(x + dx, y + dy)[0];
    };
    const auto acrossRow = [&](int dy) {
        return at(-1, dy) + 2.0 * at(0, dy) + at(1, dy);
    };
    const auto alongColumn = [&](int dx) {
        return at(dx, -1) + 2.0 * at(dx, 0) + at(dx, 1);
    };
    const double horizontal = acrossRow(1) - acrossRow(-1);
    const double vertical = alongColumn(-1) - alongColumn(1);
    return {static_cast<float>(horizontal), static_cast<float>(vertical),
            static_cast<float>(std::hypot(horizontal, vertical)), 0.0f};
}

/// Alpha is not written.
const Reference kGradients = {sobel, kRounding, 3};

TEST_F(GRAY2Sobel, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::GRAY2Sobel>();
    expectPixels(*filter, false, kGradients);
}

TEST_F(GRAY2Sobel, OfAFrame)
{
    const auto filter = makeQuietly<cvprocess::GRAY2Sobel>();
    expectFrame(*filter, kGradients, photograph(Image::GREYSCALE));
}

TEST_F(GRAY2Sobel, FollowsTheModesOfItsSource)
{
    const auto filter = makeQuietly<cvprocess::GRAY2Sobel>();
    expectBorderColour(*filter, kGradients);
    expectLinearFilter(*filter, kGradients);
}

TEST_F(GRAY2Sobel, ReadsRedAlone)
{
    const auto filter = makeQuietly<cvprocess::GRAY2Sobel>();
    Picture picture = randomPicture(7, 5, 1);
    for (Texel& texel : picture.texels)
        texel[0] = 0.5f;
    for (const Texel& texel : run(*filter, picture).texels)
        expectNear(texel, {0.0f, 0.0f, 0.0f}, 0.0f, 3); // sums of multiples of 0.5 are exact
}

TEST_F(GRAY2Sobel, OfAStepIsSigned)
{
    const auto filter = makeQuietly<cvprocess::GRAY2Sobel>();
    Picture standing(6, 6), lying(6, 6);
    for (unsigned y = 0; y < 6; ++y)
        for (unsigned x = 0; x < 6; ++x) {
            standing.at(x, y)[0] = x >= 3 ? 1.0f : 0.0f;
            lying.at(x, y)[0] = y >= 3 ? 1.0f : 0.0f;
        }
    const Picture ofStanding = run(*filter, standing), ofLying = run(*filter, lying);
    for (unsigned along = 0; along < 6; ++along) {
        for (const unsigned across : {0u, 1u, 4u, 5u}) {
            expectNear(ofStanding.at(across, along), {0.0f, 0.0f, 0.0f}, 0.0f, 3);
            expectNear(ofLying.at(along, across), {0.0f, 0.0f, 0.0f}, 0.0f, 3);
        }
        for (const unsigned across : {2u, 3u}) {
            expectNear(ofStanding.at(across, along), {0.0f, -4.0f, 4.0f}, 0.0f, 3);
            expectNear(ofLying.at(along, across), {4.0f, 0.0f, 4.0f}, 0.0f, 3);
        }
    }
}

TEST_F(GRAY2Sobel, GivesTheLargestMagnitudeThatBlackAndWhiteCanMake)
{
    const auto filter = makeQuietly<cvprocess::GRAY2Sobel>();
    Picture corner(3, 3); // white below and to the left: 4^2 + 2^2, the most that any neighbours on 0..1 add up to
    corner.at(0, 1)[0] = corner.at(0, 2)[0] = corner.at(1, 2)[0] = corner.at(2, 2)[0] = 1.0f;
    expectNear(run(*filter, corner).at(1, 1), {4.0f, 2.0f, std::sqrt(20.0f)}, kRounding, 3);
}

} // namespace
} // namespace velmor::tests
