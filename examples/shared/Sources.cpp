#include "examples/shared/Sources.h"

#include "examples/shared/Program.h"
#include "imageio/ImageIo.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace velmor::examples {
namespace {

namespace fs = std::filesystem;

constexpr double kUsualRate = 25; ///< for a video that does not tell a sensible one
constexpr double kHighestRate = 240;

std::runtime_error cannotRead(const std::string& input, const std::string& reason)
{
    return std::runtime_error("cannot read '" + input + "': " + reason);
}

} // namespace

FrameSource::FrameSource(const std::string& input, const MessageLog& log) : mInput(input), mLog(&log)
{
    const bool isNumber = !input.empty() && input.find_first_not_of("0123456789") == std::string::npos;
    const std::string path = isNumber ? "/dev/video" + input : input;
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    const bool isCamera = fs::is_character_file(status);
    if (error)
        throw cannotRead(path, error.message());
    if (fs::is_directory(status))
        throw cannotRead(path, "it is a folder");
    if (!fs::is_regular_file(status) && !isCamera)
        throw cannotRead(path, "it is neither a file nor a camera");
    if (access(path.c_str(), R_OK) != 0)
        throw cannotRead(path, std::strerror(errno));
    if (!isCamera && fs::file_size(path) == 0)
        throw cannotRead(path, "it is empty");

    const MessageLog::Capture capture(log, STDERR_FILENO);
    mName = isCamera ? "camera " + path : fs::path(path).filename().string();
    if (!isCamera && cv::haveImageReader(path))
        mFirst = imageio::load(path, core::cvdata::Image::BGR).mat().clone();
    else
        openVideo(path, isCamera);
    mSize = mFirst.size();
}

void FrameSource::openVideo(const std::string& path, bool isCamera)
{
    // As an absolute path, for a colon in a relative one could be read as a protocol's.
    mVideo.open(fs::absolute(path).string(), isCamera ? cv::CAP_V4L2 : cv::CAP_FFMPEG);
    mFirst = read();
    if (mFirst.empty())
        throw cannotRead(path, isCamera ? "it is no camera, or it delivers no pictures"
                                        : "it holds no picture and no video frame of a known format");
}

bool FrameSource::next(cv::Mat& frame)
{
    cv::Mat taken = mFirst.empty() ? read() : std::exchange(mFirst, cv::Mat());
    if (taken.empty())
        return false;
    if (taken.size() != mSize) // a stream may change its size on the way
        cv::resize(taken, taken, mSize, 0, 0, cv::INTER_AREA);
    frame = taken;
    ++mTaken;
    return true;
}

bool FrameSource::nextForEver(cv::Mat& frame)
{
    if (next(frame))
        return true;
    if (mTaken < 2)
        return false;
    *this = FrameSource(mInput, *mLog);
    return next(frame);
}

double FrameSource::rate() const
{
    if (!mVideo.isOpened())
        return 1;
    const double rate = mVideo.get(cv::CAP_PROP_FPS);
    return rate >= 1 && rate <= kHighestRate ? rate : kUsualRate;
}

cv::Mat FrameSource::read()
{
    cv::Mat frame;
    if (mVideo.isOpened())
        mVideo.read(frame);
    return frame.clone(); // the capture may use its memory again
}

} // namespace velmor::examples
