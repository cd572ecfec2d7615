#include "native/ColorHistShader.h"

#include "core/cvdata/ColourHist2d.h"
#include "tests/support/InstructionSets.h"
#include "tests/support/NativeTest.h"
#include "tests/support/ThrownText.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace velmor::tests {
namespace {

using core::cvdata::ColourHist2d;
using native::colorHistShader;
using Bins = std::vector<int>;

int binOf(uchar value, int count)
{
    return std::min(value * count / 255, count - 1);
}

int binOf(float value, int count)
{
    const float scaled = value * static_cast<float>(count);
    return scaled > 0.0F ? static_cast<int>(std::floor(std::min(scaled, static_cast<float>(count - 1)))) : 0;
}

template<typename T>
std::vector<double> countsOf(const cv::Mat& source, const Bins& bins)
{
    std::vector<double> counts(static_cast<std::size_t>(bins[0] * bins[1] * bins[2]));
    for (int y = 0; y < source.rows; ++y) {
        const T* pixel = source.ptr<T>(y);
        for (int x = 0; x < source.cols; ++x, pixel += source.channels()) {
            const int cell =
                binOf(pixel[0], bins[0]) + bins[0] * (binOf(pixel[1], bins[1]) + bins[1] * binOf(pixel[2], bins[2]));
            ++counts[static_cast<std::size_t>(cell)];
        }
    }
    return counts;
}

ColourHist2d histogramOf(const Bins& bins)
{
    ColourHist2d histogram(static_cast<uchar>(bins[0]), static_cast<uchar>(bins[1]), static_cast<uchar>(bins[2]));
    for (unsigned i = 0; i < histogram.data().size(); ++i)
        histogram.data()[i] = 7.5; // what has to be replaced
    return histogram;
}

void expectHistogram(const cv::Mat& source, const cv::Rect& region, const Bins& bins)
{
    SCOPED_TRACE(cv::typeToString(source.type()) + ", region of " + std::to_string(region.width) + " x " +
                 std::to_string(region.height) + ", bins " + std::to_string(bins[0]) + " " + std::to_string(bins[1]) +
                 " " + std::to_string(bins[2]));
    const cv::Mat part = source(region);
    const std::vector<double> counts =
        source.depth() == CV_8U ? countsOf<uchar>(part, bins) : countsOf<float>(part, bins);
    ColourHist2d histogram = histogramOf(bins);
    colorHistShader(source, region, histogram);
    for (unsigned i = 0; i < counts.size(); ++i)
        ASSERT_EQ(histogram.data()[i], counts[i] / static_cast<double>(part.total())) << i;
}

TEST(ColorHistShader, IsTheRuleEverywhere)
{
    const std::vector<Bins> table = {{8, 8, 8},   {1, 1, 1},   {2, 3, 5},    {5, 1, 7},    {1, 7, 16},
                                     {3, 3, 3},   {16, 9, 7},  {10, 11, 10}, {254, 3, 1},  {255, 2, 2},
                                     {1, 1, 255}, {4, 255, 1}, {255, 1, 1},  {31, 33, 40}, {97, 101, 11}};
    unsigned seed = 1;
    for (const int type : {CV_8UC3, CV_8UC4, CV_32FC3, CV_32FC4}) {
        for (const cv::Size& size : {cv::Size(1, 1), {7, 3}, {64, 2}, {65, 5}, {131, 17}, {257, 3}, {641, 29}}) {
            const cv::Mat source = randomPicture(size, type, ++seed);
            onEachInstructionSet([&](const std::string& set) {
                SCOPED_TRACE(set);
                for (const Bins& bins : table)
                    expectHistogram(source, cv::Rect(cv::Point(), size), bins);
            });
        }
    }
}

TEST(ColorHistShader, CountsARegionAlone)
{
    unsigned seed = 100;
    for (const int type : {CV_8UC3, CV_8UC4, CV_32FC3, CV_32FC4}) {
        const cv::Mat source = randomPicture({150, 90}, type, ++seed);
        for (const cv::Rect& region : {cv::Rect(0, 0, 1, 1),
                                       {149, 89, 1, 1},
                                       {3, 5, 67, 40},
                                       {0, 80, 150, 10},
                                       {140, 0, 10, 90},
                                       {1, 0, 149, 90}}) {
            expectHistogram(source, region, {8, 8, 8});
            expectHistogram(source(cv::Rect(0, 0, 150, 90)), region, {40, 40, 40});
        }
    }
}

TEST(ColorHistShader, HasTheExactBinOfEveryByteForEveryNumberOfBins)
{
    cv::Mat bytes(1, 256, CV_8UC3);
    for (int x = 0; x < 256; ++x)
        bytes.ptr<cv::Vec3b>(0)[x] = {static_cast<uchar>(x), 0, 255};
    onEachInstructionSet([&](const std::string& set) {
        SCOPED_TRACE(set);
        for (int count = 1; count < 256; ++count) {
            expectHistogram(bytes, cv::Rect(0, 0, 256, 1), {count, 1, 2});
            expectHistogram(bytes.reshape(3, 256), cv::Rect(0, 0, 1, 256), {count, 2, 1});
        }
    });
}

TEST(ColorHistShader, HasABinForEveryFloat)
{
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();
    const float values[] = {
        nan,  -infinity, -1.0F, -1e-40F, -0.0F, 0.0F,    1e-40F,  0.24F, 0.25F, std::nextafter(0.5F, 0.0F),
        0.5F, 0.99F,     1.0F,  1.5F,    1e30F, 3.4e38F, infinity};
    const int bins[] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 2, 3, 3, 3, 3, 3, 3};
    for (std::size_t i = 0; i < std::size(values); ++i) {
        onEachInstructionSet([&](const std::string& set) {
            ColourHist2d histogram(4, 1, 1);
            colorHistShader(cv::Mat(3, 5, CV_32FC3, cv::Scalar(values[i], 0, 0)), cv::Rect(0, 0, 5, 3), histogram);
            for (int bin = 0; bin < 4; ++bin)
                EXPECT_EQ(histogram.data()[static_cast<unsigned>(bin)], bin == bins[i] ? 1.0 : 0.0)
                    << set << ", " << values[i] << ", bin " << bin;
        });
    }
}

TEST(ColorHistShader, CountsLongRunsOfOneColour)
{
    // More than 16 bits count, and more than a thread takes at a time.
    for (const int type : {CV_8UC3, CV_8UC4, CV_32FC3})
        expectHistogram(cv::Mat(301, 1009, type, cv::Scalar::all(0.5)), cv::Rect(0, 0, 1009, 301), {8, 8, 8});
}

TEST(ColorHistShader, IsTheSameWithAnyNumberOfThreads)
{
    const int threads = cv::getNumThreads();
    for (const int type : {CV_8UC3, CV_32FC4}) {
        const cv::Mat source = randomPicture({811, 607}, type, 9);
        for (const int count : {1, 2, 3, 5, 8}) {
            cv::setNumThreads(count);
            expectHistogram(source, cv::Rect(2, 1, 800, 600), {8, 8, 8});
            expectHistogram(source, cv::Rect(2, 1, 800, 600), {60, 50, 40}); // more cells than pay for each thread
        }
    }
    cv::setNumThreads(threads);
}

TEST(ColorHistShader, HasCellsForTheMostBins)
{
    ColourHist2d histogram(255, 255, 255);
    colorHistShader(cv::Mat(1, 2, CV_8UC3, cv::Scalar(255, 254, 3)), cv::Rect(0, 0, 2, 1), histogram);
    EXPECT_EQ(histogram.getValue(254, 254, 3), 1.0);
    colorHistShader(cv::Mat(1, 2, CV_32FC4, cv::Scalar::all(1)), cv::Rect(0, 0, 2, 1), histogram);
    EXPECT_EQ(histogram.getValue(254, 254, 3), 0.0);
    EXPECT_EQ(histogram.getValue(254, 254, 254), 1.0);
}

TEST(ColorHistShader, RefusesWhatItCannotCount)
{
    const auto textOf = [](const cv::Mat& source, const cv::Rect& region) {
        ColourHist2d histogram = histogramOf({2, 2, 2});
        const std::string text = thrownText<std::invalid_argument>([&] { colorHistShader(source, region, histogram); });
        for (unsigned i = 0; i < 8; ++i)
            EXPECT_EQ(histogram.data()[i], 7.5);
        return text;
    };
    const cv::Mat source(6, 10, CV_8UC3, cv::Scalar::all(1));
    const std::string text = "native::colorHistShader(): expected ";
    const cv::Rect one(0, 0, 1, 1);
    EXPECT_EQ(textOf(cv::Mat(6, 10, CV_8UC1), one),
              text + "3 or 4 channels of bytes or floats, got 1 channel of bytes");
    EXPECT_EQ(textOf(cv::Mat(6, 10, CV_64FC3), one),
              text + "3 or 4 channels of bytes or floats, got 3 channels of doubles");
    EXPECT_EQ(textOf(cv::Mat(), one), text + "a picture, got an empty one");
    const int sides[] = {2, 2, 2};
    EXPECT_EQ(textOf(cv::Mat(3, sides, CV_8UC3), one), text + "a picture of 2 dimensions, got 3");
    EXPECT_EQ(textOf(source, {0, 0, 0, 3}), text + "a region of at least 1 pixel, got 0 x 3");
    EXPECT_EQ(textOf(source, {0, 0, 3, 0}), text + "a region of at least 1 pixel, got 3 x 0");
    EXPECT_EQ(textOf(source, {5, 5, -2, 1}), text + "a region of at least 1 pixel, got -2 x 1");
    const std::string within = text + "a region within 10 x 6 pixels, got ";
    EXPECT_EQ(textOf(source, {0, 0, 11, 6}), within + "11 x 6 at (0, 0)");
    EXPECT_EQ(textOf(source, {0, 0, 10, 7}), within + "10 x 7 at (0, 0)");
    EXPECT_EQ(textOf(source, {-1, 0, 3, 3}), within + "3 x 3 at (-1, 0)");
    EXPECT_EQ(textOf(source, {0, -1, 3, 3}), within + "3 x 3 at (0, -1)");
    EXPECT_EQ(textOf(source, {8, 0, 3, 3}), within + "3 x 3 at (8, 0)");
    EXPECT_EQ(textOf(source, {0, 4, 3, 3}), within + "3 x 3 at (0, 4)");
    const int most = std::numeric_limits<int>::max();
    EXPECT_EQ(textOf(source, {most, 0, most, 1}), within + "2147483647 x 1 at (2147483647, 0)");
}

} // namespace
} // namespace velmor::tests
