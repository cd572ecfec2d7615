#pragma once

#include "examples/shared/FrameSource.h"

namespace velmor::demo {

/// A single picture out of a file: one frame.
class ImageSource : public FrameSource
{
public:
    /// @throws std::runtime_error  when the file does not hold a whole picture
    ImageSource(const std::string& file, const MessageLog& log);

    bool next(cv::Mat& frame) override;
    double rate() const override { return 1; }
    std::string name() const override { return mName; }

private:
    std::string mName;
    cv::Mat mPicture; ///< empty once it was taken
};

} // namespace velmor::demo
