// Compiled without access control, to see fields.

#include "cvprocess/MotionSegment.h"

#include "imageio/ImageIo.h"
#include "math/Vector2.h"
#include "tests/support/DeathText.h"
#include "tests/support/FieldOrder.h"
#include "tests/support/Pictures.h"
#include "tests/support/Rounds.h"
#include "tests/support/ScriptedClock.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <ctime>
#include <limits>
#include <thread>

using velmor::core::cvdata::Image;
using velmor::cvprocess::MotionSegment;
using velmor::math::Vector2;

namespace velmor::tests {
namespace {

constexpr double kDuration = 0.4;

/// A frame of one grey value.
Image greyFrame(unsigned width, unsigned height, unsigned char value)
{
    Image frame(width, height, Image::BGR);
    fillRectangle(frame, 0, 0, width, height, value);
    return frame;
}

/// The motion history as it is stated, pixel by pixel; only the grey values and the rounding to bytes are OpenCV's.
class PlainMotion
{
public:
    PlainMotion(unsigned width, unsigned height)
        : mLast(cv::Mat::zeros(static_cast<int>(height), static_cast<int>(width), CV_8U)),
          mHistory(cv::Mat::zeros(mLast.size(), CV_32F))
    {
    }

    cv::Mat next(const Image& frame, double time)
    {
        cv::Mat grey;
        cv::cvtColor(frame.mat(), grey, cv::COLOR_BGR2GRAY);
        cv::Mat output;
        for (int y = 0; y < grey.rows; ++y) {
            for (int x = 0; x < grey.cols; ++x) {
                float& history = mHistory.at<float>(y, x);
                if (std::abs(grey.at<unsigned char>(y, x) - mLast.at<unsigned char>(y, x)) > 20)
                    history = static_cast<float>(time);
                else if (history < static_cast<float>(time - kDuration))
                    history = 0.0f;
            }
        }
        mHistory.convertTo(output, CV_8U, 255.0 / kDuration, (kDuration - time) * 255.0 / kDuration);
        output.setTo(0, mHistory == 0.0f);
        mLast = grey;
        return output;
    }

    const cv::Mat& history() const { return mHistory; }

private:
    cv::Mat mLast;
    cv::Mat mHistory;
};

cv::Mat matOf(const IplImage* image)
{
    return {image->height, image->width, image->depth == IPL_DEPTH_8U ? CV_8U : CV_32F, image->imageData,
            static_cast<std::size_t>(image->widthStep)};
}

bool sameBits(const cv::Mat& a, const cv::Mat& b)
{
    return std::memcmp(cv::Mat(a.clone()).data, cv::Mat(b.clone()).data, a.total() * a.elemSize()) == 0;
}

// ---- motion history

TEST(MotionSegment, MatchesThePlainLoopOnRandomStreams)
{
    std::mt19937 random(1);
    ScriptedClock clock(0.0);
    int frames = 0;
    while (frames < randomRounds()) {
        const unsigned width = randomSide(random), height = randomSide(random);
        MotionSegment motion(static_cast<int>(width), static_cast<int>(height));
        PlainMotion plain(width, height);
        Image output(width, height, Image::GREYSCALE);
        double time = 0.001 * static_cast<double>(1 + random() % 1000);
        Image frame = randomImage(width, height, Image::BGR, random);
        for (int k = 0; k < 50; ++k, ++frames) {
            // A part of the frame changes, by a little or by much.
            const Image change = randomImage(width, height, Image::BGR, random, k % 2 == 0 ? 60 : 256);
            const unsigned rows = static_cast<unsigned>(random() % height);
            for (unsigned y = 0; y < rows; ++y)
                for (unsigned x = 0; x < width; ++x)
                    for (unsigned channel = 0; channel < 3; ++channel)
                        byteAt(frame, x, y, channel) = byteAt(change, x, y, channel);
            time += 0.001 * static_cast<double>(random() % 200);
            clock.set(time);
            motion.getMHI(&frame, &output);
            const cv::Mat expected = plain.next(frame, static_cast<double>(std::clock()) / 1e6);
            ASSERT_TRUE(sameBits(output.mat(), expected)) << "frame " << frames;
            ASSERT_TRUE(sameBits(matOf(motion.getMHIImage()), plain.history())) << "frame " << frames;
        }
    }
}

TEST(MotionSegment, MatchesThePlainLoopOnAPhotographThatMoves)
{
    const Image photograph = imageio::load(VELMOR_TEST_PHOTOGRAPH, Image::BGR);
    constexpr unsigned width = 400, height = 300;
    MotionSegment motion(width, height);
    PlainMotion plain(width, height);
    Image frame(width, height, Image::BGR), output(width, height, Image::GREYSCALE);
    ScriptedClock clock(3.0);
    for (int k = 0; k < 20; ++k) {
        cv::Mat pixels = frame.mat();
        photograph.mat()(cv::Rect(2 * k, k, width, height)).copyTo(pixels);
        const double time = 3.0 + 0.05 * k;
        clock.set(time);
        motion.getMHI(&frame, &output);
        EXPECT_TRUE(sameBits(output.mat(), plain.next(frame, static_cast<double>(std::clock()) / 1e6)));
        EXPECT_GT(cv::countNonZero(output.mat() == 255), 0);
    }
}

TEST(MotionSegment, MotionFadesLinearlyAndIsGoneAfterTheDuration)
{
    ScriptedClock clock(7.0);
    MotionSegment motion(4, 3);
    Image black = greyFrame(4, 3, 0), white = greyFrame(4, 3, 255), output(4, 3, Image::GREYSCALE);
    motion.getMHI(&white, &output);
    EXPECT_EQ(cv::countNonZero(output.mat() == 255), 12); // moves now
    const auto shadeAt = [&](double time) {
        clock.set(time);
        motion.getMHI(&white, &output); // no change any more
        const int first = byteAt(output, 0, 0);
        EXPECT_EQ(cv::countNonZero(output.mat() == first), 12);
        return first;
    };
    // 255 (0.4 - age) / 0.4; the history is a float, and half a shade may go either way.
    EXPECT_NEAR(shadeAt(7.1), 191.25, 1.0);
    EXPECT_NEAR(shadeAt(7.2), 127.5, 1.0);
    EXPECT_NEAR(shadeAt(7.3), 63.75, 1.0);
    EXPECT_NEAR(shadeAt(7.39), 6.375, 1.0);
    EXPECT_EQ(shadeAt(7.4), 0);
    EXPECT_EQ(shadeAt(7.5), 0);
    EXPECT_EQ(shadeAt(9.0), 0);
    clock.set(9.1);
    motion.getMHI(&black, &output);
    EXPECT_EQ(cv::countNonZero(output.mat() == 255), 12);
}

TEST(MotionSegment, ADifferenceOfTwentyIsNoMotion)
{
    ScriptedClock clock(1.0);
    for (const int sign : {1, -1}) {
        MotionSegment motion(2, 1);
        Image frame = greyFrame(2, 1, 100), output(2, 1, Image::GREYSCALE);
        motion.getMHI(&frame, &output);
        clock.set(2.0);
        fillRectangle(frame, 0, 0, 1, 1, static_cast<unsigned char>(100 + sign * 20));
        fillRectangle(frame, 1, 0, 2, 1, static_cast<unsigned char>(100 + sign * 21));
        motion.getMHI(&frame, &output);
        EXPECT_EQ(byteAt(output, 0, 0), 0);
        EXPECT_EQ(byteAt(output, 1, 0), 255);
        clock.set(1.0);
    }
}

TEST(MotionSegment, TheFirstFrameIsComparedWithBlack)
{
    ScriptedClock clock(1.0);
    MotionSegment motion(3, 1);
    Image frame = greyFrame(3, 1, 20), output(3, 1, Image::GREYSCALE);
    fillRectangle(frame, 1, 0, 2, 1, 21);
    fillRectangle(frame, 2, 0, 3, 1, 255);
    motion.getMHI(&frame, &output);
    EXPECT_EQ(byteAt(output, 0, 0), 0);
    EXPECT_EQ(byteAt(output, 1, 0), 255);
    EXPECT_EQ(byteAt(output, 2, 0), 255);
}

// While the clock is younger than the duration, a time of 0 is not long ago yet.
TEST(MotionSegment, WhatNeverMovedIsBlackFromTheFirstFrameOn)
{
    for (const double start : {1e-6, 0.01, 0.2, 0.39, 0.4, 0.41, 5.0}) {
        ScriptedClock clock(start);
        MotionSegment motion(5, 2);
        Image frame = greyFrame(5, 2, 10), output(5, 2, Image::GREYSCALE);
        fillRectangle(frame, 4, 0, 5, 2, 90);
        fillRectangle(output, 0, 0, 5, 2, 77);
        motion.getMHI(&frame, &output);
        EXPECT_EQ(cv::countNonZero(output.mat()), 2) << "at " << start;
        EXPECT_NEAR(byteAt(output, 4, 0), 255, 1) << "at " << start;
        clock.set(start + 0.1);
        motion.getMHI(&frame, &output);
        EXPECT_EQ(cv::countNonZero(output.mat()), 2) << "at " << start + 0.1;
        EXPECT_NEAR(byteAt(output, 4, 1), 191.25, 1.0) << "at " << start + 0.1;
    }
}

// 0.114 B + 0.587 G + 0.299 R: 100 of blue alone is 11, of red alone 30.
TEST(MotionSegment, BytesAreBlueGreenRedWhateverTheLayout)
{
    for (const auto layout : {Image::BGR, Image::RGB}) {
        ScriptedClock clock(1.0);
        MotionSegment motion(2, 1);
        Image frame(2, 1, layout), output(2, 1, Image::GREYSCALE);
        byteAt(frame, 0, 0, 0) = 100;
        byteAt(frame, 1, 0, 2) = 100;
        motion.getMHI(&frame, &output);
        EXPECT_EQ(byteAt(output, 0, 0), 0);
        EXPECT_EQ(byteAt(output, 1, 0), 255);
    }
}

TEST(MotionSegment, FramesAlternateInTheRing)
{
    ScriptedClock clock(1.0);
    MotionSegment motion(3, 2);
    Image frame = greyFrame(3, 2, 50), output(3, 2, Image::GREYSCALE);
    motion.getMHI(&frame, &output);
    EXPECT_EQ(motion.mLastIndex, 1);
    EXPECT_EQ(cv::countNonZero(matOf(motion.mFrames[0]) == 50), 6); // the frame
    EXPECT_EQ(cv::countNonZero(matOf(motion.mFrames[1]) == 1), 6);  // what moved
    fillRectangle(frame, 0, 0, 1, 1, 90);
    motion.getMHI(&frame, &output);
    EXPECT_EQ(motion.mLastIndex, 0);
    EXPECT_EQ(cv::countNonZero(matOf(motion.mFrames[1]) == 50), 5);
    EXPECT_EQ(cv::countNonZero(matOf(motion.mFrames[0])), 1);
    motion.getMHI(&frame, &output); // the same frame again
    EXPECT_EQ(motion.mLastIndex, 1);
    EXPECT_EQ(cv::countNonZero(matOf(motion.mFrames[1])), 0);
}

/// Computes until the process, with all its threads, has used that much time.
void useProcessorTime(double seconds)
{
    const double end = static_cast<double>(std::clock()) / CLOCKS_PER_SEC + seconds;
    while (static_cast<double>(std::clock()) / CLOCKS_PER_SEC < end) {
    }
}

TEST(MotionSegment, TimeIsProcessorTimeOfAllThreads)
{
    MotionSegment motion(2, 2);
    Image frame = greyFrame(2, 2, 200), output(2, 2, Image::GREYSCALE);
    motion.getMHI(&frame, &output);
    EXPECT_NEAR(byteAt(output, 0, 0), 255, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(600)); // longer than the duration, but without computing
    motion.getMHI(&frame, &output);
    EXPECT_GT(byteAt(output, 0, 0), 0);
    std::thread other([] { useProcessorTime(0.45); });
    other.join(); // this thread sleeps
    motion.getMHI(&frame, &output);
    EXPECT_EQ(byteAt(output, 0, 0), 0);
}

TEST(MotionSegment, FollowsTheRowsOfPaddedImages)
{
    ScriptedClock clock(0.1); // young, so that the output is blackened by rows too
    MotionSegment motion(5, 4);
    PaddedImage frame(5, 4, Image::BGR, 10);
    PaddedImage output(5, 4, Image::GREYSCALE, 33);
    for (unsigned channel = 0; channel < 3; ++channel)
        byteAt(frame.image, 4, 3, channel) = 200;
    motion.getMHI(&frame.image, &output.image);
    EXPECT_EQ(cv::countNonZero(output.image.mat()), 1);
    EXPECT_EQ(byteAt(output.image, 4, 3), 255);
    EXPECT_TRUE(output.paddingIs(33));
}

// ---- objects

TEST(MotionSegment, StartsWithZeroedImagesOfTheSizeGiven)
{
    MotionSegment motion(7, 5);
    EXPECT_EQ(motion.mDuration, 0.4);
    EXPECT_EQ(motion.mFrameCount, 2);
    EXPECT_EQ(motion.mLastIndex, 0);
    EXPECT_EQ(motion.mSpare, nullptr);
    const auto expectImage = [](const IplImage* image, int depth) {
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->width, 7);
        EXPECT_EQ(image->height, 5);
        EXPECT_EQ(image->depth, depth);
        EXPECT_EQ(image->nChannels, 1);
    };
    for (int k = 0; k < 2; ++k) {
        expectImage(motion.mFrames[k], IPL_DEPTH_8U);
        EXPECT_EQ(cv::countNonZero(matOf(motion.mFrames[k])), 0);
    }
    expectImage(motion.mSpareFloat, IPL_DEPTH_32F);
    expectImage(motion.getMHIImage(), IPL_DEPTH_32F);
    EXPECT_EQ(motion.getMHIImage(), motion.mHistory);
    EXPECT_EQ(cv::countNonZero(matOf(motion.mHistory)), 0);
}

TEST(MotionSegment, FieldsStandInTheOrderStated)
{
    const MotionSegment motion(2, 2);
    EXPECT_TRUE(standInOrder({&motion.mDuration, &motion.mFrameCount, &motion.mFrames, &motion.mLastIndex,
                              &motion.mHistory, &motion.mSpareFloat, &motion.mSpare}));
}

// ---- centre of mass

/// The sums as they are stated, column by column in double precision.
Vector2 plainCentre(const Image& image)
{
    double sx = 0.0, sy = 0.0, s = 0.0;
    for (unsigned x = 0; x < image.width(); ++x) {
        for (unsigned y = 0; y < image.height(); ++y) {
            const double v = byteAt(image, x, y);
            sx += x * v;
            sy += y * v;
            s += v;
        }
    }
    return {sx / s, sy / s};
}

void expectPlainCentre(Image& image)
{
    MotionSegment motion(1, 1);
    Vector2 centre(-1.0, -1.0);
    motion.getMassCenter(&image, &centre);
    const Vector2 expected = plainCentre(image);
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): bit for bit, a centre that is not a number too
    ASSERT_EQ(std::memcmp(&centre[0], &expected[0], 2 * sizeof(double)), 0)
        << centre[0] << ", " << centre[1] << " for " << expected[0] << ", " << expected[1];
}

TEST(MotionSegment, MassCentreMatchesThePlainLoop)
{
    std::mt19937 random(1);
    for (int k = 0, rounds = randomRounds(); k < rounds; ++k) {
        Image image =
            randomImage(randomSide(random), randomSide(random), Image::GREYSCALE, random, k % 3 == 0 ? 2 : 256);
        expectPlainCentre(image);
        ASSERT_FALSE(HasFatalFailure()) << "image " << k;
    }
    Image photograph = imageio::load(VELMOR_TEST_PHOTOGRAPH, Image::GREYSCALE);
    expectPlainCentre(photograph);
}

TEST(MotionSegment, MassCentreMatchesThePlainLoopOnLargeImages)
{
    std::mt19937 random(1);
    for (const auto& [width, height] : {std::pair{1023u, 3u}, std::pair{1024u, 3u}, std::pair{1025u, 3u},
                                        std::pair{5000u, 700u}, std::pair{3u, (1u << 20) + 5u}}) {
        Image image = randomImage(width, height, Image::GREYSCALE, random);
        expectPlainCentre(image);
        fillRectangle(image, 0, 0, width, height, 255);
        expectPlainCentre(image);
    }
}

TEST(MotionSegment, MassCentreOfASinglePixelIsThatPixel)
{
    MotionSegment motion(1, 1);
    Image image(70, 40, Image::GREYSCALE);
    for (unsigned y = 0; y < 40; ++y) {
        for (unsigned x = 0; x < 70; ++x) {
            byteAt(image, x, y) = static_cast<unsigned char>(1 + (x * y) % 255);
            Vector2 centre;
            motion.getMassCenter(&image, &centre);
            EXPECT_EQ(centre[0], x);
            EXPECT_EQ(centre[1], y);
            byteAt(image, x, y) = 0;
        }
    }
}

TEST(MotionSegment, MassCentreOfBlackIsNotANumber)
{
    MotionSegment motion(1, 1);
    for (const auto& [width, height] : {std::pair{6u, 4u}, std::pair{0u, 0u}}) {
        Image image(width, height, Image::GREYSCALE);
        Vector2 centre;
        motion.getMassCenter(&image, &centre);
        EXPECT_TRUE(std::isnan(centre[0]));
        EXPECT_TRUE(std::isnan(centre[1]));
    }
}

TEST(MotionSegment, MassCentreIgnoresPadding)
{
    PaddedImage padded(6, 5, Image::GREYSCALE, 200);
    fillRectangle(padded.image, 0, 0, 6, 5, 1);
    MotionSegment motion(1, 1);
    Vector2 centre;
    motion.getMassCenter(&padded.image, &centre);
    EXPECT_EQ(centre[0], 2.5);
    EXPECT_EQ(centre[1], 2.0);
}

// ---- misuse

#ifndef NDEBUG
class MotionSegmentDeathTest : public testing::Test
{
protected:
    void expectDeath(const Image& frame, Image& shown, const std::string& expression)
    {
        EXPECT_DEATH(motion.getMHI(&frame, &shown), assertion("cvprocess/MotionSegment.cpp", expression));
    }

    MotionSegment motion{6, 4};
    Image input{6, 4, Image::BGR};
    Image output{6, 4, Image::GREYSCALE};
};

TEST_F(MotionSegmentDeathTest, InputOfOneChannel)
{
    expectDeath(output, output, "input->nofChannels() == 3 && \"ERROR: the input image must have 3 channels!\"");
}

TEST_F(MotionSegmentDeathTest, OutputOfThreeChannels)
{
    expectDeath(input, input, "output->nofChannels() == 1 && \"ERROR: the output image must have 1 channel only!\"");
}

TEST_F(MotionSegmentDeathTest, InputOfAnotherSize)
{
    for (const auto& [width, height] : {std::pair{7u, 4u}, std::pair{6u, 3u}, std::pair{0u, 0u}})
        expectDeath(Image(width, height, Image::BGR), output,
                    "hasSize(*input, *mHistory) && "
                    "\"ERROR: the input image must have the size given at construction!\"");
}

TEST_F(MotionSegmentDeathTest, OutputOfAnotherSize)
{
    for (const auto& [width, height] : {std::pair{7u, 4u}, std::pair{6u, 3u}, std::pair{0u, 0u}}) {
        Image other(width, height, Image::GREYSCALE);
        expectDeath(input, other,
                    "hasSize(*output, *mHistory) && "
                    "\"ERROR: the output image must have the size given at construction!\"");
    }
}

TEST_F(MotionSegmentDeathTest, FramesWithoutPixels)
{
    for (const auto& [width, height] : {std::pair{0, 4}, std::pair{6, 0}, std::pair{-6, 4}, std::pair{6, -4}})
        EXPECT_DEATH(MotionSegment(width, height),
                     assertion("cvprocess/MotionSegment.cpp",
                               "width > 0 && height > 0 && \"ERROR: the frames must have a width and a height!\""));
}

// The first sizes that are too large, and those whose products overflow.
TEST_F(MotionSegmentDeathTest, FramesThatOpenCvCannotDescribe)
{
    constexpr int most = std::numeric_limits<int>::max();
    for (const auto& [width, height] : {std::pair{1 << 15, 1 << 14}, std::pair{1, 1 << 29}, std::pair{1 << 27, 1},
                                        std::pair{1 << 16, 1 << 16}, std::pair{1, most}, std::pair{most, most}})
        EXPECT_DEATH(MotionSegment(width, height),
                     assertion("cvprocess/MotionSegment.cpp",
                               "fitsHeader(width, height) && \"MotionSegment::MotionSegment(): expected 4 * width * "
                               "height < 2^31 and width < 2^27\""));
}
#endif

} // namespace
} // namespace velmor::tests
