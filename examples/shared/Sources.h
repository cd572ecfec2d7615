#pragma once

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>

#include <string>

namespace velmor::examples {

class MessageLog;

/// Real frames, one after another and all of one size: of a video, a camera or a single picture.
class FrameSource
{
public:
    /// Opens what the user named: the number of a camera, its device, or a file, told by its content. What codecs and
    /// drivers print goes to the log, which must outlive the source.
    /// @throws std::runtime_error  saying what cannot be read and why
    FrameSource(const std::string& input, const MessageLog& log);

    /// Takes the next frame, 8-bit BGR with memory of its own; false at the end.
    bool next(cv::Mat& frame);

    /// Likewise, but a video begins again at its end; false for a single picture, and a camera that is gone throws.
    bool nextForEver(cv::Mat& frame);

    const cv::Size& size() const { return mSize; }

    double rate() const;                              ///< frames per second; of a single picture 1
    const std::string& name() const { return mName; } ///< short enough for a title

private:
    void openVideo(const std::string& path, bool isCamera);
    cv::Mat read();

    std::string mInput;
    const MessageLog* mLog;
    std::string mName;
    cv::VideoCapture mVideo; ///< of a single picture not open
    cv::Mat mFirst;          ///< read ahead; empty once it was taken
    cv::Size mSize;
    int mTaken = 0; ///< frames
};

} // namespace velmor::examples
