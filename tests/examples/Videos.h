#pragma once

#include <opencv2/videoio.hpp>

#include <stdexcept>
#include <string>
#include <vector>

namespace velmor::tests {

/// Writes a video of 10 frames per second.
/// @param frames  8-bit BGR, of one size, at least one
inline void writeFrames(const std::string& file, const std::vector<cv::Mat>& frames)
{
    cv::VideoWriter writer(file, cv::CAP_OPENCV_MJPEG, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 10,
                           frames.front().size());
    if (!writer.isOpened())
        throw std::runtime_error("cannot write " + file);
    for (const cv::Mat& frame : frames)
        writer.write(frame);
}

/// The first frames of a video, all unless told how many.
inline std::vector<cv::Mat> readFrames(const std::string& file, std::size_t atMost = 1000)
{
    cv::VideoCapture video(file, cv::CAP_FFMPEG);
    std::vector<cv::Mat> frames;
    for (cv::Mat frame; frames.size() < atMost && video.read(frame);)
        frames.push_back(frame.clone());
    return frames;
}

} // namespace velmor::tests
