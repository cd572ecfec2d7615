#include "cvprocess/gpuStdShaders/BayerRG2RGB.h"

#include "tests/support/ReferenceRules.h"

#include <cmath>

using velmor::core::cvdata::Image;

namespace velmor::tests {
namespace {

using BayerRG2RGB = PixelTest;

/// Averages on 0..1 and their scale on 0..3, about twenty roundings of half a unit in the last place, that of 3 being
/// 2.4e-7 at most and most of them being smaller.
constexpr float kRounding = 2e-6f;

const Reference kColour = {[](const Picture& mosaic, const Picture&, int x, int y) { return demosaiced(mosaic, x, y); },
                           kRounding};

Picture greyPicture(unsigned width, unsigned height, const std::function<float(unsigned x, unsigned y)>& value)
{
    Picture picture(width, height);
    for (unsigned y = 0; y < height; ++y)
        for (unsigned x = 0; x < width; ++x)
            picture.at(x, y) = {value(x, y), 0.0f, 0.0f, 1.0f};
    return picture;
}

TEST_F(BayerRG2RGB, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2RGB>();
    expectPixels(*filter, false, kColour);
}

TEST_F(BayerRG2RGB, OfAFrame)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2RGB>();
    expectFrame(*filter, kColour, mosaicOf(photograph(Image::RGB)));
}

TEST_F(BayerRG2RGB, FollowsTheModesOfItsSource)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2RGB>();
    expectBorderColour(*filter, kColour);
    expectLinearFilter(*filter, kColour);
}

TEST_F(BayerRG2RGB, OfAConstantPictureIsThatConstant)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2RGB>();
    const Picture result = run(*filter, Picture(7, 6, {0.5f, 0.9f, 0.9f, 0.9f}));
    for (const Texel& texel : result.texels)
        expectNear(texel, {0.5f, 0.5f, 0.5f, 0.0f}, kRounding);
}

TEST_F(BayerRG2RGB, BringsAnEvenColourBack)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2RGB>();
    const float colour[] = {0.75f, 0.5f, 0.25f}; // of places whose row and column are even, differ, are odd
    const Picture result =
        run(*filter, greyPicture(9, 8, [&](unsigned x, unsigned y) { return colour[x % 2 + y % 2]; }));
    // At the edge the clamped neighbours have the wrong colour, and on the left and right the average mixes colours.
    for (unsigned y = 1; y < 7; ++y)
        for (unsigned x = 2; x < 7; ++x)
            expectNear(result.at(x, y), {0.75f, 0.5f, 0.25f, 0.0f}, kRounding);
}

TEST_F(BayerRG2RGB, KeepsAPixelsOwnColour)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2RGB>();
    const Picture raw = randomPicture(31, 37, 3);
    const Picture result = run(*filter, raw);
    for (unsigned y = 0; y < raw.height; ++y)
        for (unsigned x = 0; x < raw.width; ++x)
            EXPECT_NEAR(result.at(x, y)[x % 2 + y % 2], raw.at(x, y)[0], kRounding) << x << ", " << y;
}

/// The composition along the column, which the filter holds and does not use.
Texel demosaicedAlongTheColumn(const Picture& mosaic, int x, int y)
{
    Picture turned(mosaic.height, mosaic.width);
    for (unsigned row = 0; row < mosaic.height; ++row)
        for (unsigned column = 0; column < mosaic.width; ++column)
            turned.at(row, column) = mosaic.at(column, row);
    return demosaiced(turned, y, x);
}

TEST_F(BayerRG2RGB, ComposesAlongTheRowWhateverTheContrast)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2RGB>();
    const auto wavy = [](unsigned place) {
        return 0.1f + 0.8f * static_cast<float>(place * place % 7) / 7.0f;
    };
    const Picture standing = greyPicture(16, 16, [&](unsigned x, unsigned) { return wavy(x); });
    const Picture lying = greyPicture(16, 16, [&](unsigned, unsigned y) { return wavy(y); });
    for (const Picture& stripes : {standing, lying}) {
        expectPixels(*filter, kColour, stripes);
        // The two compositions can be told apart here.
        EXPECT_GT(std::abs(demosaiced(stripes, 6, 6)[1] - demosaicedAlongTheColumn(stripes, 6, 6)[1]), 0.05f);
    }
}

TEST_F(BayerRG2RGB, ScalesNothingWhereThePixelsOwnColourIsBlackAllAround)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2RGB>();
    const Picture black = run(*filter, Picture(6, 6));
    for (const Texel& texel : black.texels)
        expectNear(texel, {0.0f, 0.0f, 0.0f, 0.0f}, 0.0f);

    // Red is black, green and blue are not. Averages of equal values are exact.
    const Picture cyan = greyPicture(8, 8, [](unsigned x, unsigned y) {
        return x % 2 + y % 2 == 0 ? 0.0f : x % 2 + y % 2 == 1 ? 0.5f : 0.25f;
    });
    expectNear(run(*filter, cyan).at(4, 4), {0.0f, 0.5f, 0.25f, 0.0f}, 0.0f);
}

TEST_F(BayerRG2RGB, GivesUpToThreeTimesTheNeighbours)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2RGB>();
    Picture peak(8, 8, {0.0f, 0.0f, 0.0f, 1.0f});
    peak.at(4, 4)[0] = peak.at(3, 4)[0] = peak.at(5, 4)[0] = 1.0f; // a red place with its two green neighbours
    expectNear(run(*filter, peak).at(4, 4), {1.0f, 3.0f, 0.0f, 0.0f}, kRounding);
}

} // namespace
} // namespace velmor::tests
