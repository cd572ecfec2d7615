#include "examples/shared/ImageSource.h"

#include "examples/shared/MessageLog.h"
#include "imageio/ImageIo.h"

#include <unistd.h>

#include <filesystem>
#include <utility>

namespace velmor::demo {

ImageSource::ImageSource(const std::string& file, const MessageLog& log)
    : mName(std::filesystem::path(file).filename().string())
{
    const MessageLog::Capture capture(log, STDERR_FILENO);
    mPicture = imageio::load(file, core::cvdata::Image::BGR).mat().clone();
}

bool ImageSource::next(cv::Mat& frame)
{
    if (mPicture.empty())
        return false;
    frame = std::exchange(mPicture, cv::Mat());
    return true;
}

} // namespace velmor::demo
