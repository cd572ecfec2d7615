#include "imageio/ImageIo.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
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
    std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (stream.bad())
        throw cannot("load", file, "reading failed");
    if (bytes.empty())
        throw cannot("load", file, "it is empty");
    return bytes;
}

cv::Mat decode(const std::string& file, const std::vector<unsigned char>& bytes, int flags)
{
    cv::Mat picture;
    try {
        picture = cv::imdecode(bytes, flags);
    } catch (const cv::Exception& exception) {
        throw cannot("load", file, exception.err);
    }
    if (picture.empty())
        throw cannot("load", file, "it holds no picture of a known format");
    return picture;
}

std::vector<unsigned char> encode(const std::string& file, const cv::Mat& picture)
{
    const std::string extension = std::filesystem::path(file).extension().string();
    std::vector<unsigned char> bytes;
    try {
        if (!extension.empty() && cv::haveImageWriter(file) && cv::imencode(extension, picture, bytes))
            return bytes;
    } catch (const cv::Exception& exception) {
        throw cannot("save", file, exception.err);
    }
    throw cannot("save", file, "no picture format has the extension '" + extension + "'");
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
    const int flags = layout == Image::GREYSCALE ? cv::IMREAD_GRAYSCALE : cv::IMREAD_COLOR;
    const cv::Mat picture = decode(file, readFile(file), flags);
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
    if (image.width() == 0 || image.height() == 0)
        throw cannot("save", file, "the image has no pixels");
    cv::Mat picture = image.mat();
    if (image.channels() == Image::RGB)
        cv::cvtColor(image.mat(), picture = cv::Mat(), cv::COLOR_RGB2BGR);
    writeFile(file, encode(file, picture));
}

} // namespace velmor::imageio
