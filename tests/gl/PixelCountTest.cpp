#include "cvprocess/gpuStdShaders/PixelCount.h"

#include "glsupport/RectTexture.h"
#include "tests/gl/GlTest.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

using velmor::glsupport::RectTexture;

namespace velmor::tests {
namespace {

constexpr std::uint32_t kSentinel = 0xdeadbeef; // no sum of these tests

/// Values of a picture, one per pixel.
struct Values
{
    unsigned width, height;
    std::vector<float> values;

    std::uint32_t sum(unsigned x0, unsigned y0, unsigned x1, unsigned y1) const
    {
        std::uint32_t total = 0;
        for (unsigned y = y0; y < std::min(y1, height); ++y)
            for (unsigned x = x0; x < std::min(x1, width); ++x)
                total += static_cast<std::uint32_t>(values[y * width + x]);
        return total;
    }
};

Values randomValues(unsigned width, unsigned height, unsigned levels, unsigned seed)
{
    std::mt19937 random(seed);
    Values result = {width, height, std::vector<float>(static_cast<std::size_t>(width) * height)};
    for (float& value : result.values)
        value = static_cast<float>(random() % levels);
    return result;
}

/// The sums of the tiles of a request, in the order of their texels.
std::vector<std::uint32_t> tileSums(const Values& picture, unsigned requested)
{
    unsigned side = 1;
    while ((side + 1) * (side + 1) <= requested)
        ++side;
    const unsigned tileWidth = (picture.width + side - 1) / side;
    const unsigned tileHeight = (picture.height + side - 1) / side;
    std::vector<std::uint32_t> sums;
    for (unsigned y = 0; y < picture.height; y += tileHeight)
        for (unsigned x = 0; x < picture.width; x += tileWidth)
            sums.push_back(picture.sum(x, y, x + tileWidth, y + tileHeight));
    return sums;
}

class PixelCount : public GlTest
{
protected:
    void SetUp() override
    {
        GlTest::SetUp();
        filter = makeQuietly<cvprocess::PixelCount>();
    }

    void TearDown() override
    {
        filter.reset();
        GlTest::TearDown();
    }

    /// One pass over values in an R32F texture with so many tiles requested.
    void expectSums(const Values& picture, unsigned requested)
    {
        RectTexture source(picture.width, picture.height, RectTexture::R32F);
        source.upload(picture.values.data());
        RectTexture destination(picture.width, picture.height, RectTexture::R32UI);
        std::vector<std::uint32_t> texels(picture.values.size(), kSentinel);
        destination.upload(texels.data());
        filter->setMaxNofTiles(requested);
        capture([&] {
            filter->prepareExecution(source, destination);
            filter->execute();
        });
        expectNoGlError("the pass");

        std::vector<std::uint32_t> expected = tileSums(picture, requested);
        EXPECT_EQ(filter->getNofTiles(), expected.size());
        EXPECT_EQ(filter->getCount(), picture.sum(0, 0, picture.width, picture.height));
        expectNoGlError("the count");
        destination.download(texels.data());
        expected.resize(texels.size(), kSentinel); // nothing else is drawn
        EXPECT_EQ(texels, expected);
    }

    std::unique_ptr<cvprocess::PixelCount> filter;
};

TEST_F(PixelCount, PicturesOfTheLongestSidesAreSummed)
{
    expectSums(randomValues(16384, 2, 256, 1), 1000);
    filter->resetROIs();
    expectSums(randomValues(8, 16384, 256, 2), 4);
}

TEST_F(PixelCount, EveryTileHasItsSumInItsOwnTexelForEveryNumberOfTiles)
{
    struct
    {
        unsigned width, height;
    } const sizes[] = {{64, 48}, {72, 5}, {60, 31}, {37, 41}, {2, 1}, {2, 64}}; // widths of tiles by 16, 8, 4 and 1
    unsigned seed = 1;
    for (const auto& [width, height] : sizes) {
        for (unsigned tiles = 1; tiles < width; ++tiles) {
            SCOPED_TRACE(std::to_string(tiles) + " tiles of " + std::to_string(width) + " x " + std::to_string(height));
            expectSums(randomValues(width, height, 2, seed++), tiles);
        }
    }
}

TEST_F(PixelCount, ValuesAboveOneAreAddedUp)
{
    expectSums(randomValues(61, 47, 1000, 7), 9);
}

TEST_F(PixelCount, AFrameInTheTilesOfTheDefault)
{
    expectSums(randomValues(640, 480, 2, 3), 32);
    EXPECT_EQ(filter->getNofTiles(), 25u);
    expectSums(randomValues(1920, 1080, 2, 4), 1000);
}

TEST_F(PixelCount, EmptyAndFullMasks)
{
    for (const float value : {0.0f, 1.0f}) {
        Values picture = {131, 97, std::vector<float>(131 * 97, value)};
        expectSums(picture, 32);
        expectSums(picture, 1);
    }
}

TEST_F(PixelCount, BytesCountWhereTheyAreFullAndOnlyInTheRedChannel)
{
    std::mt19937 random(5);
    std::vector<unsigned char> bytes(4 * 53 * 29);
    unsigned expected = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(random() % 2 ? 255 : random() % 255);
        expected += i % 4 == 0 && bytes[i] == 255;
    }
    RectTexture source(53, 29, RectTexture::RGBA8);
    source.upload(bytes.data());
    RectTexture destination(53, 29, RectTexture::R32UI);
    capture([&] {
        filter->prepareExecution(source, destination);
        filter->execute();
    });
    EXPECT_EQ(filter->getCount(), expected);
}

TEST_F(PixelCount, CountsTheNextFrameInTheSameTextures)
{
    RectTexture source(64, 48, RectTexture::R32F);
    RectTexture destination(64, 48, RectTexture::R32UI);
    for (const unsigned seed : {1u, 2u, 3u}) {
        const Values picture = randomValues(64, 48, 2, seed);
        source.upload(picture.values.data());
        capture([&] {
            filter->prepareExecution(source, destination);
            filter->execute();
        });
        EXPECT_EQ(filter->getCount(), picture.sum(0, 0, 64, 48));
    }
}

} // namespace
} // namespace velmor::tests
