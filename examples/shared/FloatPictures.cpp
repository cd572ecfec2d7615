#include "examples/shared/FloatPictures.h"

#include <opencv2/imgproc.hpp>

namespace velmor::demo {

using glsupport::RectTexture;

std::unique_ptr<RectTexture> makeFloatTexture(const cv::Size& size)
{
    return std::make_unique<RectTexture>(static_cast<unsigned>(size.width), static_cast<unsigned>(size.height),
                                         RectTexture::RGBA32F);
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

} // namespace velmor::demo
