#include "cvprocess/ColourHist2D.h"

#include "core/cvdata/ColourHist2d.h"
#include "imageio/ImageIo.h"
#include "tests/support/DeathText.h"
#include "tests/support/GuardedMemory.h"
#include "tests/support/InstructionSets.h"
#include "tests/support/Pictures.h"
#include "tests/support/Rounds.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

using velmor::core::cvdata::ColourHist2d;
using velmor::core::cvdata::Image;
using velmor::cvprocess::ColourHist2D;
using velmor::cvprocess::CvtColour;

namespace velmor::tests {
namespace {

struct Region
{
    unsigned x, y, width, height;
};

constexpr Region kEverything{0, 0, 100000, 100000};
constexpr unsigned kLargest = std::numeric_limits<unsigned>::max();

/// The histogram as it is stated, pixel by pixel, into a record; the number of pixels that were counted.
unsigned long plainHistogram(const Image& image, ColourHist2d& histogram, const Region& region,
                             CvtColour::ColourFormat format, const Image* mask)
{
    histogram.reset();
    unsigned char b1 = 0, b2 = 0, b3 = 0;
    histogram.getNofBins(b1, b2, b3);
    const float s1 = static_cast<float>(b1) / 256.0f;
    const float s2 = static_cast<float>(b2) / 256.0f;
    const float s3 = static_cast<float>(b3) / 256.0f;
    if (image.width() == 0 || image.height() == 0)
        return 0;
    const auto crop = [](unsigned value, unsigned high) {
        return value < high ? value : high;
    };
    const unsigned x0 = crop(region.x, image.width() - 1);
    const unsigned x1 = crop(region.x + region.width, image.width() - 1);
    const unsigned y0 = crop(region.y, image.height() - 1);
    const unsigned y1 = crop(region.y + region.height, image.height() - 1);
    unsigned long counted = 0;
    for (unsigned y = y0; y < y1; ++y) {
        for (unsigned x = x0; x < x1; ++x) {
            const unsigned char c0 = byteAt(image, x, y, 0);
            const unsigned char c1 = byteAt(image, x, y, 1);
            const unsigned char c2 = byteAt(image, x, y, 2);
            const bool coloured = format == 1 ? c2 != 0 : c0 != 0 && c1 != 0 && c2 != 0;
            if (!coloured || (mask && byteAt(*mask, x, y) == 0))
                continue;
            histogram.increaseValue(static_cast<unsigned char>(static_cast<float>(c0) * s1),
                                    static_cast<unsigned char>(static_cast<float>(c1) * s2),
                                    static_cast<unsigned char>(static_cast<float>(c2) * s3));
            ++counted;
        }
    }
    if (counted > 0)
        histogram.data().scale(1.0 / static_cast<double>(counted));
    return counted;
}

bool sameBits(const ColourHist2d& a, const ColourHist2d& b)
{
    return a.data().size() == b.data().size() &&
           std::memcmp(&a.data()[0], &b.data()[0], a.data().size() * sizeof(double)) == 0;
}

double sumOf(const ColourHist2d& histogram)
{
    double sum = 0.0;
    for (unsigned k = 0; k < histogram.data().size(); ++k)
        sum += histogram.data()[k];
    return sum;
}

void compute(const Image& image, ColourHist2d& histogram, const Region& region, CvtColour::ColourFormat format,
             Image* mask)
{
    ColourHist2D::computeHistogram(image, histogram, region.x, region.y, region.width, region.height, format, mask);
}

/// An image of 3 x 3 pixels whose pixel (0, 0) alone has a colour.
Image onePixel(unsigned char c0, unsigned char c1, unsigned char c2)
{
    Image image(3, 3, Image::RGB);
    byteAt(image, 0, 0, 0) = c0;
    byteAt(image, 0, 0, 1) = c1;
    byteAt(image, 0, 0, 2) = c2;
    return image;
}

/// Pixels of more bytes than a layout has, as of a camera driver that fills up to words.
class WideImage : public Image
{
public:
    WideImage(unsigned width, unsigned height, unsigned pixelBytes, unsigned char* pixels, unsigned stride)
        : Image(width, height, Image::RGB, pixels, stride), mPixelBytes(pixelBytes)
    {
    }
    unsigned int nofChannels() const override { return mPixelBytes; }

private:
    unsigned mPixelBytes;
};

// ---- against the plain loop

/// Random pixels whose end is that of what may be touched.
class GuardedPixels
{
public:
    explicit GuardedPixels(std::size_t bytes)
        : mMemory(bytes), mAll(mMemory.picture({static_cast<int>(bytes), 1}, CV_8U))
    {
    }

    void fill(std::mt19937& random, unsigned levels)
    {
        cv::RNG generator(random());
        generator.fill(mAll, cv::RNG::UNIFORM, 0, static_cast<int>(levels));
    }

    /// Row 0 of an image that ends here with the last pixel that is counted; its last column and its last row are not
    /// there.
    uchar* imageOf(unsigned width, unsigned height, unsigned pixelBytes, unsigned stride) const
    {
        const std::size_t bytes = std::size_t{height - 2} * stride + std::size_t{width - 1} * pixelBytes;
        return mAll.data + mAll.cols - bytes;
    }

private:
    GuardedMemory mMemory;
    cv::Mat mAll;
};

/// Numbers of bins: mostly few, which takes little time.
std::array<unsigned char, 3> randomBins(std::mt19937& random)
{
    const auto upTo = [&](unsigned most) {
        return static_cast<unsigned char>(1 + random() % most);
    };
    std::array<unsigned char, 3> bins = {upTo(5), upTo(5), upTo(5)};
    const auto kind = random() % 256;
    if (kind == 0)
        bins = {upTo(255), upTo(255), upTo(2)}; // up to 130,050
    else if (kind == 1)
        bins = {32, 32, 32};
    else if (kind < 8)
        bins = {upTo(16), upTo(16), upTo(16)};
    else if (kind < 128)
        bins = {upTo(255), upTo(2), 1};
    std::shuffle(bins.begin(), bins.end(), random);
    return bins;
}

/// Images, regions and masks of all sorts; returns how many pixels were counted.
unsigned long expectThePlainLoop(std::mt19937& random, int cases)
{
    const auto below = [&](unsigned end) {
        return static_cast<unsigned>(random()) % end;
    };
    const auto anyOf = [&](std::initializer_list<unsigned> values) {
        return values.begin()[below(static_cast<unsigned>(values.size()))];
    };
    GuardedPixels pixels(1 << 16), maskPixels(1 << 15);
    unsigned long counted = 0;
    for (int k = 0; k < cases; ++k) {
        if (k % 256 == 0) { // with 2 and 5 levels many pixels are not counted, and many are of one bin
            pixels.fill(random, anyOf({2, 5, 256, 256}));
            maskPixels.fill(random, anyOf({1, 2, 2, 256}));
        }
        const unsigned width = 2 + below(anyOf({3, 40, 140, 140, 420})), height = 2 + below(5);
        const unsigned channels = anyOf({3, 3, 3, 4, 5});
        const unsigned stride = width * channels + below(9), maskStride = width + below(9);
        const WideImage image(width, height, channels, pixels.imageOf(width, height, channels, stride), stride);
        Image mask(width, height, Image::GREYSCALE, maskPixels.imageOf(width, height, 1, maskStride), maskStride);
        Image* const usedMask = below(2) == 0 ? &mask : nullptr;
        const Region region{anyOf({0, 0, below(width)}), anyOf({0, 0, 1}), anyOf({width, below(width), kLargest / 2}),
                            height};
        const auto format = static_cast<CvtColour::ColourFormat>(below(3));
        const std::array<unsigned char, 3> bins = randomBins(random);
        ColourHist2d actual(bins[0], bins[1], bins[2]), expected(bins[0], bins[1], bins[2]);
        std::fill_n(&actual.data()[0], actual.data().size(), 0.5); // what was there before

        compute(image, actual, region, format, usedMask);
        counted += plainHistogram(image, expected, region, format, usedMask);
        if (!sameBits(actual, expected)) {
            ADD_FAILURE() << "case " << k << ": " << width << " x " << height << " of " << channels
                          << " channels, region " << region.x << ", " << region.y << ", " << region.width << " x "
                          << region.height << ", format " << format << (usedMask ? ", masked, " : ", ") << int{bins[0]}
                          << " x " << int{bins[1]} << " x " << int{bins[2]} << " bins";
            break;
        }
    }
    return counted;
}

TEST(ColourHist2D, MatchesThePlainLoopUnderEachInstructionSet)
{
    std::mt19937 random(1);
    onEachInstructionSet([&](const std::string& name) {
        SCOPED_TRACE(name);
        EXPECT_GT(expectThePlainLoop(random, randomRounds()), 10ul * static_cast<unsigned long>(randomRounds()));
    });
}

TEST(ColourHist2DSweep, MatchesThePlainLoopUnderEachInstructionSet)
{
    std::mt19937 random(2);
    onEachInstructionSet([&](const std::string& name) {
        SCOPED_TRACE(name);
        EXPECT_GT(expectThePlainLoop(random, 1000000), 10000000ul);
    });
}

TEST(ColourHist2D, MatchesThePlainLoopOnRandomImagesRegionsAndMasks)
{
    std::mt19937 random(1);
    const auto anyOf = [&](std::initializer_list<unsigned> values) {
        return values.begin()[random() % values.size()];
    };
    unsigned long counted = 0;
    for (int k = 0, rounds = randomRounds(); k < rounds; ++k) {
        const Image image = randomImage(randomSide(random), randomSide(random), Image::RGB, random,
                                        anyOf({2, 5, 256})); // 2 and 5: many zeros, and many pixels in one bin
        Image mask = randomImage(image.width(), image.height(), Image::GREYSCALE, random, anyOf({1, 2, 256}));
        const auto bins = [&] {
            return static_cast<unsigned char>(anyOf({1, 2, 3, 7, 16, 33}));
        };
        ColourHist2d actual(bins(), bins(), bins());
        ColourHist2d expected = actual;
        std::fill_n(&actual.data()[0], actual.data().size(), 0.5); // what was there before
        const auto place = [&] {
            return anyOf({0, 0, 1, static_cast<unsigned>(random() % 70), kLargest});
        };
        const auto length = [&] {
            return anyOf({0, 1, static_cast<unsigned>(random() % 70), 64, kLargest});
        };
        const Region region{place(), place(), length(), length()};
        const auto format = static_cast<CvtColour::ColourFormat>(random() % 3);
        Image* const usedMask = k % 2 == 0 ? &mask : nullptr;

        compute(image, actual, region, format, usedMask);
        counted += plainHistogram(image, expected, region, format, usedMask);
        ASSERT_TRUE(sameBits(actual, expected))
            << "image " << k << ": " << image.width() << " x " << image.height() << ", region " << region.x << ", "
            << region.y << ", " << region.width << " x " << region.height << ", format " << format;
    }
    EXPECT_GT(counted, 10ul * static_cast<unsigned long>(randomRounds()));
}

// Region smaller and larger than the histogram, with the largest numbers of bins.
TEST(ColourHist2D, MatchesThePlainLoopOnAPhotograph)
{
    const Image photograph = imageio::load(VELMOR_TEST_PHOTOGRAPH, Image::RGB);
    Image mask(photograph.width(), photograph.height(), Image::GREYSCALE);
    fillRectangle(mask, 100, 50, 300, 250, 1);
    for (const int count : {8, 16, 32, 61, 255}) {
        const auto bins = static_cast<unsigned char>(count);
        ColourHist2d actual(bins, bins, bins), expected(bins, bins, bins);
        for (const Region& region : {kEverything, Region{120, 60, 33, 35}, Region{0, 0, 200, 1}}) {
            for (const auto format : {CvtColour::RGB, CvtColour::HSV}) {
                for (Image* const usedMask : {static_cast<Image*>(nullptr), &mask}) {
                    compute(photograph, actual, region, format, usedMask);
                    plainHistogram(photograph, expected, region, format, usedMask);
                    EXPECT_TRUE(sameBits(actual, expected)) << count << " bins, " << region.width << " wide";
                }
            }
        }
    }
}

// ---- against OpenCV, where its rules are the same: no zero bytes, and without the last row and column

void expectAsCalcHist(const Image& image, const Region& region, Image* mask, unsigned char bins)
{
    ColourHist2d histogram(bins, bins, bins);
    compute(image, histogram, region, CvtColour::BGR, mask);

    const cv::Rect rectangle(static_cast<int>(region.x), static_cast<int>(region.y), static_cast<int>(region.width),
                             static_cast<int>(region.height));
    const cv::Mat part = image.mat()(rectangle);
    const cv::Mat partMask = mask ? mask->mat()(rectangle) : cv::Mat();
    const int channels[] = {0, 1, 2};
    const int sizes[] = {bins, bins, bins};
    const float range[] = {0, 256};
    const float* ranges[] = {range, range, range};
    cv::Mat counts;
    cv::calcHist(&part, 1, channels, partMask, counts, 3, sizes, ranges);
    const double total = cv::sum(counts.reshape(1, bins))[0];
    for (unsigned char i = 0; i < bins; ++i)
        for (unsigned char j = 0; j < bins; ++j)
            for (unsigned char k = 0; k < bins; ++k)
                ASSERT_EQ(histogram.getValue(i, j, k),
                          static_cast<double>(counts.at<float>(i, j, k)) * (total > 0.0 ? 1.0 / total : 0.0));
}

TEST(ColourHist2D, AgreesWithOpenCvWhereTheRulesDo)
{
    std::mt19937 random(1);
    for (int k = 0; k < 200; ++k) {
        Image image = randomImage(10 + randomSide(random), 10 + randomSide(random), Image::BGR, random, 255);
        image.mat() += cv::Scalar(1, 1, 1);
        Image mask = randomImage(image.width(), image.height(), Image::GREYSCALE, random, 3);
        const Region region{static_cast<unsigned>(random() % 5), static_cast<unsigned>(random() % 5), image.width() - 6,
                            image.height() - 6};
        expectAsCalcHist(image, region, k % 2 == 0 ? &mask : nullptr, static_cast<unsigned char>(4 + k % 20));
    }
    Image photograph = imageio::load(VELMOR_TEST_PHOTOGRAPH, Image::BGR);
    cv::Mat bytes = photograph.mat();
    cv::max(bytes, cv::Scalar(1, 1, 1), bytes);
    expectAsCalcHist(photograph, {0, 0, photograph.width() - 1, photograph.height() - 1}, nullptr, 16);
}

// ---- what is counted

TEST(ColourHist2D, NeverCountsTheLastColumnAndTheLastRow)
{
    Image image(7, 5, Image::RGB);
    fillRectangle(image, 0, 0, 7, 5, 200);
    fillRectangle(image, 6, 0, 7, 5, 10); // the last column
    fillRectangle(image, 0, 4, 7, 5, 10); // the last row
    ColourHist2d histogram(16, 16, 16);
    for (const Region& region : {kEverything, Region{0, 0, 7, 5}, Region{0, 0, 6, 4}}) {
        compute(image, histogram, region, CvtColour::RGB, nullptr);
        EXPECT_EQ(histogram.getValue(12, 12, 12), 24 * (1.0 / 24.0)); // 200 * 16 / 256 = 12.5; 6 x 4 pixels
        EXPECT_EQ(histogram.getValue(0, 0, 0), 0.0);
    }
    compute(image, histogram, {6, 0, 1, 5}, CvtColour::RGB, nullptr);
    EXPECT_EQ(sumOf(histogram), 0.0);
}

TEST(ColourHist2D, CountsByTheThirdByteAloneForHsvAndByAllThreeElse)
{
    ColourHist2d histogram(16, 16, 16);
    const auto counts = [&](unsigned char c0, unsigned char c1, unsigned char c2, int format) {
        compute(onePixel(c0, c1, c2), histogram, kEverything, static_cast<CvtColour::ColourFormat>(format), nullptr);
        return sumOf(histogram) == 1.0;
    };
    EXPECT_TRUE(counts(0, 0, 9, 1));
    EXPECT_FALSE(counts(9, 9, 0, 1));
    EXPECT_FALSE(counts(0, 0, 0, 1));
    for (const int format : {0, 2, 3}) {
        EXPECT_FALSE(counts(0, 9, 9, format));
        EXPECT_FALSE(counts(9, 0, 9, format));
        EXPECT_FALSE(counts(9, 9, 0, format));
        EXPECT_FALSE(counts(0, 0, 0, format));
        EXPECT_TRUE(counts(9, 9, 9, format));
    }
    EXPECT_EQ(CvtColour::HSV, 1);
}

TEST(ColourHist2D, PutsBytesIntoBinsOfEqualWidth)
{
    ColourHist2d histogram(16, 7, 255);
    for (unsigned value = 1; value < 256; ++value) {
        const auto byte = static_cast<unsigned char>(value);
        compute(onePixel(byte, byte, byte), histogram, kEverything, CvtColour::RGB, nullptr);
        EXPECT_EQ(histogram.getValue(static_cast<unsigned char>(value * 16 / 256),
                                     static_cast<unsigned char>(value * 7 / 256),
                                     static_cast<unsigned char>(value * 255 / 256)),
                  1.0)
            << value;
    }
    compute(onePixel(255, 16, 1), histogram, kEverything, CvtColour::RGB, nullptr);
    EXPECT_EQ(histogram.getValue(15, 0, 0), 1.0);
    compute(onePixel(16, 255, 255), histogram, kEverything, CvtColour::RGB, nullptr);
    EXPECT_EQ(histogram.getValue(1, 6, 254), 1.0);
}

TEST(ColourHist2D, SelectsPixelsByMaskBytesThatAreNotZero)
{
    Image image(4, 2, Image::RGB);
    for (unsigned x = 0; x < 3; ++x)
        fillRectangle(image, x, 0, x + 1, 1, static_cast<unsigned char>(100 * x + 20));
    Image mask(4, 2, Image::GREYSCALE);
    byteAt(mask, 1, 0) = 1;
    byteAt(mask, 2, 0) = 255;
    ColourHist2d histogram(8, 8, 8);
    compute(image, histogram, kEverything, CvtColour::RGB, &mask);
    EXPECT_EQ(histogram.getValue(0, 0, 0), 0.0); // 20
    EXPECT_EQ(histogram.getValue(3, 3, 3), 0.5); // 120
    EXPECT_EQ(histogram.getValue(6, 6, 6), 0.5); // 220
    fillRectangle(mask, 0, 0, 4, 2, 0);
    compute(image, histogram, kEverything, CvtColour::RGB, &mask);
    EXPECT_EQ(sumOf(histogram), 0.0);
}

TEST(ColourHist2D, ClampsRegionsAndReadsNothingOutside)
{
    Image image(5, 4, Image::RGB);
    fillRectangle(image, 0, 0, 5, 4, 100);
    ColourHist2d histogram(2, 2, 2);
    const auto countedPart = [&](const Region& region) {
        compute(image, histogram, region, CvtColour::RGB, nullptr);
        return sumOf(histogram);
    };
    EXPECT_EQ(countedPart({3, 2, kLargest - 3, kLargest - 2}), 1.0);
    EXPECT_EQ(countedPart({3, 2, 0, 5}), 0.0);
    EXPECT_EQ(countedPart({3, 2, 5, 0}), 0.0);
    EXPECT_EQ(countedPart({4, 0, 5, 5}), 0.0);        // only the last column
    EXPECT_EQ(countedPart({100, 100, 5, 5}), 0.0);    // outside
    EXPECT_EQ(countedPart({3, 0, kLargest, 4}), 0.0); // 3 + (2^32 - 1) is 2 again, before the beginning
    EXPECT_EQ(countedPart({kLargest, 0, kLargest, 4}), 0.0);
    EXPECT_EQ(countedPart({2, 0, kLargest - 1, 4}), 0.0); // 2 + (2^32 - 2) is 0
}

TEST(ColourHist2D, LeavesZerosForAnImageWithoutPixels)
{
    ColourHist2d histogram(4, 4, 4);
    for (const auto& [width, height] : {std::pair{0u, 0u}, std::pair{0u, 7u}, std::pair{7u, 0u}}) {
        const Image image(width, height, Image::RGB);
        Image mask(width, height, Image::GREYSCALE);
        histogram.increaseValue(1, 1, 1);
        compute(image, histogram, kEverything, CvtColour::RGB, &mask);
        EXPECT_EQ(sumOf(histogram), 0.0);
    }
}

TEST(ColourHist2D, FollowsTheRowsOfPaddedImages)
{
    PaddedImage image(9, 6, Image::RGB, 100);
    PaddedImage mask(9, 6, Image::GREYSCALE, 0);
    byteAt(image.image, 7, 4, 1) = 200;
    byteAt(mask.image, 7, 4) = 1;
    byteAt(mask.image, 0, 1) = 1;
    ColourHist2d histogram(2, 2, 2);
    compute(image.image, histogram, kEverything, CvtColour::RGB, &mask.image);
    EXPECT_EQ(histogram.getValue(0, 1, 0), 0.5);
    EXPECT_EQ(histogram.getValue(0, 0, 0), 0.5);
}

TEST(ColourHist2D, GoesFromColumnToColumnByTheImagesNumberOfChannels)
{
    std::mt19937 random(1);
    constexpr unsigned width = 19, height = 7;
    Image mask = randomImage(width, height, Image::GREYSCALE, random, 2);
    for (const unsigned channels : {3u, 4u, 5u}) {
        std::vector<unsigned char> bytes(std::size_t{width} * height * channels);
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random() % 256);
        const WideImage image(width, height, channels, bytes.data(), width * channels);
        ColourHist2d actual(4, 4, 4), expected(4, 4, 4);
        for (const Region& region : {kEverything, Region{5, 2, 9, 3}}) {
            for (Image* const usedMask : {static_cast<Image*>(nullptr), &mask}) {
                compute(image, actual, region, CvtColour::RGB, usedMask);
                EXPECT_GT(plainHistogram(image, expected, region, CvtColour::RGB, usedMask), 5u);
                EXPECT_TRUE(sameBits(actual, expected)) << channels << " channels";
            }
        }
    }
}

/// Has more to forget than its bins.
class RecordingHistogram : public ColourHist2d
{
public:
    using ColourHist2d::ColourHist2d;
    void reset() override
    {
        ++resets;
        ColourHist2d::reset();
    }

    int resets = 0;
};

TEST(ColourHist2D, LetsADerivedHistogramResetItself)
{
    RecordingHistogram histogram(4, 4, 4);
    compute(onePixel(9, 9, 9), histogram, kEverything, CvtColour::RGB, nullptr);
    EXPECT_EQ(histogram.resets, 1);
    EXPECT_EQ(sumOf(histogram), 1.0);
    compute(Image(0, 0, Image::RGB), histogram, kEverything, CvtColour::RGB, nullptr);
    EXPECT_EQ(histogram.resets, 2);
    EXPECT_EQ(sumOf(histogram), 0.0);
}

TEST(ColourHist2D, CountsManyPixelsOfOneColour)
{
    Image image(2001, 1001, Image::RGB);
    fillRectangle(image, 0, 0, 2001, 1001, 77);
    ColourHist2d histogram(16, 16, 8);
    compute(image, histogram, kEverything, CvtColour::RGB, nullptr);
    EXPECT_EQ(histogram.getValue(4, 4, 2), 2e6 * (1.0 / 2e6));
    EXPECT_EQ(sumOf(histogram), histogram.getValue(4, 4, 2));
}

// Pixels are listed, counted in counters, or in the bins themselves: by how many bins there are for so many of them.
TEST(ColourHist2D, GivesAllToThePixelThatIsAlone)
{
    for (const std::uint8_t bins : std::array<std::uint8_t, 2>{2, 64}) {
        for (const unsigned size : {20u, 300u}) {
            Image image(size, size, Image::RGB);
            fillRectangle(image, 0, 0, size, size, 0);
            fillRectangle(image, size / 2, size / 2, size / 2 + 1, size / 2 + 1, 255);
            ColourHist2d histogram(bins, bins, bins);
            const auto last = static_cast<unsigned char>(bins - 1);
            compute(image, histogram, kEverything, CvtColour::RGB, nullptr);
            EXPECT_EQ(histogram.getValue(last, last, last), 1.0) << size << ", " << int{bins} << " bins";
            EXPECT_EQ(sumOf(histogram), 1.0);
        }
    }
}

// As many as a counter of 16 bits holds, and more, with each number of sets of counters; and many bins that are used.
TEST(ColourHist2D, CountsMorePixelsThanACounterHolds)
{
    std::mt19937 random(1);
    Image flat(1025, 701, Image::RGB), noise = randomImage(1001, 301, Image::RGB, random);
    fillRectangle(flat, 0, 0, 1025, 701, 255);
    fillRectangle(flat, 0, 600, 1025, 701, 1);
    constexpr std::array<unsigned char, 3> kBins[] = {{1, 1, 1},    {16, 16, 16},  {20, 20, 20},  {25, 25, 25},
                                                      {32, 32, 32}, {255, 255, 1}, {128, 128, 4}, {64, 64, 64}};
    onEachInstructionSet([&](const std::string& name) {
        for (const auto& bins : kBins) {
            ColourHist2d actual(bins[0], bins[1], bins[2]), expected(bins[0], bins[1], bins[2]);
            for (const Image* image : {&flat, &noise}) {
                compute(*image, actual, kEverything, CvtColour::HSV, nullptr);
                plainHistogram(*image, expected, kEverything, CvtColour::HSV, nullptr);
                EXPECT_TRUE(sameBits(actual, expected)) << name << ", " << int{bins[0]} << " bins";
            }
        }
    });
}

TEST(ColourHist2D, TheBinsSumToOne)
{
    std::mt19937 random(1);
    ColourHist2d histogram(16, 16, 8);
    for (int k = 0; k < 100; ++k) {
        const Image image = randomImage(20 + randomSide(random), 20 + randomSide(random), Image::RGB, random);
        compute(image, histogram, kEverything, CvtColour::RGB, nullptr);
        EXPECT_NEAR(sumOf(histogram), 1.0, 1e-12); // some thousand roundings of 1e-16
    }
}

// ---- misuse

#ifndef NDEBUG
const char* const kFile = "cvprocess/ColourHist2D.cpp";

TEST(ColourHist2DDeathTest, FewerThanThreeChannels)
{
    ColourHist2d histogram(4, 4, 4);
    EXPECT_DEATH(compute(Image(5, 5, Image::GREYSCALE), histogram, kEverything, CvtColour::RGB, nullptr),
                 assertion(kFile, "nOfChannels >= 3"));
}

TEST(ColourHist2DDeathTest, AMaskOfThreeChannels)
{
    ColourHist2d histogram(4, 4, 4);
    Image mask(9, 9, Image::RGB); // of another size, too: the layout is asked first
    EXPECT_DEATH(compute(Image(5, 5, Image::RGB), histogram, kEverything, CvtColour::RGB, &mask),
                 assertion(kFile, "maskImage->channels() == Image::GREYSCALE && "
                                  "\"ERROR: the mask image must have 1 channel only!\""));
}

TEST(ColourHist2DDeathTest, AMaskOfAnotherSize)
{
    ColourHist2d histogram(4, 4, 4);
    for (const auto& [width, height] : {std::pair{5u, 6u}, std::pair{4u, 5u}}) {
        Image mask(width, height, Image::GREYSCALE);
        EXPECT_DEATH(compute(Image(5, 5, Image::RGB), histogram, kEverything, CvtColour::RGB, &mask),
                     assertion(kFile, "maskImage->width() == inImage.width() && maskImage->height() == "
                                      "inImage.height() && \"ERROR: the mask must have the same size of the input "
                                      "image!\""));
    }
}

/// Says that it has more bins than it has.
class OverstatedHistogram : public ColourHist2d
{
public:
    OverstatedHistogram() : ColourHist2d(4, 4, 4) {}
    void getNofBins(unsigned char& bins1, unsigned char& bins2, unsigned char& bins3) const override
    {
        bins1 = bins2 = bins3 = 5;
    }
};

TEST(ColourHist2DDeathTest, AHistogramThatOverstatesItsBins)
{
    OverstatedHistogram histogram;
    EXPECT_DEATH(compute(onePixel(255, 255, 255), histogram, kEverything, CvtColour::RGB, nullptr),
                 assertion(kFile, "histogram.data().size() == unsigned{bins1} * bins2 * bins3 && "
                                  "\"ERROR: the histogram must have the bins that it says!\""));
}
#endif

} // namespace
} // namespace velmor::tests
