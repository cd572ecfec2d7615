#include "tests/support/PixelTest.h"

#include "imageio/ImageIo.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <random>
#include <sstream>

namespace velmor::tests {
namespace {

using core::cvdata::Image;
using cvprocess::GpuStdShaders;
using glsupport::RectTexture;

constexpr Texel kSentinel = {-7.0f, -8.0f, -9.0f, -10.0f}; // no filter writes it
constexpr float kCorners[] = {0.0f, 1.0f, 0.5f, 1.0f / 255.0f, 254.0f / 255.0f};

struct Size
{
    unsigned width;
    unsigned height;
};
constexpr Size kSizes[] = {{1, 1}, {1, 7}, {7, 1}, {2, 2}, {13, 11}, {31, 37}, {64, 48}, {257, 3}};

constexpr unsigned kLongestSide = 16384; // the most that drivers allow

struct Region
{
    int x0, y0, x1, y1;
    bool contains(int x, int y) const { return x0 <= x && x < x1 && y0 <= y && y < y1; }
};

void prepare(GpuStdShaders& filter, bool twoSources, RectTexture& first, RectTexture& second, RectTexture& destination)
{
    if (twoSources)
        filter.prepareExecution(first, second, destination);
    else
        filter.prepareExecution(first, destination);
}

/// Fills a texture that can hold the sentinel.
void fillWithSentinel(RectTexture& texture)
{
    if (texture.format() == RectTexture::RGBA32F)
        texture.upload(Picture(texture.width(), texture.height(), kSentinel).texels.data());
}

/// The texels of a texture of floats or bytes; colours that it lacks are 0, a lacking alpha is 1.
Picture contentOf(const RectTexture& texture)
{
    Picture result(texture.width(), texture.height(), {0.0f, 0.0f, 0.0f, 1.0f});
    const bool single = texture.format() == RectTexture::GREY8 || texture.format() == RectTexture::R32F;
    const std::size_t components = single ? 1 : texture.format() == RectTexture::RGB8 ? 3 : 4;
    const auto copy = [&](const auto& values, float unit) {
        for (std::size_t i = 0; i < values.size(); ++i)
            result.texels[i / components][i % components] = static_cast<float>(values[i]) / unit;
    };
    if (texture.getTexDataType() == GL_FLOAT) {
        std::vector<float> values(result.texels.size() * components);
        texture.download(values.data());
        copy(values, 1.0f);
    } else {
        std::vector<unsigned char> values(result.texels.size() * components);
        texture.download(values.data());
        copy(values, 255.0f);
    }
    return result;
}

std::string text(const Texel& texel)
{
    std::ostringstream stream;
    stream.precision(9);
    stream << '(' << texel[0] << ", " << texel[1] << ", " << texel[2] << ", " << texel[3] << ')';
    return stream.str();
}

/// What is to be found at a place.
struct Expected
{
    Texel texel;
    float tolerance;
    std::size_t channels;

    bool agrees(const Texel& actual) const
    {
        for (std::size_t channel = 0; channel < channels; ++channel)
            if (!(std::abs(actual[channel] - texel[channel]) <= tolerance)) // so that a not-a-number fails
                return false;
        return true;
    }
};

/// Fails once for all texels that are wrong, and shows the first of them.
void expectPicture(const Picture& actual, const std::function<Expected(int x, int y)>& expectedAt,
                   const std::string& what)
{
    std::size_t wrong = 0;
    std::string first;
    for (unsigned y = 0; y < actual.height; ++y) {
        for (unsigned x = 0; x < actual.width; ++x) {
            const Expected expected = expectedAt(static_cast<int>(x), static_cast<int>(y));
            if (!expected.agrees(actual.at(x, y)) && wrong++ == 0)
                first = "at (" + std::to_string(x) + ", " + std::to_string(y) + ") " + text(actual.at(x, y)) +
                        " instead of " + text(expected.texel);
        }
    }
    EXPECT_EQ(wrong, 0u) << "pixels of " << actual.width << " x " << actual.height << ", " << what << ", the first "
                         << first;
}

Bytes pixel(const Image& image, unsigned x, unsigned y)
{
    const unsigned char* const begin =
        image.imageBuffer() + static_cast<std::size_t>(y) * image.allocatedWidth() + 3 * x;
    return {begin[0], begin[1], begin[2]};
}

} // namespace

PixelRule perChannel(const std::function<float(float, float)>& rule)
{
    return [rule](const Texel& first, const Texel& second) {
        Texel result;
        std::transform(first.begin(), first.end(), second.begin(), result.begin(), rule);
        return result;
    };
}

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

const Texel& Picture::clamped(int x, int y) const
{
    return at(static_cast<unsigned>(std::clamp(x, 0, static_cast<int>(width) - 1)),
              static_cast<unsigned>(std::clamp(y, 0, static_cast<int>(height) - 1)));
}

Picture randomPicture(unsigned width, unsigned height, unsigned seed)
{
    std::mt19937 random(seed);
    Picture picture(width, height);
    for (Texel& texel : picture.texels)
        for (float& channel : texel)
            channel = random() % 2 ? kCorners[random() % 5] : static_cast<float>(random() % 65536) / 65535.0f;
    return picture;
}

Picture cornerPicture()
{
    Picture picture(25, 25);
    for (std::size_t i = 0; i < picture.texels.size(); ++i)
        picture.texels[i] = {kCorners[i % 5], kCorners[i / 5 % 5], kCorners[i / 25 % 5], kCorners[i / 125]};
    return picture;
}

Picture pictureOf(const Image& image)
{
    Picture picture(image.width(), image.height(), {0.0f, 0.0f, 0.0f, 1.0f});
    for (unsigned y = 0; y < image.height(); ++y) {
        const unsigned char* byte = image.imageBuffer() + static_cast<std::size_t>(y) * image.allocatedWidth();
        for (unsigned x = 0; x < image.width(); ++x) {
            for (std::size_t channel = 0; channel < 3; ++channel)
                picture.at(x, y)[channel] = static_cast<float>(byte[image.nofChannels() == 1 ? 0 : channel]) / 255.0f;
            byte += image.nofChannels();
        }
    }
    return picture;
}

Image photograph(Image::ChannelLayout layout)
{
    return imageio::load(VELMOR_TEST_PHOTOGRAPH, layout);
}

Reference perPixel(const PixelRule& rule, float tolerance)
{
    return {[rule](const Picture& first, const Picture& second, int x, int y) {
                return rule(first.clamped(x, y), second.clamped(x, y));
            },
            tolerance};
}

void setBorderColour(const RectTexture& texture, const Texel& colour)
{
    glBindTexture(texture.getTexTargetType(), texture.getTexId());
    for (const GLenum direction : std::initializer_list<GLenum>{GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T})
        glTexParameteri(texture.getTexTargetType(), direction, GL_CLAMP_TO_BORDER);
    glTexParameterfv(texture.getTexTargetType(), GL_TEXTURE_BORDER_COLOR, colour.data());
}

void setLinearFilter(const RectTexture& texture)
{
    glBindTexture(texture.getTexTargetType(), texture.getTexId());
    for (const GLenum scaling : std::initializer_list<GLenum>{GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER})
        glTexParameteri(texture.getTexTargetType(), scaling, GL_LINEAR);
}

void expectNear(const Texel& actual, const Texel& expected, float tolerance, std::size_t channels)
{
    for (std::size_t channel = 0; channel < channels; ++channel)
        EXPECT_NEAR(actual[channel], expected[channel], tolerance) << "channel " << channel;
}

Picture PixelTest::run(GpuStdShaders& filter, RectTexture& source, RectTexture& destination)
{
    return run(filter, false, source, source, destination);
}

Picture PixelTest::run(GpuStdShaders& filter, bool twoSources, RectTexture& source1, RectTexture& source2,
                       RectTexture& destination)
{
    fillWithSentinel(destination);
    expectNoGlError("the uploads");
    const Output output = capture([&] {
        prepare(filter, twoSources, source1, source2, destination);
        filter.execute();
    });
    EXPECT_EQ(output.out + output.err, "");
    expectNoGlError("the pass");
    const Picture result = contentOf(destination);
    expectNoGlError("the download");
    return result;
}

Picture PixelTest::run(GpuStdShaders& filter, bool twoSources, const Picture& first, const Picture& second)
{
    RectTexture source1(first.width, first.height, RectTexture::RGBA32F);
    RectTexture source2(second.width, second.height, RectTexture::RGBA32F);
    RectTexture destination(first.width, first.height, RectTexture::RGBA32F);
    source1.upload(first.texels.data());
    source2.upload(second.texels.data());
    return run(filter, twoSources, source1, source2, destination);
}

Picture PixelTest::run(GpuStdShaders& filter, const Picture& source)
{
    return run(filter, false, source, Picture(1, 1));
}

Texel PixelTest::runOne(GpuStdShaders& filter, const Texel& first, const Texel& second)
{
    filter.resetROIs();
    return run(filter, true, Picture(1, 1, first), Picture(1, 1, second)).at(0, 0);
}

Texel PixelTest::runOne(GpuStdShaders& filter, const Texel& source)
{
    filter.resetROIs();
    return run(filter, Picture(1, 1, source)).at(0, 0);
}

void PixelTest::expectPixels(GpuStdShaders& filter, bool twoSources, const Reference& reference)
{
    unsigned seed = 1;
    for (const auto& [width, height] : kSizes) {
        const Picture first = reference.source(width, height, seed++);
        const Picture second = reference.source(width, height, seed++);
        const auto right = static_cast<int>(width), bottom = static_cast<int>(height);
        const Region corner = {0, 0, (right + 1) / 2, (bottom + 1) / 2};
        const Region inside = {right / 3, bottom / 2, right - right / 4, bottom};
        for (const std::vector<Region>& regions :
             {std::vector<Region>{}, std::vector<Region>{corner}, std::vector<Region>{corner, inside}}) {
            filter.resetROIs();
            for (const Region& region : regions)
                filter.addROI(region.x0, region.y0, region.x1, region.y1);
            const Picture result = run(filter, twoSources, first, second);
            const auto expectedAt = [&](int x, int y) -> Expected {
                bool covered = regions.empty() || !reference.mindsRegions;
                for (const Region& region : regions)
                    covered = covered || region.contains(x, y);
                if (!covered)
                    return {kSentinel, 0.0f, 4};
                return {reference.rule(first, second, x, y), reference.tolerance, reference.channels};
            };
            expectPicture(result, expectedAt, std::to_string(regions.size()) + " regions");
        }
    }
    expectLargerDestination(filter, twoSources, reference);
    expectLongestSides(filter, twoSources, reference);
    filter.resetROIs();
}

void PixelTest::expectLongestSides(GpuStdShaders& filter, bool twoSources, const Reference& reference)
{
    filter.resetROIs();
    for (const Size& size : {Size{kLongestSide, 1}, Size{1, kLongestSide}}) {
        const Picture first = reference.source(size.width, size.height, 1);
        const Picture second = reference.source(size.width, size.height, 2);
        const auto expectedAt = [&](int x, int y) -> Expected {
            return {reference.rule(first, second, x, y), reference.tolerance, reference.channels};
        };
        expectPicture(run(filter, twoSources, first, second), expectedAt, "the longest side");
        filter.resetROIs();
    }
}

void PixelTest::expectBorderColour(GpuStdShaders& filter, const Reference& reference)
{
    constexpr unsigned kMargin = 4; // as far as any filter reads, and even, as mosaics need
    constexpr Texel kBorder = {0.25f, 0.75f, 0.5f, 0.125f};
    const Picture picture = reference.source(13, 11, 1);
    Picture framed(picture.width + 2 * kMargin, picture.height + 2 * kMargin, kBorder);
    for (unsigned y = 0; y < picture.height; ++y)
        for (unsigned x = 0; x < picture.width; ++x)
            framed.at(x + kMargin, y + kMargin) = picture.at(x, y);

    RectTexture source(picture.width, picture.height, RectTexture::RGBA32F);
    RectTexture destination(picture.width, picture.height, RectTexture::RGBA32F);
    source.upload(picture.texels.data());
    setBorderColour(source, kBorder);
    filter.resetROIs();
    const int margin = kMargin;
    const auto expectedAt = [&](int x, int y) -> Expected {
        return {reference.rule(framed, framed, x + margin, y + margin), reference.tolerance, reference.channels};
    };
    expectPicture(run(filter, source, destination), expectedAt, "a border colour");
}

void PixelTest::expectLinearFilter(GpuStdShaders& filter, const Reference& reference)
{
    Picture picture = reference.source(31, 37, 1);
    for (Texel& texel : picture.texels)
        for (float& channel : texel)
            channel = 0.25f + 0.75f * channel; // no zero, where a quotient would leap
    RectTexture source(picture.width, picture.height, RectTexture::RGBA32F);
    RectTexture destination(picture.width, picture.height, RectTexture::RGBA32F);
    source.upload(picture.texels.data());
    setLinearFilter(source);
    filter.resetROIs();
    // A place lies off the middle by a few roundings of 37, 2e-6 each, and takes as much of its neighbours in. The
    // weights of a filter add up to 16 at most.
    const float tolerance = reference.tolerance + 16 * 1e-5f;
    const auto expectedAt = [&](int x, int y) -> Expected {
        return {reference.rule(picture, picture, x, y), tolerance, reference.channels};
    };
    expectPicture(run(filter, source, destination), expectedAt, "a linear filter");
}

void PixelTest::expectLargerDestination(GpuStdShaders& filter, bool twoSources, const Reference& reference)
{
    const Picture first = reference.source(31, 17, 1), second = reference.source(31, 17, 2);
    RectTexture source1(first.width, first.height, RectTexture::RGBA32F);
    RectTexture source2(second.width, second.height, RectTexture::RGBA32F);
    RectTexture destination(3 * first.width, 3 * first.height, RectTexture::RGBA32F);
    source1.upload(first.texels.data());
    source2.upload(second.texels.data());
    filter.resetROIs();
    const Picture result = run(filter, twoSources, source1, source2, destination);
    EXPECT_EQ(std::count(result.texels.begin(), result.texels.end(), kSentinel), 0);

    // The middle of every three by three pixels shows the centre of a texel.
    Picture middles(first.width, first.height);
    for (unsigned y = 0; y < first.height; ++y)
        for (unsigned x = 0; x < first.width; ++x)
            middles.at(x, y) = result.at(3 * x + 1, 3 * y + 1);
    const auto expectedAt = [&](int x, int y) -> Expected {
        return {reference.rule(first, second, x, y), reference.tolerance, reference.channels};
    };
    expectPicture(middles, expectedAt, "of a destination three times as large");
}

void PixelTest::expectPixels(GpuStdShaders& filter, bool twoSources, const PixelRule& rule, float tolerance)
{
    const Reference reference = perPixel(rule, tolerance);
    expectPixels(filter, twoSources, reference);

    const Picture first = cornerPicture();
    const Picture second = randomPicture(first.width, first.height, 0);
    const Picture result = run(filter, twoSources, first, second);
    const auto expectedAt = [&](int x, int y) -> Expected {
        return {reference.rule(first, second, x, y), tolerance, 4};
    };
    expectPicture(result, expectedAt, "corners of the value range");
}

void PixelTest::expectPixels(GpuStdShaders& filter, const Reference& reference, const Picture& source)
{
    filter.resetROIs();
    const auto expectedAt = [&](int x, int y) -> Expected {
        return {reference.rule(source, source, x, y), reference.tolerance, reference.channels};
    };
    expectPicture(run(filter, source), expectedAt, "one picture");
}

void PixelTest::expectFrame(GpuStdShaders& filter, const Reference& reference, const Image& frame)
{
    const Picture picture = pictureOf(frame);
    RectTexture source(frame.width(), frame.height(),
                       frame.channels() == Image::GREYSCALE ? RectTexture::GREY8 : RectTexture::RGB8);
    source.upload(frame);
    filter.resetROIs();

    RectTexture floats(frame.width(), frame.height(), RectTexture::RGBA32F);
    const auto expectedFloat = [&](int x, int y) -> Expected {
        return {reference.rule(picture, picture, x, y), reference.tolerance, reference.channels};
    };
    expectPicture(run(filter, source, floats), expectedFloat, "into floats");

    RectTexture bytes(frame.width(), frame.height(), RectTexture::RGBA8);
    const auto expectedByte = [&](int x, int y) -> Expected {
        Expected expected = expectedFloat(x, y);
        for (float& channel : expected.texel)
            channel = std::clamp(channel, 0.0f, 1.0f);
        expected.tolerance += 0.5f / 255.0f; // of rounding to a byte
        return expected;
    };
    expectPicture(run(filter, source, bytes), expectedByte, "into bytes");
    EXPECT_GT(frame.width() * frame.height(), 100000u);
}

void PixelTest::expectBytes(GpuStdShaders& filter, bool twoSources, const ByteRule& rule)
{
    const Image first = photograph(Image::RGB);
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
