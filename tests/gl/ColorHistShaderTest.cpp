#include "cvprocess/gpuStdShaders/ColorHistShader.h"

#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/ColourHist2D.h"
#include "tests/support/PixelTest.h"

#include <cmath>
#include <numeric>
#include <random>

using velmor::core::cvdata::Image;
using velmor::glsupport::RectTexture;

namespace velmor::tests {
namespace {

struct Bins
{
    int first, second, third;
    int cells() const { return first * second * third; }
};

/// A region whose second corner belongs to it.
struct Region
{
    int x0, y0, x1, y1;
    int width() const { return x1 - x0 + 1; }
    int height() const { return y1 - y0 + 1; }
    int pixels() const { return width() * height(); }
};

/// Random colours away from the boundaries between bins, where the rounding of the driver would decide.
Picture colours(unsigned width, unsigned height, const Bins& bins, unsigned seed)
{
    std::mt19937 random(seed);
    const auto value = [&](int count) {
        const auto bin = random() % static_cast<unsigned>(count);
        const bool full = random() % 8 == 0; // the last bin has 1.0 too
        return full ? 1.0f
                    : (static_cast<float>(bin) + 0.25f + static_cast<float>(random() % 512) / 1024.0f) /
                          static_cast<float>(count);
    };
    Picture picture(width, height);
    for (Texel& texel : picture.texels)
        texel = {value(bins.first), value(bins.second), value(bins.third), 1.0f};
    return picture;
}

/// The counts of a region, pixel by pixel.
std::vector<double> counted(const Picture& picture, const Bins& bins, const Region& region)
{
    const auto bin = [](float value, int count) {
        return std::min(static_cast<int>(std::floor(value * static_cast<float>(count))), count - 1);
    };
    std::vector<double> counts(static_cast<std::size_t>(bins.cells()));
    for (int y = region.y0; y <= region.y1; ++y)
        for (int x = region.x0; x <= region.x1; ++x) {
            const Texel& colour = picture.at(static_cast<unsigned>(x), static_cast<unsigned>(y));
            const int cell = bin(colour[0], bins.first) +
                             bins.first * (bin(colour[1], bins.second) + bins.second * bin(colour[2], bins.third));
            counts[static_cast<std::size_t>(cell)] += 1.0;
        }
    return counts;
}

/// The most that counts may differ in sum over the cells. A block's origin goes through the position of a point, and
/// where that is rounded down, the block lies one pixel off: of a block of w x h then w + h - 1 pixels at most leave
/// and as many others enter. Sizes that are powers of two have exact positions.
double allowedDifference(unsigned width, unsigned height, const Region& region, int block)
{
    const auto isPowerOfTwo = [](unsigned n) {
        return (n & (n - 1)) == 0;
    };
    if (isPowerOfTwo(width) && isPowerOfTwo(height))
        return 0.0;
    double sum = 0.0;
    for (int y = 0; y < region.height(); y += block)
        for (int x = 0; x < region.width(); x += block)
            sum += 2.0 * (std::min(block, region.width() - x) + std::min(block, region.height() - y) - 1);
    return sum;
}

class ColorHistShader : public PixelTest
{
protected:
    struct Size
    {
        unsigned width, height;
    };

    /// Runs a pass over a texture, with a region or without, and reads the counts back.
    static std::vector<double> run(const RectTexture& like, RectTexture& source, const Bins& bins, int block,
                                   const Region* region)
    {
        cvprocess::ColorHistShader::Param param;
        param.mNBins1 = bins.first;
        param.mNBins2 = bins.second;
        param.mNBins3 = bins.third;
        param.mXres = static_cast<int>(like.width());
        param.mYres = static_cast<int>(like.height());
        param.mBlockSize = block;
        const auto filter = makeQuietly<cvprocess::ColorHistShader>(&param, nullptr);
        RectTexture mask(like.width(), like.height(), RectTexture::GREY8);
        RectTexture counts(like.width(), like.height(), RectTexture::RGBA32F);
        counts.upload(Picture(like.width(), like.height(), {-7.0f, -8.0f, -9.0f, -10.0f}).texels.data());
        if (region)
            filter->addROI(region->x0, region->y0, region->x1, region->y1);
        core::cvdata::ColourHist2d histogram(static_cast<unsigned char>(bins.first),
                                             static_cast<unsigned char>(bins.second),
                                             static_cast<unsigned char>(bins.third));
        const Output output = capture([&] {
            filter->prepareExecution(source, mask, counts);
            filter->execute();
            filter->copyHistoFromGPU(histogram);
        });
        EXPECT_EQ(output.out + output.err, "");
        expectNoGlError("the histogram");

        // Texels behind the counts are cleared.
        Picture texels(like.width(), like.height());
        counts.download(texels.texels.data());
        for (std::size_t i = static_cast<std::size_t>(bins.cells()) / 4; i < texels.texels.size(); ++i)
            EXPECT_EQ(texels.texels[i], Texel{}) << i;

        const Region whole = {0, 0, static_cast<int>(like.width()) - 1, static_cast<int>(like.height()) - 1};
        std::vector<double> result(static_cast<std::size_t>(bins.cells()));
        for (unsigned k = 0; k < result.size(); ++k)
            result[k] = histogram.data()[k] * (region ? *region : whole).pixels();
        return result;
    }

    void expectCounts(const Size& size, const Bins& bins, int block, const Region& region, bool asRegion, unsigned seed)
    {
        SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height) + ", blocks of " +
                     std::to_string(block) + ", cells " + std::to_string(bins.cells()) + ", region " +
                     std::to_string(region.x0) + " " + std::to_string(region.y0) + " " + std::to_string(region.x1) +
                     " " + std::to_string(region.y1));
        const Picture picture = colours(size.width, size.height, bins, seed);
        RectTexture source(size.width, size.height, RectTexture::RGBA32F);
        source.upload(picture.texels.data());
        const std::vector<double> actual = run(source, source, bins, block, asRegion ? &region : nullptr);
        expectNear(actual, counted(picture, bins, region), allowedDifference(size.width, size.height, region, block));
    }

    void expectCountsOfTheWhole(const Size& size, const Bins& bins, unsigned seed)
    {
        const Region whole = {0, 0, static_cast<int>(size.width) - 1, static_cast<int>(size.height) - 1};
        expectCounts(size, bins, 10, whole, false, seed);
    }

    /// Four regions of two sizes of pictures, each with a seed of its own.
    void expectCountsOfRegions(int block, unsigned seed)
    {
        expectCounts({64, 32}, {6, 6, 6}, block, {5, 3, 29, 14}, true, seed); // 25 x 12 pixels
        expectCounts({64, 32}, {6, 6, 6}, block, {0, 0, 63, 31}, true, seed + 1);
        expectCounts({64, 32}, {6, 6, 6}, block, {63, 31, 63, 31}, true, seed + 2);
        expectCounts({75, 52}, {6, 6, 6}, block, {10, 20, 74, 51}, true, seed + 3);
    }

    /// Compares all cells that are emitted: as many as are divisible by four.
    static void expectNear(const std::vector<double>& actual, std::vector<double> expected, double allowed)
    {
        ASSERT_EQ(actual.size(), expected.size());
        std::fill(expected.begin() + static_cast<std::ptrdiff_t>(expected.size() / 4 * 4), expected.end(), 0.0);
        double difference = 0.0;
        for (std::size_t k = 0; k < actual.size(); ++k) {
            EXPECT_NEAR(actual[k], std::round(actual[k]), 1e-6) << k; // of dividing by the area and multiplying again
            difference += std::abs(actual[k] - expected[k]);
        }
        EXPECT_LE(difference, allowed + 1e-6);
        if (expected.size() % 4 == 0) { // no pixel is lost or counted twice
            EXPECT_NEAR(std::accumulate(actual.begin(), actual.end(), 0.0),
                        std::accumulate(expected.begin(), expected.end(), 0.0), 1e-6);
        }
    }
};

using ColorHistShaderSweep = ColorHistShader;

TEST_F(ColorHistShader, CountsEveryPixelOfTheWholePicture)
{
    expectCountsOfTheWhole({64, 32}, {6, 6, 6}, 1);
    expectCountsOfTheWhole({75, 52}, {1, 7, 16}, 2);
}

TEST_F(ColorHistShaderSweep, CountsEveryPixelOfTheWholePictureWhateverTheBins)
{
    const Bins table[] = {{2, 2, 2}, {6, 6, 6}, {8, 4, 1}, {1, 7, 16}, {3, 3, 3}, {5, 1, 7}};
    unsigned seed = 1;
    for (const Size& size : {Size{64, 32}, Size{128, 64}, Size{75, 52}, Size{131, 97}})
        for (const Bins& bins : table)
            expectCountsOfTheWhole(size, bins, seed++);
}

TEST_F(ColorHistShader, CountsEveryPixelOfARegion)
{
    expectCountsOfRegions(7, 100);
}

TEST_F(ColorHistShaderSweep, CountsEveryPixelOfARegionInBlocksOfEverySize)
{
    unsigned seed = 100;
    for (const int block : {1, 3, 7, 10, 16, 64, 1000}) {
        expectCountsOfRegions(block, seed);
        seed += 4;
    }
}

TEST_F(ColorHistShader, CountsAThousandCells)
{
    expectCounts({256, 64}, {10, 10, 10}, 10, {0, 0, 255, 63}, false, 200);
}

TEST_F(ColorHistShader, AgreesWithTheHistogramOfTheCpuOnAFrame)
{
    // Eight bins of bytes have the same boundaries in both, the CPU's leaves out pixels that have a 0 among their bytes
    // and the last column and row; 256 and 128 are powers of two.
    const Image whole = photograph(Image::RGB);
    Image frame(256, 128, Image::RGB);
    for (unsigned y = 0; y < frame.height(); ++y)
        for (unsigned x = 0; x < 3 * frame.width(); ++x)
            frame.imageBuffer()[y * frame.allocatedWidth() + x] =
                std::max<unsigned char>(1, whole.imageBuffer()[(y + 40) * whole.allocatedWidth() + x + 300]);
    RectTexture source(frame.width(), frame.height(), RectTexture::RGB8);
    source.upload(frame);
    const Region region = {30, 20, 229, 119};
    const std::vector<double> actual = run(source, source, {8, 8, 8}, 10, &region);

    core::cvdata::ColourHist2d expected(8, 8, 8);
    cvprocess::ColourHist2D::computeHistogram(frame, expected, 30, 20, 200, 100, cvprocess::CvtColour::RGB, nullptr);
    for (unsigned k = 0; k < actual.size(); ++k)
        EXPECT_NEAR(actual[k], expected.data()[k] * region.pixels(), 1e-6) << k;
}

TEST_F(ColorHistShader, CountsTheNextFrameFromZero)
{
    const Bins bins = {4, 4, 4};
    cvprocess::ColorHistShader::Param param;
    param.mNBins1 = param.mNBins2 = param.mNBins3 = 4;
    param.mXres = 64;
    param.mYres = 32;
    const auto filter = makeQuietly<cvprocess::ColorHistShader>(&param, nullptr);
    RectTexture source(64, 32, RectTexture::RGBA32F);
    RectTexture mask(64, 32, RectTexture::GREY8);
    RectTexture counts(64, 32, RectTexture::RGBA32F);
    for (const unsigned seed : {1u, 2u, 3u}) {
        const Picture picture = colours(64, 32, bins, seed);
        source.upload(picture.texels.data());
        filter->prepareExecution(source, mask, counts);
        filter->execute();
        core::cvdata::ColourHist2d histogram(4, 4, 4);
        filter->copyHistoFromGPU(histogram);
        std::vector<double> actual(64);
        for (unsigned k = 0; k < 64; ++k)
            actual[k] = histogram.data()[k] * 64 * 32;
        expectNear(actual, counted(picture, bins, {0, 0, 63, 31}), 0.0);
    }
}

} // namespace
} // namespace velmor::tests
