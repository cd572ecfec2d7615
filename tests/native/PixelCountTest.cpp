#include "native/PixelCount.h"

#include "tests/support/InstructionSets.h"
#include "tests/support/NativeTest.h"
#include "tests/support/ThrownText.h"

#include <cmath>
#include <limits>
#include <stdexcept>

namespace velmor::tests {
namespace {

using native::pixelCount;

std::uint64_t countOf(float value)
{
    if (!(value >= 1.0F))
        return 0;
    return value >= 4294967296.0F ? 4294967295U : static_cast<std::uint64_t>(value);
}

std::uint64_t expectedCount(const cv::Mat& mask)
{
    std::uint64_t sum = 0;
    for (int y = 0; y < mask.rows; ++y)
        for (int x = 0; x < mask.cols; ++x)
            sum += mask.depth() == CV_8U ? mask.at<uchar>(y, x) == 255 : countOf(mask.at<float>(y, x));
    return sum;
}

/// Floats of all sizes and kinds.
cv::Mat randomFloats(const cv::Size& size, unsigned seed)
{
    const cv::Mat bits = randomPicture(size, CV_32SC1, seed);
    cv::Mat floats = randomPicture(size, CV_32FC1, seed);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            floats.at<float>(y, x) *= std::ldexp(1.0F, bits.at<int>(y, x) % 40);
    return floats;
}

TEST(PixelCount, IsTheRuleEverywhere)
{
    unsigned seed = 1;
    for (const cv::Size& size :
         {cv::Size(1, 1), {1, 7}, {7, 1}, {15, 3}, {16, 2}, {17, 9}, {64, 3}, {129, 5}, {2999, 7}}) {
        for (const cv::Mat& mask : {randomPicture(size, CV_8UC1, ++seed), randomFloats(size, ++seed)}) {
            cv::Mat whole(size.height + 2, size.width + 3, mask.type(), cv::Scalar(255));
            cv::Mat part = whole(cv::Rect(1, 1, size.width, size.height));
            mask.copyTo(part);
            onEachInstructionSet([&](const std::string& set) {
                EXPECT_EQ(pixelCount(mask), expectedCount(mask)) << set << ", " << size;
                EXPECT_EQ(pixelCount(part), expectedCount(mask)) << set << ", a part of " << size;
            });
        }
    }
}

TEST(PixelCount, CountsEachByteByItself)
{
    for (int byte = 0; byte < 256; ++byte)
        EXPECT_EQ(pixelCount(cv::Mat(3, 45, CV_8UC1, cv::Scalar(byte))), byte == 255 ? 135U : 0U) << byte;
}

TEST(PixelCount, CountsTheWholePartsOfFloats)
{
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();
    const std::pair<float, std::uint64_t> table[] = {{0.0F, 0},
                                                     {std::nextafter(1.0F, 0.0F), 0},
                                                     {1.0F, 1},
                                                     {std::nextafter(3.0F, 0.0F), 2},
                                                     {254.5F, 254},
                                                     {16777217.0F, 16777216},
                                                     {2147483648.0F, 2147483648},
                                                     {4294967040.0F, 4294967040},
                                                     {4294967296.0F, 4294967295},
                                                     {1e30F, 4294967295},
                                                     {infinity, 4294967295},
                                                     {-infinity, 0},
                                                     {-1.0F, 0},
                                                     {-0.5F, 0},
                                                     {-5e9F, 0},
                                                     {nan, 0},
                                                     {-nan, 0}};
    for (const auto& [value, counts] : table)
        for (const int pixels : {1, 101})
            onEachInstructionSet([&, value = value, counts = counts](const std::string& set) {
                EXPECT_EQ(pixelCount(cv::Mat(1, pixels, CV_32FC1, cv::Scalar(value))),
                          counts * static_cast<unsigned>(pixels))
                    << set << ", " << value;
            });
}

TEST(PixelCount, IsExactWhereADoubleIsNot)
{
    // 2^22 numbers of 2^32 - 1 and ones between them; in doubles the sum would be rounded from 2^53 on.
    cv::Mat mask(2048, 2050, CV_32FC1, cv::Scalar(4294967296.0F));
    mask.col(7).setTo(1.0F);
    mask.col(2049).setTo(1.0F);
    onEachInstructionSet([&](const std::string& set) {
        EXPECT_EQ(pixelCount(mask), (std::uint64_t{1} << 22) * 4294967295U + 4096) << set;
    });
}

TEST(PixelCount, IsTheSameWithAnyNumberOfThreads)
{
    const int threads = cv::getNumThreads();
    for (const cv::Mat& mask : {randomPicture({811, 607}, CV_8UC1, 1), randomFloats({811, 607}, 2)}) {
        for (const int count : {1, 2, 3, 5, 8}) {
            cv::setNumThreads(count);
            EXPECT_EQ(pixelCount(mask), expectedCount(mask)) << count;
        }
    }
    cv::setNumThreads(threads);
}

TEST(PixelCount, RefusesWhatItCannotCount)
{
    const auto textOf = [](const cv::Mat& mask) {
        return thrownText<std::invalid_argument>([&] { pixelCount(mask); });
    };
    const std::string text = "native::pixelCount(): expected ";
    EXPECT_EQ(textOf(cv::Mat(2, 2, CV_8UC3)), text + "1 channel of bytes or floats, got 3 channels of bytes");
    EXPECT_EQ(textOf(cv::Mat(2, 2, CV_16UC1)),
              text + "1 channel of bytes or floats, got 1 channel of 16-bit unsigned integers");
    EXPECT_EQ(textOf(cv::Mat()), text + "a picture, got an empty one");
    const int sides[] = {2, 2, 2};
    EXPECT_EQ(textOf(cv::Mat(3, sides, CV_8UC1)), text + "a picture of 2 dimensions, got 3");
}

} // namespace
} // namespace velmor::tests
