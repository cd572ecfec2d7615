#include "native/Laplacian.h"

#include "tests/support/InstructionSets.h"
#include "tests/support/NativeTest.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace velmor::tests {
namespace {

using native::Laplacian;

using Kernel = std::array<int, 9>;

Kernel kernelOf(int kernelType)
{
    if (kernelType == 1)
        return {0, 1, 0, 1, -4, 1, 0, 1, 0};
    if (kernelType == 2)
        return {-1, 2, -1, 2, -4, 2, -1, 2, -1};
    return {-1, -1, -1, -1, 8, -1, -1, -1, -1};
}

/// A picture with one pixel more on each side, which is as its neighbour.
cv::Mat framed(const cv::Mat& picture)
{
    cv::Mat result;
    cv::copyMakeBorder(picture, result, 1, 1, 1, 1, cv::BORDER_REPLICATE);
    return result;
}

/// The sum of a kernel's weights times neighbours of one element of a framed picture, in a type, in the shader's order.
template<typename T, typename Sum>
Sum sumAt(const cv::Mat& picture, int y, int place, const Kernel& kernel)
{
    const int channels = picture.channels();
    Sum sum = 0;
    auto weight = kernel.begin();
    for (int row = y; row < y + 3; ++row) {
        const T* neighbour = picture.ptr<T>(row) + place;
        for (int i = 0; i < 3; ++i, neighbour += channels)
            sum += static_cast<Sum>(*neighbour) * static_cast<Sum>(*weight++);
    }
    return sum;
}

PlainLoop loopOf(int kernelType)
{
    return [kernel = kernelOf(kernelType)](const cv::Mat& source, const cv::Mat&, int type) {
        cv::Mat result(source.size(), type);
        const int elements = source.cols * source.channels();
        if (source.depth() == CV_8U && result.depth() == CV_8U) {
            const cv::Mat values = framed(source);
            for (int y = 0; y < source.rows; ++y)
                for (int place = 0; place < elements; ++place) {
                    const int sum = sumAt<uchar, int>(values, y, place, kernel);
                    result.ptr(y)[place] = static_cast<uchar>(std::min(std::abs(sum), 255));
                }
            return result;
        }
        const cv::Mat values = framed(source.depth() == CV_8U ? floatsOf(source) : source);
        cv::Mat floats(source.size(), CV_MAKETYPE(CV_32F, source.channels()));
        for (int y = 0; y < source.rows; ++y)
            for (int place = 0; place < elements; ++place)
                floats.ptr<float>(y)[place] = std::fabs(sumAt<float, float>(values, y, place, kernel));
        return result.depth() == CV_8U ? bytesOf(floats) : floats;
    };
}

void expectRuleEverywhere(int kernelType)
{
    expectEverywhere({Laplacian(kernelType),
                      {CV_8UC1, CV_8UC3, CV_8UC4, CV_32FC1, CV_32FC3, CV_32FC4},
                      loopOf(kernelType),
                      {-1, CV_8U}});
}

TEST(Laplacian, IsTheRuleEverywhere)
{
    expectRuleEverywhere(0);
}

TEST(Laplacian, OfFourNeighboursIsTheRuleEverywhere)
{
    expectRuleEverywhere(1);
}

TEST(Laplacian, OfEightNeighboursIsTheRuleEverywhere)
{
    expectRuleEverywhere(2);
}

TEST(Laplacian, OfEveryByteAmongEveryByte)
{
    // Each cell of 3 x 3 has one byte in the middle and another one around it.
    cv::Mat cells(3 * 256, 3 * 256, CV_8UC1);
    for (int around = 0; around < 256; ++around) {
        cells.rowRange(3 * around, 3 * around + 3) = around;
        for (int middle = 0; middle < 256; ++middle)
            cells.at<uchar>(3 * around + 1, 3 * middle + 1) = static_cast<uchar>(middle);
    }
    for (const int kernelType : {0, 1, 2})
        expectOn({Laplacian(kernelType), {}, loopOf(kernelType), {CV_8U, CV_32F}}, cells);
}

TEST(Laplacian, OfEveryPatternOfExtremes)
{
    // Sums reach both ends of their range: 2040 below and above 0.
    cv::Mat cells(3 * 16, 3 * 32, CV_8UC1);
    for (int pattern = 0; pattern < 512; ++pattern)
        for (int i = 0; i < 9; ++i)
            cells.at<uchar>(pattern / 32 * 3 + i / 3, pattern % 32 * 3 + i % 3) =
                static_cast<uchar>((pattern >> i & 1) * 255);
    for (const int kernelType : {0, 1, 2})
        expectOn({Laplacian(kernelType), {}, loopOf(kernelType), {CV_8U, CV_32F}}, cells);
}

TEST(Laplacian, OfADotIsItsKernel)
{
    for (const int kernelType : {0, 1, 2}) {
        cv::Mat dot(3, 3, CV_8UC1, cv::Scalar(0)), floats, bytes;
        dot.at<uchar>(1, 1) = 51; // a fifth
        Laplacian(kernelType).execute(dot, floats);
        Laplacian(kernelType).execute(dot, bytes, CV_8U);
        const Kernel kernel = kernelOf(kernelType);
        for (int i = 0; i < 9; ++i) {
            const int weight = std::abs(kernel[static_cast<std::size_t>(i)]);
            EXPECT_EQ(floats.at<float>(i / 3, i % 3), static_cast<float>(weight) * 0.2F);
            EXPECT_EQ(bytes.at<uchar>(i / 3, i % 3), std::min(weight * 51, 255));
        }
    }
}

TEST(Laplacian, OfAConstantIsZeroForEveryKernel)
{
    for (const int kernelType : {0, 1, 2}) {
        const cv::Mat grey(5, 70, CV_8UC4, cv::Scalar(255, 128, 7, 255));
        expectOn({Laplacian(kernelType),
                  {},
                  [](const cv::Mat& source, const cv::Mat&, int type) {
                      return cv::Mat(source.size(), type, cv::Scalar::all(0));
                  },
                  {CV_8U}},
                 grey);
    }
}

TEST(Laplacian, OtherTypesOfKernelAreTheNegativeLaplacian)
{
    const cv::Mat picture = randomPicture(cv::Size(9, 7), CV_8UC3, 1);
    for (const int kernelType : {-1, 3, 257, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
        expectOn({Laplacian(kernelType), {}, loopOf(0), {CV_8U, CV_32F}}, picture);
    expectOn({Laplacian(), {}, loopOf(0), {CV_8U, CV_32F}}, picture);
}

TEST(Laplacian, WhatIsNotFiniteShowsUnderAWeightOfZeroToo)
{
    const float specials[] = {std::numeric_limits<float>::quiet_NaN(),  std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(),  std::numeric_limits<float>::max(),
                              std::numeric_limits<float>::denorm_min(), -0.0F};
    for (const int rows : {1, 3, 19}) {
        for (const int channels : {1, 3, 4}) {
            cv::Mat picture(rows, 89, CV_32FC(channels), cv::Scalar::all(0.5));
            for (int i = 0; i < 3 * rows; ++i)
                picture.ptr<float>(i % rows)[(7 * i + 3) % 89 * channels + i % channels] = specials[i % 6];
            onEachInstructionSet([&](const std::string&) {
                for (const int kernelType : {0, 1, 2})
                    expectOn({Laplacian(kernelType), {}, loopOf(kernelType), {CV_32F, CV_8U}}, picture);
            });
        }
    }
    cv::Mat dot(3, 3, CV_32FC1, cv::Scalar(0)), result;
    dot.at<float>(1, 1) = std::numeric_limits<float>::infinity();
    Laplacian(1).execute(dot, result);
    EXPECT_TRUE(std::isnan(result.at<float>(0, 0)));
    EXPECT_EQ(result.at<float>(0, 1), std::numeric_limits<float>::infinity());
}

TEST(Laplacian, AnInfinityAtAnEndOfARowShowsUnderAWeightOfZeroToo)
{
    // In the next row it shows as no number beside where it is an infinity.
    for (int row = 0; row < 9; ++row)
        for (const int column : {0, 1, 98, 99}) {
            cv::Mat picture(9, 100, CV_32FC1, cv::Scalar(0.5));
            picture.at<float>(row, column) = std::numeric_limits<float>::infinity();
            onEachInstructionSet([&](const std::string&) {
                expectOn({Laplacian(1), {}, loopOf(1), {CV_32F}}, picture);
            });
        }
}

TEST(Laplacian, OfAPartOfAPictureThatNoCacheHolds)
{
    // Rows of the result lie alike, and begin and end anywhere in a vector.
    const cv::Rect part(5, 0, 2001, 1501);
    const cv::Mat bytes = randomPicture(part.size(), CV_8UC3, 1);
    const cv::Mat floats = floatsOf(bytes);
    const auto expectPart = [&](const cv::Mat& source, int depth) {
        const int type = CV_MAKETYPE(depth, 3);
        const cv::Mat expected = loopOf(1)(source, cv::Mat(), type);
        onEachInstructionSet([&](const std::string& name) {
            cv::Mat whole(part.height, 2048, type, cv::Scalar::all(7));
            cv::Mat result = whole(part);
            Laplacian(1).execute(source, result, depth);
            expectEqual(whole(part), expected, name);
            whole(part).setTo(cv::Scalar::all(7));
            expectEqual(whole, cv::Mat(whole.size(), type, cv::Scalar::all(7)), name + ", around it");
        });
    };
    expectPart(bytes, CV_8U);
    expectPart(bytes, CV_32F);
    expectPart(floats, CV_32F);
}

TEST(Laplacian, OfAPictureThatNoCacheHolds)
{
    const cv::Mat bytes = randomPicture(cv::Size(2001, 1501), CV_8UC3, 1);
    expectOn({Laplacian(), {}, loopOf(0), {CV_8U, CV_32F}}, bytes);
    expectOn({Laplacian(), {}, loopOf(0), {CV_32F}}, floatsOf(bytes));
}

TEST(Laplacian, GivesFloatsUnlessAskedForBytes)
{
    const Laplacian filter(1);
    EXPECT_EQ(filter.resultType(CV_8UC3), CV_32FC3);
    EXPECT_EQ(filter.resultType(CV_32FC4), CV_32FC4);
    EXPECT_EQ(filter.resultType(CV_8UC1, CV_8U), CV_8UC1);
    EXPECT_EQ(filter.resultType(CV_32FC1, CV_8U), CV_8UC1);
    expectRefusal([&](cv::Mat& result) { filter.execute(cv::Mat(2, 2, CV_8UC2, cv::Scalar()), result); },
                  "native::Laplacian::execute(): expected 1, 3 or 4 channels of bytes or floats, got 2 channels of "
                  "bytes");
    expectRefusal([&](cv::Mat& result) { filter.execute(cv::Mat(2, 2, CV_64FC1, cv::Scalar()), result); },
                  "native::Laplacian::execute(): expected 1, 3 or 4 channels of bytes or floats, got 1 channel of "
                  "doubles");
    expectRefusal([&](cv::Mat& result) { filter.execute(cv::Mat(2, 2, CV_8UC1, cv::Scalar()), result, CV_16S); },
                  "native::Laplacian::execute(): expected a result of bytes or floats, got 16-bit integers");
}

} // namespace
} // namespace velmor::tests
