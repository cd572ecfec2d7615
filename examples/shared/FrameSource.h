#pragma once

#include <opencv2/core.hpp>

#include <memory>
#include <stdexcept>
#include <string>

namespace velmor::demo {

class MessageLog;

/// What is shown to a user who names nothing.
constexpr const char* kUsualInput = "/usr/share/doc/opencv-doc/examples/data/vtest.avi";

/// Real frames, one after another and all of one size: of a video, a camera or a single picture.
class FrameSource
{
public:
    /// Opens what the user named: the number of a camera, its device, or a file, told by its content.
    /// @param log  takes what codecs and drivers print
    /// @throws std::runtime_error  saying what cannot be read and why
    static std::unique_ptr<FrameSource> open(const std::string& input, const MessageLog& log);

    virtual ~FrameSource();

    /// Takes the next frame.
    /// @param[out] frame  8-bit BGR, with memory of its own; unchanged at the end
    /// @return            false at the end
    virtual bool next(cv::Mat& frame) = 0;

    /// Frames per second; of a single picture 1.
    virtual double rate() const = 0;

    /// A name short enough for a title.
    virtual std::string name() const = 0;

protected:
    /// The one form of this family's errors.
    static std::runtime_error cannotRead(const std::string& input, const std::string& reason);
};

} // namespace velmor::demo
