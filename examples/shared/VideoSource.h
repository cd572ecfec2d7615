#pragma once

#include "examples/shared/FrameSource.h"

#include <opencv2/videoio.hpp>

namespace velmor::demo {

/// A video file or a camera.
class VideoSource : public FrameSource
{
public:
    enum Kind
    {
        FILE,
        CAMERA
    };

    /// @param path  the file, or the camera's device
    /// @throws std::runtime_error  when it cannot be opened or has no first frame
    VideoSource(const std::string& path, Kind kind, const MessageLog& log);

    bool next(cv::Mat& frame) override;
    double rate() const override;
    std::string name() const override { return mName; }

private:
    cv::Mat read();

    std::string mName;
    cv::VideoCapture mCapture;
    cv::Mat mFirst; ///< read ahead; empty once it was taken
    cv::Size mSize;
};

} // namespace velmor::demo
