#include "imageio/ImageIo.h"

#include "core/util/internal/OutOfMemory.h"
#include "core/util/internal/WholeFile.h"
#include "imageio/internal/PictureHeader.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <vector>

namespace velmor::imageio {

using core::cvdata::Image;
using core::util::fileError;

namespace {

const char* const kLoad = "load(): cannot load";
const char* const kSave = "save(): cannot save";
constexpr std::size_t kMaxFileSize = 2147483647; ///< what decoders count in an int

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
        return core::util::orBadAlloc([&] { return cv::imdecode(bytes, flags); });
    } catch (const cv::Exception&) { // larger than OpenCV's limit
        return {};
    }
}

/// A picture in the format of a file ending; nothing when the format cannot hold it.
std::vector<unsigned char> encode(const std::string& extension, const cv::Mat& picture)
{
    std::vector<unsigned char> bytes;
    try {
        if (core::util::orBadAlloc([&] { return cv::imencode(extension, picture, bytes); }))
            return bytes;
    } catch (const cv::Exception&) { // a size or a number of channels that the format does not have
    }
    return {};
}

} // namespace

Image load(const std::string& file, Image::ChannelLayout layout)
{
    const int flags = layout == Image::GREYSCALE ? cv::IMREAD_GRAYSCALE : cv::IMREAD_COLOR;
    const std::vector<unsigned char> bytes = core::util::readWholeFile(kLoad, file, kMaxFileSize);
    const std::string reason = reasonAgainstDecoding(bytes);
    if (!reason.empty())
        throw fileError(kLoad, file, reason);
    const cv::Mat picture = decode(bytes, flags);
    if (picture.empty())
        throw fileError(kLoad, file, kDamaged);
    Image image(static_cast<unsigned>(picture.cols), static_cast<unsigned>(picture.rows), layout);
    cv::Mat pixels = image.mat();
    core::util::orBadAlloc([&] {
        if (layout == Image::RGB)
            cv::cvtColor(picture, pixels, cv::COLOR_BGR2RGB);
        else
            picture.copyTo(pixels);
    });
    return image;
}

void save(const Image& image, const std::string& file)
{
    if (image.width() == 0 || image.height() == 0)
        throw fileError(kSave, file, "the image has no pixels");
    const std::string extension = std::filesystem::path(file).extension().string();
    if (extension.empty() || !cv::haveImageWriter(file))
        throw fileError(kSave, file, "no picture format has the extension '" + extension + "'");
    cv::Mat picture = image.mat();
    if (image.channels() == Image::RGB)
        core::util::orBadAlloc([&] { cv::cvtColor(image.mat(), picture = cv::Mat(), cv::COLOR_RGB2BGR); });
    const std::vector<unsigned char> bytes = encode(extension, picture);
    if (bytes.empty())
        throw fileError(kSave, file,
                        "the format cannot hold " + std::to_string(image.width()) + " x " +
                            std::to_string(image.height()) + " pixels of " + std::to_string(image.nofChannels()) +
                            " channels");
    core::util::writeWholeFile(kSave, file, bytes);
}

} // namespace velmor::imageio
