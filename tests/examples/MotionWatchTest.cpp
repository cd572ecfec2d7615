#include "tests/examples/ExampleTest.h"
#include "tests/examples/Videos.h"

#include <opencv2/imgproc.hpp>

namespace velmor::tests {
namespace {

constexpr int kSide = 64; ///< of the square that moves: whole blocks of the video's coding
const cv::Size kSize(512, 256);
constexpr int kFirst = 4, kLast = 7; ///< frames, counted from 1, in which the square is there
constexpr int kQuietFrames = 10;

std::vector<cv::Mat> squareThatComesAndGoes()
{
    std::vector<cv::Mat> frames;
    for (int number = 1; number <= kLast + 1 + kQuietFrames + 2; ++number) {
        frames.emplace_back(kSize, CV_8UC3, cv::Scalar::all(100));
        if (number >= kFirst && number <= kLast)
            frames.back()(cv::Rect((number - kFirst + 1) * kSide, kSide, kSide, kSide)) = cv::Scalar::all(220);
    }
    return frames;
}

class MotionWatch : public ExampleTest
{
protected:
    MotionWatch() : ExampleTest("motion_watch") {}
};

TEST_F(MotionWatch, RaisesTheAlarmWhileASquareMoves)
{
    writeFrames(path("square.avi").string(), squareThatComesAndGoes());
    const ProgramEnd end = run({"square.avi", "watched.avi"});
    expectSuccess(end);
    // The square has 64 x 64 of 512 x 256 pixels and appears at 64..127. It goes in the frame after its last one.
    EXPECT_EQ(end.out, "frame 4: alarm, 3.1 % of the picture moves, of late around [96, 96]\nframe " +
                           std::to_string(kLast + 1 + kQuietFrames) + ": quiet\n");
}

TEST_F(MotionWatch, MarksWhatMovedInRed)
{
    writeFrames(path("square.avi").string(), squareThatComesAndGoes());
    expectSuccess(run({"square.avi", "watched.avi"}));
    const std::vector<cv::Mat> frames = readFrames(path("watched.avi").string());
    ASSERT_EQ(frames.size(), squareThatComesAndGoes().size());
    const auto redness = [&frames](int number, int x, int y) { // of the picture's grey there is none
        const cv::Vec3b colour = frames[static_cast<std::size_t>(number - 1)].at<cv::Vec3b>(y, x);
        return colour[2] - colour[1];
    };
    constexpr int kClear = 60;
    EXPECT_GT(redness(kFirst + 1, 3 * kSide / 2, 3 * kSide / 2), kClear) << "where the square has just been";
    EXPECT_LT(redness(kFirst + 1, 3 * kSide / 2, 7 * kSide / 2), kClear) << "where it never was";
    EXPECT_LT(redness(kFirst - 1, 1, kSide), kClear) << "the frame before the alarm";
    EXPECT_GT(redness(kFirst, 1, kSide), kClear) << "the frame of the alarm";
    EXPECT_LT(redness(kLast + 1 + kQuietFrames, 1, kSide), kClear) << "the frame after it";
}

/// The number of the first frame, from the second one on, of which more than a share differs from the one before.
std::size_t firstMovingFrame(const std::vector<cv::Mat>& frames, double share)
{
    cv::Mat before, now, difference;
    cv::cvtColor(frames.front(), before, cv::COLOR_BGR2GRAY);
    for (std::size_t i = 1; i < frames.size(); ++i) {
        cv::cvtColor(frames[i], now, cv::COLOR_BGR2GRAY);
        cv::absdiff(before, now, difference);
        if (cv::countNonZero(difference > 20) > share * static_cast<double>(difference.total()))
            return i + 1;
        cv::swap(before, now);
    }
    return 0;
}

TEST_F(MotionWatch, RaisesTheAlarmForPedestrians)
{
    writeFrames(path("walk.avi").string(), readFrames(VELMOR_TEST_VIDEO, 20));
    const std::size_t expected = firstMovingFrame(readFrames(path("walk.avi").string()), 0.01);
    ASSERT_GT(expected, 0U);
    const ProgramEnd end = run({"walk.avi", "watched.avi"});
    expectSuccess(end);
    EXPECT_EQ(end.out.rfind("frame " + std::to_string(expected) + ": alarm, ", 0), 0U) << end.out;
}

TEST_F(MotionWatch, SaysWhatIsWrong)
{
    expectRefusal({"a.avi"}, "expected a video to read and one to write");
    expectRefusal({"nothing.avi", "b.avi"}, "cannot read 'nothing.avi': it is no video");
    writeFrames(path("square.avi").string(), squareThatComesAndGoes());
    expectRefusal({"square.avi", "no/folder.avi"}, "cannot write 'no/folder.avi', which is to be an .avi file");
    write("cut.avi", read("square.avi").substr(0, 100));
    expectRefusal({"cut.avi", "b.avi"}, "cannot read 'cut.avi': it is no video");
}

} // namespace
} // namespace velmor::tests
