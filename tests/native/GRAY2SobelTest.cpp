#include "native/GRAY2Sobel.h"

#include "tests/support/NativeTest.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velmor::tests {
namespace {

using native::GRAY2Sobel;

/// The shader's operations in its order.
cv::Mat gradients(const cv::Mat& source, const cv::Mat&, int type)
{
    const float horizontalKernel[] = {-1, -2, -1, 0, 0, 0, 1, 2, 1};
    const float verticalKernel[] = {1, 0, -1, 2, 0, -2, 1, 0, -1};
    const cv::Mat grey = source.depth() == CV_8U ? floatsOf(source) : source;
    cv::Mat result(grey.size(), type);
    for (int y = 0; y < grey.rows; ++y) {
        for (int x = 0; x < grey.cols; ++x) {
            float horizontal = 0.0F, vertical = 0.0F;
            for (int i = 0; i < 9; ++i) {
                const int row = std::clamp(y + i / 3 - 1, 0, grey.rows - 1);
                const int column = std::clamp(x + i % 3 - 1, 0, grey.cols - 1);
                horizontal += grey.at<float>(row, column) * horizontalKernel[i];
                vertical += grey.at<float>(row, column) * verticalKernel[i];
            }
            const float magnitude = std::sqrt(horizontal * horizontal + vertical * vertical);
            result.at<cv::Vec3f>(y, x) = cv::Vec3f(horizontal, vertical, magnitude);
        }
    }
    return result;
}

TEST(GRAY2Sobel, IsTheRuleEverywhere)
{
    expectEverywhere({GRAY2Sobel(), {CV_8UC1, CV_32FC1}, gradients});
}

TEST(GRAY2Sobel, OfAByteSurroundedByBlackIsTheByteDividedBy255)
{
    cv::Mat dots(3, 3 * 256, CV_8UC1, cv::Scalar(0));
    for (int byte = 0; byte < 256; ++byte)
        dots.at<uchar>(1, 3 * byte + 1) = static_cast<uchar>(byte);
    expectOn({GRAY2Sobel(), {}, gradients}, dots);
    cv::Mat result;
    GRAY2Sobel().execute(dots, result);
    for (int byte = 0; byte < 256; ++byte) {
        const float value = static_cast<float>(byte) / 255.0F;
        EXPECT_EQ(result.at<cv::Vec3f>(1, 3 * byte)[1], -2 * value) << byte;
        EXPECT_EQ(result.at<cv::Vec3f>(0, 3 * byte + 1)[0], 2 * value) << byte;
        EXPECT_EQ(result.at<cv::Vec3f>(2, 3 * byte)[0], -value) << byte;
    }
}

TEST(GRAY2Sobel, OfAStepAndOfAConstant)
{
    cv::Mat step(5, 6, CV_8UC1, cv::Scalar(0)), result;
    step.colRange(3, 6) = 255;
    GRAY2Sobel().execute(step, result);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x)
            EXPECT_EQ(result.at<cv::Vec3f>(y, x), x == 2 || x == 3 ? cv::Vec3f(0, -4, 4) : cv::Vec3f(0, 0, 0));
    // Turned, so that rows step down to black.
    GRAY2Sobel().execute(255 - step.t(), result);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 5; ++x)
            EXPECT_EQ(result.at<cv::Vec3f>(y, x), y == 2 || y == 3 ? cv::Vec3f(-4, 0, 4) : cv::Vec3f(0, 0, 0));
}

TEST(GRAY2Sobel, WhatIsNotFiniteShowsUnderAWeightOfZeroToo)
{
    const float specials[] = {std::numeric_limits<float>::quiet_NaN(),  std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(),  std::numeric_limits<float>::max(),
                              std::numeric_limits<float>::denorm_min(), -0.0F};
    cv::Mat picture(19, 89, CV_32FC1, cv::Scalar(0.5));
    for (int i = 0; i < 60; ++i)
        picture.at<float>(2 + i % 16, (7 * i + 3) % 89) = specials[i % 6];
    expectOn({GRAY2Sobel(), {}, gradients}, picture);

    cv::Mat result, single(3, 3, CV_32FC1, cv::Scalar(0));
    single.at<float>(1, 1) = std::numeric_limits<float>::infinity();
    GRAY2Sobel().execute(single, result);
    EXPECT_TRUE(std::isnan(result.at<cv::Vec3f>(1, 0)[0])); // beside it, where h has a weight of 0
    EXPECT_TRUE(std::isnan(result.at<cv::Vec3f>(0, 1)[1])); // above it, where v has one
    EXPECT_EQ(result.at<cv::Vec3f>(0, 1)[0], std::numeric_limits<float>::infinity());
    EXPECT_EQ(result.at<cv::Vec3f>(1, 0)[1], -std::numeric_limits<float>::infinity());
}

TEST(GRAY2Sobel, OfZerosIsZerosThatAreNotNegative)
{
    for (const float zero : {0.0F, -0.0F}) {
        const cv::Mat picture(4, 37, CV_32FC1, cv::Scalar(zero));
        expectOn({GRAY2Sobel(),
                  {},
                  [](const cv::Mat& source, const cv::Mat&, int type) {
                      return cv::Mat(source.size(), type, cv::Scalar::all(0.0));
                  }},
                 picture);
    }
}

TEST(GRAY2Sobel, OfAPictureThatNoCacheHolds)
{
    expectOn({GRAY2Sobel(), {}, gradients}, randomPicture(cv::Size(3001, 1201), CV_8UC1, 1));
    expectOn({GRAY2Sobel(), {}, gradients}, randomPicture(cv::Size(2001, 1201), CV_32FC1, 1));
}

TEST(GRAY2Sobel, RefusesOtherTypes)
{
    const GRAY2Sobel filter;
    EXPECT_EQ(filter.resultType(CV_8UC1), CV_32FC3);
    EXPECT_EQ(filter.resultType(CV_32FC1, CV_32F), CV_32FC3);
    expectRefusal([&](cv::Mat& result) { filter.execute(cv::Mat(2, 2, CV_8UC3, cv::Scalar()), result); },
                  "native::GRAY2Sobel::execute(): expected 1 channel of bytes or floats, got 3 channels of bytes");
    expectRefusal([&](cv::Mat& result) { filter.execute(cv::Mat(2, 2, CV_16UC1, cv::Scalar()), result); },
                  "native::GRAY2Sobel::execute(): expected 1 channel of bytes or floats, got 1 channel of 16-bit "
                  "unsigned integers");
    expectRefusal([&](cv::Mat& result) { filter.execute(cv::Mat(2, 2, CV_8UC1, cv::Scalar()), result, CV_8U); },
                  "native::GRAY2Sobel::execute(): expected a result of floats, got bytes");
}

} // namespace
} // namespace velmor::tests
