#include "examples/shared/VideoSource.h"

#include "examples/shared/MessageLog.h"

#include <opencv2/imgproc.hpp>

#include <unistd.h>

#include <filesystem>
#include <utility>

namespace velmor::demo {
namespace {

namespace fs = std::filesystem;

constexpr double kUsualRate = 25; ///< for a source that does not tell a sensible one
constexpr double kHighestRate = 240;

} // namespace

VideoSource::VideoSource(const std::string& path, Kind kind, const MessageLog& log)
    : mName(kind == CAMERA ? "camera " + path : fs::path(path).filename().string())
{
    {
        const MessageLog::Capture capture(log, STDERR_FILENO);
        // As an absolute path, for a colon in a relative one could be read as a protocol's.
        mCapture.open(fs::absolute(path).string(), kind == CAMERA ? cv::CAP_V4L2 : cv::CAP_FFMPEG);
    }
    if (mCapture.isOpened())
        mFirst = read();
    if (mFirst.empty())
        throw cannotRead(path, kind == CAMERA ? "it is no camera, or it delivers no pictures"
                                              : "it holds no picture and no video frame of a known format");
    mSize = mFirst.size();
}

bool VideoSource::next(cv::Mat& frame)
{
    cv::Mat taken = mFirst.empty() ? read() : std::exchange(mFirst, cv::Mat());
    if (taken.empty())
        return false;
    if (taken.size() != mSize) // a stream may change its size on the way
        cv::resize(taken, taken, mSize, 0, 0, cv::INTER_AREA);
    frame = taken;
    return true;
}

double VideoSource::rate() const
{
    const double rate = mCapture.get(cv::CAP_PROP_FPS);
    return rate >= 1 && rate <= kHighestRate ? rate : kUsualRate;
}

cv::Mat VideoSource::read()
{
    cv::Mat frame;
    mCapture.read(frame);
    return frame.clone(); // the capture may use its memory again
}

} // namespace velmor::demo
