#include "imageio/ImageIo.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace velmor::imageio {
namespace {

using core::cvdata::Image;

std::runtime_error cannot(const std::string& function, const std::string& file, const std::string& reason)
{
    return std::runtime_error(function + "(): cannot " + function + " '" + file + "': " + reason);
}

std::vector<unsigned char> readFile(const std::string& file)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(file, error);
    if (std::filesystem::is_directory(status))
        throw cannot("load", file, "it is a folder");
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw cannot("load", file, std::strerror(errno));
    std::vector<unsigned char> bytes;
    char part[65536];
    while (stream.read(part, sizeof(part)) || stream.gcount() > 0)
        bytes.insert(bytes.end(), part, part + stream.gcount());
    if (stream.bad())
        throw cannot("load", file, std::strerror(errno));
    if (bytes.empty())
        throw cannot("load", file, "it is empty");
    return bytes;
}

/// Keeps the standard error stream free of what the codecs print there: their failures become exceptions. What other
/// threads print meanwhile is lost too.
class QuietCodecs
{
public:
    QuietCodecs()
    {
        const std::lock_guard<std::mutex> lock(sMutex);
        if (sUsers++ > 0)
            return;
        std::fflush(stderr);
        sErrorStream = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (sErrorStream >= 0 && nowhere >= 0)
            ::dup2(nowhere, STDERR_FILENO);
        ::close(nowhere);
    }
    QuietCodecs(const QuietCodecs&) = delete;
    QuietCodecs& operator=(const QuietCodecs&) = delete;
    ~QuietCodecs()
    {
        const std::lock_guard<std::mutex> lock(sMutex);
        if (--sUsers > 0 || sErrorStream < 0)
            return;
        std::fflush(stderr);
        ::dup2(sErrorStream, STDERR_FILENO);
        ::close(sErrorStream);
    }

private:
    static inline std::mutex sMutex;
    static inline int sUsers = 0;
    static inline int sErrorStream = -1; ///< the stream meanwhile
};

/// Whether a JPEG file ends before its picture does. Its codec would take it and make up the missing rows.
bool isJpegCutShort(const std::vector<unsigned char>& bytes)
{
    const unsigned char start[] = {0xFF, 0xD8, 0xFF};
    const unsigned char end[] = {0xFF, 0xD9};
    if (bytes.size() < sizeof(start) || !std::equal(std::begin(start), std::end(start), bytes.begin()))
        return false;
    // The segments before the first scan are skipped: a thumbnail has an end of its own.
    std::size_t place = 2;
    while (place + 4 <= bytes.size() && bytes[place] == 0xFF && bytes[place + 1] != 0xDA)
        place += 2 + 256u * bytes[place + 2] + bytes[place + 3];
    const auto scans = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(place, bytes.size()));
    return std::search(scans, bytes.end(), std::begin(end), std::end(end)) == bytes.end();
}

/// The picture in a file's bytes; an empty one when they cannot be decoded.
cv::Mat decode(const std::vector<unsigned char>& bytes, int flags)
{
    if (isJpegCutShort(bytes))
        return {};
    try {
        return cv::imdecode(bytes, flags);
    } catch (const cv::Exception&) { // larger than OpenCV's limit
        return {};
    }
}

/// A picture in the format of a file ending; nothing when the format cannot hold it.
std::vector<unsigned char> encode(const std::string& extension, const cv::Mat& picture)
{
    std::vector<unsigned char> bytes;
    try {
        if (cv::imencode(extension, picture, bytes))
            return bytes;
    } catch (const cv::Exception&) { // a size or a number of channels that the format does not have
    }
    return {};
}

void writeFile(const std::string& file, const std::vector<unsigned char>& bytes)
{
    const std::string unfinished = file + ".part";
    errno = 0;
    std::ofstream stream(unfinished, std::ios::binary);
    if (!stream)
        throw cannot("save", file, std::strerror(errno));
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    std::error_code error;
    if (stream)
        std::filesystem::rename(unfinished, file, error);
    if (!stream || error) {
        const std::string reason = error ? error.message() : std::strerror(errno);
        std::filesystem::remove(unfinished, error);
        throw cannot("save", file, reason);
    }
}

} // namespace

Image load(const std::string& file, Image::ChannelLayout layout)
{
    const QuietCodecs quiet;
    const int flags = layout == Image::GREYSCALE ? cv::IMREAD_GRAYSCALE : cv::IMREAD_COLOR;
    const cv::Mat picture = decode(readFile(file), flags);
    if (picture.empty())
        throw cannot("load", file,
                     cv::haveImageReader(file) ? "its picture is damaged, cut short or too large"
                                               : "it holds no picture of a known format");
    Image image(static_cast<unsigned>(picture.cols), static_cast<unsigned>(picture.rows), layout);
    cv::Mat pixels = image.mat();
    if (layout == Image::RGB)
        cv::cvtColor(picture, pixels, cv::COLOR_BGR2RGB);
    else
        picture.copyTo(pixels);
    return image;
}

void save(const Image& image, const std::string& file)
{
    const QuietCodecs quiet;
    if (image.width() == 0 || image.height() == 0)
        throw cannot("save", file, "the image has no pixels");
    const std::string extension = std::filesystem::path(file).extension().string();
    if (extension.empty() || !cv::haveImageWriter(file))
        throw cannot("save", file, "no picture format has the extension '" + extension + "'");
    cv::Mat picture = image.mat();
    if (image.channels() == Image::RGB)
        cv::cvtColor(image.mat(), picture = cv::Mat(), cv::COLOR_RGB2BGR);
    const std::vector<unsigned char> bytes = encode(extension, picture);
    if (bytes.empty())
        throw cannot("save", file,
                     "the format cannot hold " + std::to_string(image.width()) + " x " +
                         std::to_string(image.height()) + " pixels of " + std::to_string(image.nofChannels()) +
                         " channels");
    writeFile(file, bytes);
}

} // namespace velmor::imageio
