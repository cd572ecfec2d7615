#include "cvprocess/gpuStdShaders/FlipV.h"

#include "tests/support/PixelTest.h"

#include <cmath>

using velmor::core::cvdata::Image;
using velmor::glsupport::RectTexture;

namespace velmor::tests {
namespace {

using FlipV = PixelTest;

constexpr float kExact = 0.0f; // texels are copied

Texel flipped(const Picture& picture, const Picture&, int x, int y)
{
    return picture.clamped(x, static_cast<int>(picture.height) - 1 - y);
}

const Reference kFlipped = {flipped, kExact, 4, randomPicture, false};

TEST_F(FlipV, OfFloatsWhateverTheRegions)
{
    const auto filter = makeQuietly<cvprocess::FlipV>();
    expectPixels(*filter, false, kFlipped);
}

TEST_F(FlipV, OfAFrame)
{
    const auto filter = makeQuietly<cvprocess::FlipV>();
    Reference reference = kFlipped;
    reference.tolerance = 6e-8f; // of a byte made a float
    expectFrame(*filter, reference, photograph(Image::RGB));
}

TEST_F(FlipV, ExchangesTheRowsAndKeepsTheColumns)
{
    const auto filter = makeQuietly<cvprocess::FlipV>();
    Picture picture(4, 2);
    for (unsigned i = 0; i < 8; ++i)
        picture.texels[i] = {static_cast<float>(i), -1.0f, 1e30f, 0.5f}; // channels of any value
    const Picture result = run(*filter, picture);
    for (unsigned x = 0; x < 4; ++x) {
        expectNear(result.at(x, 0), picture.at(x, 1), kExact);
        expectNear(result.at(x, 1), picture.at(x, 0), kExact);
    }
}

TEST_F(FlipV, TwiceIsTheSource)
{
    const auto filter = makeQuietly<cvprocess::FlipV>();
    const Picture picture = randomPicture(31, 37, 2);
    EXPECT_EQ(run(*filter, run(*filter, picture)).texels, picture.texels);
}

TEST_F(FlipV, StretchesTheSourceOverASmallerDestination)
{
    struct Sizes
    {
        unsigned sourceWidth, sourceHeight, width, height;
    };
    // Ratios for which no pixel centre falls on a boundary between texels, where the driver would choose.
    const Sizes table[] = {{15, 9, 5, 3}, {10, 5, 4, 2}, {7, 5, 7, 1}, {9, 8, 1, 8}, {15, 10, 9, 6}};
    for (const Sizes& sizes : table) {
        const auto filter = makeQuietly<cvprocess::FlipV>();
        const Picture picture = randomPicture(sizes.sourceWidth, sizes.sourceHeight, 3);
        RectTexture source(sizes.sourceWidth, sizes.sourceHeight, RectTexture::RGBA32F);
        RectTexture destination(sizes.width, sizes.height, RectTexture::RGBA32F);
        source.upload(picture.texels.data());
        const Picture result = run(*filter, source, destination);
        for (unsigned y = 0; y < sizes.height; ++y) {
            for (unsigned x = 0; x < sizes.width; ++x) {
                SCOPED_TRACE(std::to_string(x) + ", " + std::to_string(y));
                const double across = (x + 0.5) * sizes.sourceWidth / sizes.width;
                const double up = sizes.sourceHeight - (y + 0.5) * sizes.sourceHeight / sizes.height;
                ASSERT_GT(std::abs(across - std::round(across)), 0.05);
                ASSERT_GT(std::abs(up - std::round(up)), 0.05);
                expectNear(result.at(x, y), picture.at(static_cast<unsigned>(across), static_cast<unsigned>(up)),
                           kExact);
            }
        }
    }
}

} // namespace
} // namespace velmor::tests
