// What the viewer makes of a video.

#include "tests/examples/Videos.h"
#include "tests/viewer/Pictures.h"
#include "tests/viewer/ViewerTest.h"

namespace velmor::tests {
namespace {

constexpr std::size_t kFrames = 6;
constexpr double kRounding = 0.51;

class Playback : public ViewerTest
{
protected:
    const std::string file = path("video.avi").string();
    std::vector<cv::Mat> frames; ///< as they come out of the file

    void SetUp() override
    {
        std::vector<cv::Mat> drawn;
        for (std::size_t i = 0; i < kFrames; ++i) {
            drawn.emplace_back(120, 160, CV_8UC3, cv::Scalar(60, 90, 120));
            const int left = 5 + 22 * static_cast<int>(i);
            cv::rectangle(drawn.back(), cv::Rect(left, 10 + left / 2, 30, 30), cv::Scalar::all(250), cv::FILLED);
        }
        writeFrames(file, drawn);
        frames = readFrames(file);
        ASSERT_EQ(frames.size(), kFrames);
    }

    /// The frame that is shown as its negative, when the viewer has stopped.
    std::size_t stoppedFrame() const
    {
        std::size_t found = kFrames;
        await("a frame is shown", [&] {
            const cv::Mat now = shown();
            for (std::size_t i = 0; i < kFrames; ++i)
                if (largestDifference(now, negativeOf(frames[i])) == 0)
                    found = i;
            return found < kFrames;
        });
        return found;
    }

    /// The same after the viewer was told to stop.
    std::size_t stop() const
    {
        press({"space"});
        awaitTitle("velmor-viewer: Not  ");
        await("the viewer stops", [this] { return title().find("(stopped)") != std::string::npos; });
        return stoppedFrame();
    }
};

TEST_F(Playback, AVideoPlaysAgainAndAgainUntilItIsStopped)
{
    openBare(file);
    for (std::size_t i : {std::size_t{0}, kFrames - 1, std::size_t{0}, kFrames - 1})
        awaitPicture(negativeOf(frames[i]));
    std::size_t next = stop();
    for (std::size_t i = 0; i <= kFrames; ++i) {
        next = (next + 1) % kFrames;
        press({"period"});
        awaitPicture(negativeOf(frames[next]));
    }
    press({"space"});
    await("the video goes on", [&] { return title().find("(stopped)") == std::string::npos; });
    awaitPicture(negativeOf(frames[(next + 2) % kFrames]));
    quit();
}

TEST_F(Playback, TheSecondPictureIsTheFirstFrameUntilAnotherIsTaken)
{
    openBare(file);
    std::size_t present = stop();
    const auto differenceOf = [this](std::size_t a, std::size_t b) {
        cv::Mat result;
        cv::absdiff(frames[a], frames[b], result);
        return cv::Mat(result * 3); // as bright as the viewer shows it; bytes saturate
    };
    if (present == 0) {
        press({"period"});
        awaitPicture(negativeOf(frames[++present]));
    }
    goTo("Subtract");
    awaitPicture(differenceOf(present, 0), kRounding);
    press({"b"});
    awaitPicture(cv::Mat::zeros(frames[0].size(), CV_8UC3));
    const std::size_t kept = present;
    press({"period"});
    present = (present + 1) % kFrames;
    awaitPicture(differenceOf(present, kept), kRounding);
    quit();
}

TEST_F(Playback, WhatMovedJustNowIsWhiteInTheHistory)
{
    openBare(file);
    std::size_t present = stop();
    goTo("MotionSegment");
    press({"Up"});                                           // the history itself
    awaitPicture(cv::Mat::zeros(frames[0].size(), CV_8UC3)); // nothing has moved since it began to look
    press({"period"});
    const std::size_t before = present;
    present = (present + 1) % kFrames;
    cv::Mat greys[2], moved;
    cv::cvtColor(frames[before], greys[0], cv::COLOR_BGR2GRAY);
    cv::cvtColor(frames[present], greys[1], cv::COLOR_BGR2GRAY);
    cv::absdiff(greys[0], greys[1], moved);
    moved = moved > 20;
    cv::Mat expected;
    cv::cvtColor(moved, expected, cv::COLOR_GRAY2BGR);
    // A cross marks the centre of mass: its colour is no grey, and its edges are blended within a pixel.
    await("the history is shown", [&] {
        const cv::Mat now = shown();
        const cv::Moments moments = cv::moments(moved, true);
        const cv::Point centre(cvRound(moments.m10 / moments.m00), cvRound(moments.m01 / moments.m00));
        cv::Mat beside(moved.size(), CV_8U, cv::Scalar(255));
        cv::rectangle(beside, cv::Rect(centre - cv::Point(12, 12), centre + cv::Point(13, 13)), cv::Scalar(0),
                      cv::FILLED);
        cv::Mat difference;
        cv::absdiff(now, expected, difference);
        difference.setTo(cv::Scalar::all(0), ~beside);
        return cv::countNonZero(difference.reshape(1)) == 0 && cv::countNonZero(now.reshape(1)) > 0;
    });
    quit();
}

} // namespace
} // namespace velmor::tests
