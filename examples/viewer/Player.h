#pragma once

#include "examples/shared/FrameSource.h"

#include <opencv2/core.hpp>

#include <memory>
#include <string>

namespace velmor::viewer {

/// The frames of an input, one by one; a video begins again at its end.
class Player
{
public:
    /// Opens the input and takes its first frame.
    /// @param input  as for demo::FrameSource::open()
    /// @param log    takes what codecs and drivers print; must outlive the player
    /// @throws std::runtime_error  saying what cannot be read and why
    Player(const std::string& input, const demo::MessageLog& log);

    /// The present frame, 8-bit BGR.
    const cv::Mat& frame() const { return mFrame; }

    /// Goes on to the next frame.
    /// @return  false for a single picture
    /// @throws std::runtime_error  when a camera is gone, or a video cannot be read again
    bool advance();

    /// Frames per second; meaningless for a single picture.
    double rate() const { return mSource->rate(); }

private:
    std::string mInput;
    const demo::MessageLog& mLog;
    std::unique_ptr<demo::FrameSource> mSource;
    cv::Mat mFrame;
    bool mIsFirst = true; ///< no second frame was seen yet
};

} // namespace velmor::viewer
