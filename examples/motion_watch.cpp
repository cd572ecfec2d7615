// Watches a video for movement:
//     motion_watch video.avi watched.avi
// Prints when movement sets in and when it has ceased, and writes the video with what moved of late in red, and framed
// while there is an alarm. An error ends the video there.

#include "core/cvdata/Image.h"
#include "cvprocess/MotionSegment.h"
#include "math/Vector2.h"

#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

using namespace velmor;
using core::cvdata::Image;

constexpr int kFrameWidth = 8; ///< in pixels, half of it inside the picture

/// Goes off when enough of the picture moves, and ends after some quiet frames.
class Alarm
{
public:
    bool isOn() const { return mIsOn; }

    /// Takes the next frame.
    /// @param share  of its pixels that move, 0..1
    /// @return       whether the alarm went on or off
    bool update(double share)
    {
        mQuietFrames = share > kAlarmShare ? 0 : mQuietFrames + 1;
        const bool wasOn = mIsOn;
        mIsOn = mQuietFrames == 0 || (wasOn && mQuietFrames < kFramesToEnd);
        return mIsOn != wasOn;
    }

private:
    static constexpr double kAlarmShare = 0.01;
    static constexpr int kFramesToEnd = 10;

    int mQuietFrames = 0;
    bool mIsOn = false;
};

void watch(cv::VideoCapture& video, cv::VideoWriter& writer, cv::Mat frame)
{
    const auto width = static_cast<unsigned>(frame.cols), height = static_cast<unsigned>(frame.rows);
    cvprocess::MotionSegment segment(frame.cols, frame.rows);
    cv::Mat times = cv::cvarrToMat(segment.getMHIImage()); // when each pixel moved last
    Image history(width, height, Image::GREYSCALE);
    Alarm alarm;
    int number = 0;
    do {
        const Image view(width, height, Image::BGR, frame.data, static_cast<unsigned>(frame.step));
        double newest = 0;
        cv::minMaxLoc(times, nullptr, &newest);
        segment.getMHI(&view, &history);
        if (++number == 1) { // was compared with black, so that nearly all of it moved
            times.setTo(0);
            history.clear();
        }
        const double share = cv::countNonZero(times > newest) / static_cast<double>(times.total());
        const bool changed = alarm.update(share);
        if (changed && alarm.isOn()) {
            math::Vector2 centre;
            segment.getMassCenter(&history, &centre);
            std::cout << "frame " << number << ": alarm, " << std::round(1000 * share) / 10.0
                      << " % of the picture moves, of late around " << cv::Point(cv::Point2d(centre[0], centre[1]))
                      << '\n';
        } else if (changed) {
            std::cout << "frame " << number << ": quiet\n";
        }
        cv::Mat red;
        cv::extractChannel(frame, red, 2);
        cv::insertChannel(cv::max(red, history.mat()), frame, 2);
        if (alarm.isOn())
            cv::rectangle(frame, {0, 0}, {frame.cols, frame.rows}, {0, 0, 255}, kFrameWidth);
        writer.write(frame);
    } while (video.read(frame));
}

} // namespace

int main(int argc, char** argv)
{
    try {
        if (argc != 3)
            throw std::invalid_argument("expected a video to read and one to write");
        cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT); // errors are reported below, in one line
        setenv("OPENCV_FFMPEG_LOGLEVEL", "-8", 0);
        cv::VideoCapture video(argv[1], cv::CAP_FFMPEG);
        cv::Mat frame;
        if (!video.read(frame))
            throw std::runtime_error("cannot read '" + std::string(argv[1]) + "': it is no video");
        cv::VideoWriter writer(argv[2], cv::CAP_OPENCV_MJPEG, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'),
                               std::max(1.0, video.get(cv::CAP_PROP_FPS)), frame.size());
        if (!writer.isOpened())
            throw std::runtime_error("cannot write '" + std::string(argv[2]) + "', which is to be an .avi file");
        watch(video, writer, frame);
    } catch (const std::exception& error) {
        std::cerr << "motion_watch: " << error.what() << '\n';
        return 1;
    }
}
