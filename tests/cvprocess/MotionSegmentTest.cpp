// Compiled without access control, to see fields.

#include "cvprocess/MotionSegment.h"

#include "imageio/ImageIo.h"
#include "math/Vector2.h"
#include "tests/cvprocess/MotionStream.h"
#include "tests/support/DeathText.h"
#include "tests/support/FieldOrder.h"
#include "tests/support/GuardedMemory.h"
#include "tests/support/InstructionSets.h"
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

    cv::Mat& history() { return mHistory; }

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

/// Puts times into the history that no call writes, as a program that owns none of it may.
void putOddTimes(cv::Mat& own, cv::Mat& plain, std::mt19937& random)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float odd[] = {-0.0f, -1.0f, 1e-40f, 3e38f, infinity, -infinity, std::numeric_limits<float>::quiet_NaN()};
    const int x = static_cast<int>(random() % static_cast<unsigned>(own.cols));
    const int y = static_cast<int>(random() % static_cast<unsigned>(own.rows));
    own.at<float>(y, x) = plain.at<float>(y, x) = odd[random() % std::size(odd)];
}

void expectPlainMotion(MotionStream& stream, std::mt19937& random)
{
    MotionSegment motion(static_cast<int>(stream.width()), static_cast<int>(stream.height()));
    PlainMotion plain(stream.width(), stream.height());
    PaddedImage output(stream.width(), stream.height(), Image::GREYSCALE, 33);
    cv::Mat history = matOf(motion.getMHIImage());
    for (int k = 0; k < 50; ++k) {
        if (k % 16 == 15)
            putOddTimes(history, plain.history(), random);
        const Image& frame = stream.next();
        motion.getMHI(&frame, &output.image);
        const cv::Mat expected = plain.next(frame, stream.time());
        ASSERT_TRUE(sameBits(output.image.mat(), expected)) << "frame " << k;
        ASSERT_TRUE(sameBits(history, plain.history())) << "frame " << k;
    }
    ASSERT_TRUE(output.paddingIs(33));
}

void expectPlainMotionOnRandomStreams(int frames)
{
    onEachInstructionSet([frames](const std::string& name) {
        SCOPED_TRACE(name);
        std::mt19937 random(1);
        for (int k = 0; k < frames && !testing::Test::HasFatalFailure(); k += 50) {
            MotionStream stream(random);
            expectPlainMotion(stream, random);
        }
    });
}

TEST(MotionSegment, MatchesThePlainLoopOnRandomStreams)
{
    expectPlainMotionOnRandomStreams(randomRounds());
}

TEST(MotionSegmentSweep, MatchesThePlainLoopOnRandomStreams)
{
    expectPlainMotionOnRandomStreams(1000000);
}

TEST(MotionSegment, TouchesNothingBehindTheEndsOfItsPictures)
{
    onEachInstructionSet([](const std::string& name) {
        SCOPED_TRACE(name);
        ScriptedClock clock(0.1);
        std::mt19937 random(1);
        const GuardedMemory frames(3 * 200), outputs(200);
        for (unsigned width = 1; width <= 200; ++width) {
            const cv::Mat pixels = frames.copyOf(randomImage(width, 1, Image::BGR, random).mat());
            const cv::Mat shown = outputs.picture(pixels.size(), CV_8U);
            const Image frame(width, 1, Image::BGR, pixels.data, 3 * width);
            Image output(width, 1, Image::GREYSCALE, shown.data, width);
            MotionSegment motion(static_cast<int>(width), 1);
            PlainMotion plain(width, 1);
            motion.getMHI(&frame, &output);
            ASSERT_TRUE(sameBits(shown, plain.next(frame, static_cast<double>(std::clock()) / 1e6)));
        }
    });
}

// The operator computes the grey values itself.
TEST(MotionSegment, EveryColourIsAsGreyAsOpenCvHasIt)
{
    const int step = RUNNING_ON_VALGRIND ? 85 : 1;
    onEachInstructionSet([step](const std::string& name) {
        Image frame(256, 256, Image::BGR), output(256, 256, Image::GREYSCALE);
        cv::Mat expected;
        for (int blue = 0; blue < 256; blue += step) {
            for (unsigned green = 0; green < 256; ++green) {
                for (unsigned red = 0; red < 256; ++red) {
                    byteAt(frame, red, green, 0) = static_cast<unsigned char>(blue);
                    byteAt(frame, red, green, 1) = static_cast<unsigned char>(green);
                    byteAt(frame, red, green, 2) = static_cast<unsigned char>(red);
                }
            }
            cv::cvtColor(frame.mat(), expected, cv::COLOR_BGR2GRAY);
            MotionSegment motion(256, 256);
            motion.getMHI(&frame, &output);
            ASSERT_TRUE(sameBits(matOf(motion.mFrames[0]), expected)) << name << ", blue " << blue;
        }
    });
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

/// Images over parts of one piece of memory: most of them low, some higher than 16 bits hold sums of columns.
void expectPlainCentreOfRandomImages(int images)
{
    onEachInstructionSet([images](const std::string& name) {
        SCOPED_TRACE(name);
        std::mt19937 random(1);
        const auto below = [&random](unsigned limit) {
            return static_cast<unsigned>(random() % limit);
        };
        constexpr unsigned mostPixels = 300 * 600;
        Image bytes = randomImage(2 * mostPixels, 1, Image::GREYSCALE, random);
        fillRectangle(bytes, mostPixels / 2, 0, mostPixels, 1, 255);
        for (int k = 0; k < images && !testing::Test::HasFatalFailure(); ++k) {
            const bool isHigh = below(100) == 0;
            const unsigned width = 1 + below(isHigh ? 30 : 200), height = 1 + below(isHigh ? 600 : 12);
            Image image(width, height, Image::GREYSCALE, bytes.imageBuffer() + below(mostPixels), width + below(100));
            expectPlainCentre(image);
        }
    });
}

TEST(MotionSegment, MassCentreMatchesThePlainLoop)
{
    expectPlainCentreOfRandomImages(randomRounds());
    Image photograph = imageio::load(VELMOR_TEST_PHOTOGRAPH, Image::GREYSCALE);
    expectPlainCentre(photograph);
}

TEST(MotionSegmentSweep, MassCentreMatchesThePlainLoop)
{
    expectPlainCentreOfRandomImages(1000000);
}

// Around the numbers of columns and rows that are added up at a time, and where the sums are largest.
TEST(MotionSegment, MassCentreMatchesThePlainLoopOnLargeImages)
{
    std::mt19937 random(1);
    for (const auto& [width, height] :
         {std::pair{4095u, 3u}, std::pair{4096u, 3u}, std::pair{4097u, 3u}, std::pair{5000u, 700u},
          std::pair{70u, 256u}, std::pair{70u, 257u}, std::pair{70u, 258u}, std::pair{3u, (1u << 20) + 5u}}) {
        Image image = randomImage(width, height, Image::GREYSCALE, random);
        onEachInstructionSet([&image](const std::string&) { expectPlainCentre(image); });
        fillRectangle(image, 0, 0, width, height, 255);
        onEachInstructionSet([&image](const std::string&) { expectPlainCentre(image); });
    }
}

// The largest sums exceed 2^53, so that doubles round them, and depend on their order.
TEST(MotionSegment, MassCentreAddsRoundedSumsInTheirOrder)
{
    std::mt19937 random(1);
    Image wide = randomImage(20000000, 1, Image::GREYSCALE, random);
    expectPlainCentre(wide);
    Image high(1, wide.width(), Image::GREYSCALE, wide.imageBuffer(), 1);
    expectPlainCentre(high);
}

TEST(MotionSegment, MassCentreReadsNothingBehindTheEndOfTheImage)
{
    std::mt19937 random(1);
    const GuardedMemory memory(200);
    onEachInstructionSet([&](const std::string& name) {
        SCOPED_TRACE(name);
        for (unsigned width = 1; width <= 200; ++width) {
            const cv::Mat pixels = memory.copyOf(randomImage(width, 1, Image::GREYSCALE, random).mat());
            Image image(width, 1, Image::GREYSCALE, pixels.data, width);
            expectPlainCentre(image);
        }
    });
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
