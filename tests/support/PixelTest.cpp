#include "tests/support/PixelTest.h"

#include "core/cvdata/Image.h"
#include "core/cvdata/RectTexture.h"
#include "imageio/ImageIo.h"

#include <cmath>
#include <random>

namespace velmor::tests {
namespace {

using core::cvdata::Image;
using core::cvdata::RectTexture;
using cvprocess::GpuStdShaders;

constexpr Texel kSentinel = {-7.0f, -8.0f, -9.0f, -10.0f}; // no filter writes it

struct Size
{
    unsigned width;
    unsigned height;
};
constexpr Size kSizes[] = {{1, 1}, {1, 7}, {7, 1}, {2, 2}, {13, 11}, {31, 37}, {64, 48}, {257, 3}};

struct Region
{
    int x0, y0, x1, y1;
    bool contains(unsigned x, unsigned y) const
    {
        const auto column = static_cast<int>(x), row = static_cast<int>(y);
        return x0 <= column && column < x1 && y0 <= row && row < y1;
    }
};

void prepare(GpuStdShaders& filter, bool twoSources, RectTexture& first, RectTexture& second, RectTexture& destination)
{
    if (twoSources)
        filter.prepareExecution(first, second, destination);
    else
        filter.prepareExecution(first, destination);
}

std::string place(unsigned x, unsigned y, const Picture& picture)
{
    return "pixel (" + std::to_string(x) + ", " + std::to_string(y) + ") of " + std::to_string(picture.width) + " x " +
           std::to_string(picture.height);
}

Bytes pixel(const Image& image, unsigned x, unsigned y)
{
    const unsigned char* const begin =
        image.imageBuffer() + static_cast<std::size_t>(y) * image.allocatedWidth() + 3 * x;
    return {begin[0], begin[1], begin[2]};
}

} // namespace

ByteRule perByte(const std::function<int(int, int)>& rule)
{
    return [rule](const Bytes& a, const Bytes& b) {
        Bytes result;
        for (std::size_t i = 0; i < result.size(); ++i)
            result[i] = static_cast<unsigned char>(rule(a[i], b[i]));
        return result;
    };
}

Picture::Picture(unsigned pictureWidth, unsigned pictureHeight, const Texel& fill)
    : width(pictureWidth), height(pictureHeight), texels(static_cast<std::size_t>(pictureWidth) * pictureHeight, fill)
{
}

Picture randomPicture(unsigned width, unsigned height, unsigned seed)
{
    std::mt19937 random(seed);
    const float corners[] = {0.0f, 1.0f, 0.5f, 1.0f / 255.0f, 254.0f / 255.0f};
    Picture picture(width, height);
    for (Texel& texel : picture.texels)
        for (float& channel : texel)
            channel = random() % 2 ? corners[random() % 5] : static_cast<float>(random() % 65536) / 65535.0f;
    return picture;
}

void expectNear(const Texel& actual, const Texel& expected, float tolerance)
{
    for (std::size_t channel = 0; channel < 4; ++channel)
        EXPECT_NEAR(actual[channel], expected[channel], tolerance) << "channel " << channel;
}

Picture PixelTest::run(GpuStdShaders& filter, bool twoSources, const Picture& first, const Picture& second)
{
    RectTexture source1(first.width, first.height, RectTexture::RGBA32F);
    RectTexture source2(second.width, second.height, RectTexture::RGBA32F);
    RectTexture destination(first.width, first.height, RectTexture::RGBA32F);
    source1.upload(first.texels.data());
    source2.upload(second.texels.data());
    Picture result(first.width, first.height, kSentinel);
    destination.upload(result.texels.data());
    expectNoGlError("the uploads");

    const Output output = capture([&] {
        prepare(filter, twoSources, source1, source2, destination);
        filter.execute();
    });
    EXPECT_EQ(output.out + output.err, "");
    expectNoGlError("the pass");
    destination.download(result.texels.data());
    expectNoGlError("the download");
    return result;
}

Texel PixelTest::runOne(GpuStdShaders& filter, const Texel& first, const Texel& second)
{
    filter.resetROIs();
    return run(filter, true, Picture(1, 1, first), Picture(1, 1, second)).at(0, 0);
}

Texel PixelTest::runOne(GpuStdShaders& filter, const Texel& source)
{
    filter.resetROIs();
    return run(filter, false, Picture(1, 1, source), Picture(1, 1)).at(0, 0);
}

void PixelTest::expectPixels(GpuStdShaders& filter, bool twoSources, const PixelRule& rule, float tolerance)
{
    unsigned seed = 1;
    for (const auto& [width, height] : kSizes) {
        const Picture first = randomPicture(width, height, seed++);
        const Picture second = randomPicture(width, height, seed++);
        const auto right = static_cast<int>(width), bottom = static_cast<int>(height);
        const Region everything = {0, 0, right, bottom};
        const Region corner = {0, 0, (right + 1) / 2, (bottom + 1) / 2};
        const Region inside = {right / 3, bottom / 2, right - right / 4, bottom};
        for (const std::vector<Region>& regions :
             {std::vector<Region>{}, std::vector<Region>{corner}, std::vector<Region>{corner, inside}}) {
            filter.resetROIs();
            for (const Region& region : regions)
                filter.addROI(region.x0, region.y0, region.x1, region.y1);
            const Picture result = run(filter, twoSources, first, second);
            for (unsigned y = 0; y < height; ++y) {
                for (unsigned x = 0; x < width; ++x) {
                    SCOPED_TRACE(place(x, y, result) + ", " + std::to_string(regions.size()) + " regions");
                    bool covered = regions.empty() && everything.contains(x, y);
                    for (const Region& region : regions)
                        covered = covered || region.contains(x, y);
                    if (covered)
                        expectNear(result.at(x, y), rule(first.at(x, y), second.at(x, y)), tolerance);
                    else
                        expectNear(result.at(x, y), kSentinel, 0.0f);
                    if (HasFailure())
                        return;
                }
            }
        }
    }
    filter.resetROIs();
}

void PixelTest::expectBytes(GpuStdShaders& filter, bool twoSources, const ByteRule& rule)
{
    const Image first = imageio::load(VELMOR_TEST_PHOTOGRAPH, Image::RGB);
    const Image second(first);
    const cv::Mat mirrored = second.mat();
    cv::flip(first.mat(), mirrored, 1);
    RectTexture source1(first.width(), first.height(), RectTexture::RGB8);
    RectTexture source2(first.width(), first.height(), RectTexture::RGB8);
    RectTexture destination(first.width(), first.height(), RectTexture::RGB8);
    source1.upload(first);
    source2.upload(second);
    filter.resetROIs();
    prepare(filter, twoSources, source1, source2, destination);
    filter.execute();
    Image result(first);
    destination.download(result);
    expectNoGlError("the pass over bytes");

    int wrong = 0;
    for (unsigned y = 0; y < first.height(); ++y)
        for (unsigned x = 0; x < first.width(); ++x)
            wrong += pixel(result, x, y) != rule(pixel(first, x, y), pixel(second, x, y));
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(first.width() * first.height(), 100000u);
}

} // namespace velmor::tests
