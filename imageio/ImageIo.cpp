#include "imageio/ImageIo.h"

#include "core/util/WholeFile.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <filesystem>
#include <vector>

namespace velmor::imageio {
namespace {

using core::cvdata::Image;
using core::util::fileError;

const char* const kLoad = "load(): cannot load";
const char* const kSave = "save(): cannot save";

cv::Mat decode(const std::string& file, const std::vector<unsigned char>& bytes, int flags)
{
    cv::Mat picture;
    try {
        picture = cv::imdecode(bytes, flags);
    } catch (const cv::Exception& exception) {
        throw fileError(kLoad, file, exception.err);
    }
    if (picture.empty())
        throw fileError(kLoad, file, "it holds no picture of a known format");
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
        throw fileError(kSave, file, exception.err);
    }
    throw fileError(kSave, file, "no picture format has the extension '" + extension + "'");
}

} // namespace

Image load(const std::string& file, Image::ChannelLayout layout)
{
    const int flags = layout == Image::GREYSCALE ? cv::IMREAD_GRAYSCALE : cv::IMREAD_COLOR;
    const cv::Mat picture = decode(file, core::util::readWholeFile(kLoad, file), flags);
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
        throw fileError(kSave, file, "the image has no pixels");
    cv::Mat picture = image.mat();
    if (image.channels() == Image::RGB)
        cv::cvtColor(image.mat(), picture = cv::Mat(), cv::COLOR_RGB2BGR);
    core::util::writeWholeFile(kSave, file, encode(file, picture));
}

} // namespace velmor::imageio
