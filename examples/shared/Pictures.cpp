#include "examples/shared/Pictures.h"

#include "imageio/ImageIo.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace velmor::examples {
namespace {

double fittingScale(const cv::Size& picture, const cv::Size& box)
{
    return std::min(static_cast<double>(box.width) / picture.width, static_cast<double>(box.height) / picture.height);
}

} // namespace

Image imageView(const cv::Mat& picture)
{
    return Image(static_cast<unsigned>(picture.cols), static_cast<unsigned>(picture.rows),
                 picture.channels() == 1 ? Image::GREYSCALE : Image::BGR, picture.data,
                 static_cast<unsigned>(picture.step));
}

Image rgbImage(const cv::Mat& picture)
{
    Image image(static_cast<unsigned>(picture.cols), static_cast<unsigned>(picture.rows), Image::RGB);
    cv::Mat pixels = image.mat();
    cv::cvtColor(picture, pixels, cv::COLOR_BGR2RGB);
    return image;
}

std::unique_ptr<RectTexture> makeTexture(const cv::Size& size, RectTexture::Format format)
{
    return std::make_unique<RectTexture>(static_cast<unsigned>(size.width), static_cast<unsigned>(size.height), format);
}

std::unique_ptr<RectTexture> makeTexture(const cv::Mat& picture)
{
    auto texture = makeTexture(picture.size());
    upload(picture, *texture);
    return texture;
}

void upload(const cv::Mat& picture, RectTexture& texture)
{
    texture.upload(imageView(picture));
}

cv::Mat download(const RectTexture& texture)
{
    Image image(texture.width(), texture.height(), Image::BGR);
    texture.download(image);
    return image.mat().clone();
}

cv::Mat downloadFloats(const RectTexture& texture)
{
    cv::Mat result(static_cast<int>(texture.height()), static_cast<int>(texture.width()), CV_32FC4);
    texture.download(result.data);
    return result;
}

cv::Mat channelOf(const cv::Mat& floats, int channel)
{
    cv::Mat result;
    cv::extractChannel(floats, result, channel);
    return result;
}

cv::Mat greyPicture(const cv::Mat& values)
{
    cv::Mat result;
    values.convertTo(result, CV_8U, 255);
    cv::cvtColor(result, result, cv::COLOR_GRAY2BGR);
    return result;
}

cv::Mat colourPicture(const cv::Mat& floats)
{
    cv::Mat result;
    cv::cvtColor(floats, result, cv::COLOR_RGBA2BGR);
    result.convertTo(result, CV_8U, 255);
    return result;
}

cv::Size fittedSize(const cv::Size& picture, const cv::Size& box)
{
    const double scale = fittingScale(picture, box);
    const auto scaled = [scale](int extent) {
        return std::max(1, static_cast<int>(std::lround(extent * scale)));
    };
    return {scaled(picture.width), scaled(picture.height)};
}

cv::Mat fitted(const cv::Mat& picture, const cv::Size& box)
{
    cv::Mat result;
    if (picture.channels() == 1)
        cv::cvtColor(picture, result, cv::COLOR_GRAY2BGR);
    else
        result = picture;
    const double scale = fittingScale(picture.size(), box);
    const int enlarging = scale < kVisiblePixels ? cv::INTER_LINEAR : cv::INTER_NEAREST;
    cv::resize(result, result, fittedSize(picture.size(), box), 0, 0, scale < 1 ? cv::INTER_AREA : enlarging);
    return result;
}

void savePicture(const cv::Mat& picture, const std::string& file)
{
    imageio::save(imageView(picture), file);
}

} // namespace velmor::examples
