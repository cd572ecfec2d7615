#include "examples/demo/ClipWriter.h"

#include "examples/demo/OutputFolder.h"
#include "examples/shared/Findings.h"
#include "examples/shared/MessageLog.h"
#include "examples/shared/PictureFile.h"

#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <stdexcept>

namespace velmor::demo {
namespace {

struct VideoFormat
{
    const char* name;
    int fourcc;
};

const VideoFormat kVideoFormats[] = {
    {"H.264", cv::VideoWriter::fourcc('a', 'v', 'c', '1')},
    {"MPEG-4", cv::VideoWriter::fourcc('m', 'p', '4', 'v')},
};

/// "frame-0001.png"
std::string frameName(int number)
{
    const std::string digits = std::to_string(number);
    return "frame-" + std::string(digits.size() < 4 ? 4 - digits.size() : 0, '0') + digits + ".png";
}

} // namespace

ClipWriter::ClipWriter(const OutputFolder& folder, const cv::Size& size, double rate, bool asSequence,
                       const MessageLog& log)
    : mFolder(folder), mRate(rate)
{
    if (asSequence || !openVideo(size, log))
        std::filesystem::create_directory(mFolder.unfinished(kSequenceName));
}

bool ClipWriter::openVideo(const cv::Size& size, const MessageLog& log)
{
    const MessageLog::Capture capture(log, STDERR_FILENO);
    for (const VideoFormat& format : kVideoFormats)
        if (mVideo.open(mFolder.unfinished(kVideoName), cv::CAP_FFMPEG, format.fourcc, mRate, size)) {
            mFormat = format.name;
            return true;
        }
    std::filesystem::remove(mFolder.unfinished(kVideoName)); // an attempt may leave an empty file
    return false;
}

void ClipWriter::add(const cv::Mat& picture)
{
    ++mPictures;
    if (mFormat.empty()) {
        savePicture(picture, mFolder.unfinished(std::string(kSequenceName) + "/" + frameName(mPictures)));
        return;
    }
    mVideo.write(picture);
}

void ClipWriter::finish()
{
    if (mFormat.empty())
        return;
    mVideo.release();
    // The encoder does not tell when it fails, on a full disk for instance: the file itself is asked.
    const cv::VideoCapture written(mFolder.unfinished(kVideoName), cv::CAP_FFMPEG);
    const int readable = written.isOpened() ? static_cast<int>(written.get(cv::CAP_PROP_FRAME_COUNT)) : 0;
    if (readable != mPictures)
        throw std::runtime_error("cannot write '" + (mFolder.path() / kVideoName).string() +
                                 "': " + std::to_string(readable) + " of " + std::to_string(mPictures) +
                                 " pictures arrived in it");
}

std::string ClipWriter::description() const
{
    const std::string count = countText(mPictures, "picture");
    return mFormat.empty() ? count : count + ", " + std::to_string(std::lround(mRate)) + " per second, " + mFormat;
}

} // namespace velmor::demo
