#include "examples/shared/FrameSource.h"

#include "examples/shared/ImageSource.h"
#include "examples/shared/MessageLog.h"
#include "examples/shared/VideoSource.h"

#include <opencv2/imgcodecs.hpp>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace velmor::demo {
namespace {

namespace fs = std::filesystem;

bool isNumber(const std::string& text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool isPicture(const std::string& file, const MessageLog& log)
{
    const MessageLog::Capture capture(log, STDERR_FILENO);
    return cv::haveImageReader(file);
}

} // namespace

FrameSource::~FrameSource() = default;

std::unique_ptr<FrameSource> FrameSource::open(const std::string& input, const MessageLog& log)
{
    const std::string path = isNumber(input) ? "/dev/video" + input : input;
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (error)
        throw cannotRead(path, error.message());
    if (fs::is_directory(status))
        throw cannotRead(path, "it is a folder");
    if (!fs::is_regular_file(status) && !fs::is_character_file(status))
        throw cannotRead(path, "it is neither a file nor a camera");
    if (access(path.c_str(), R_OK) != 0)
        throw cannotRead(path, std::strerror(errno));
    if (fs::is_character_file(status))
        return std::make_unique<VideoSource>(path, VideoSource::CAMERA, log);
    if (fs::file_size(path) == 0)
        throw cannotRead(path, "it is empty");
    if (isPicture(path, log))
        return std::make_unique<ImageSource>(path, log);
    return std::make_unique<VideoSource>(path, VideoSource::FILE, log);
}

std::runtime_error FrameSource::cannotRead(const std::string& input, const std::string& reason)
{
    return std::runtime_error("cannot read '" + input + "': " + reason);
}

} // namespace velmor::demo
