#pragma once

#include "core/cvdata/Image.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <stdexcept>
#include <vector>

namespace velmor::bench {

/// A size of images.
struct Size
{
    const char* name;
    unsigned width;
    unsigned height;
};
constexpr Size kFrameSizes[] = {{"768x576", 768, 576}, {"VGA", 640, 480}, {"1080p", 1920, 1080}, {"4K", 3840, 2160}};

/// Consecutive frames of the pedestrian video of opencv-doc, 768 x 576 pixels, scaled where another size is asked for.
inline std::vector<core::cvdata::Image> cameraFrames(unsigned count, const Size& size,
                                                     core::cvdata::Image::ChannelLayout layout)
{
    const char* const file = "/usr/share/doc/opencv-doc/examples/data/vtest.avi";
    cv::VideoCapture video(file);
    std::vector<core::cvdata::Image> frames;
    cv::Mat frame;
    while (frames.size() < count) {
        if (!video.read(frame))
            throw std::runtime_error(std::string("cameraFrames(): cannot read ") + file + "; is opencv-doc installed?");
        frames.emplace_back(size.width, size.height, layout);
        cv::Mat pixels = frames.back().mat();
        cv::resize(frame, frame, pixels.size());
        if (layout == core::cvdata::Image::BGR)
            frame.copyTo(pixels);
        else
            cv::cvtColor(frame, pixels, layout == core::cvdata::Image::RGB ? cv::COLOR_BGR2RGB : cv::COLOR_BGR2GRAY);
    }
    return frames;
}

} // namespace velmor::bench
