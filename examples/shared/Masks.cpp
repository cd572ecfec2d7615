#include "examples/shared/Masks.h"

#include <opencv2/imgproc.hpp>

namespace velmor::demo {
namespace {

constexpr double kNoise = 40; ///< of a camera and a video codec, with room; of 255

/// Largest channel of each pixel.
cv::Mat largestChannel(const cv::Mat& picture)
{
    if (picture.channels() == 1)
        return picture;
    cv::Mat channels[3];
    cv::split(picture, channels);
    cv::Mat largest;
    cv::max(channels[0], channels[1], largest);
    cv::max(largest, channels[2], largest);
    return largest;
}

} // namespace

cv::Mat movingPixels(const cv::Mat& difference)
{
    cv::Mat mask;
    cv::threshold(largestChannel(difference), mask, kNoise, 255, cv::THRESH_BINARY);
    cv::morphologyEx(mask, mask, cv::MORPH_OPEN, cv::getStructuringElement(cv::MORPH_RECT, {3, 3}));
    return mask;
}

cv::Mat darkPixels(const cv::Mat& frame)
{
    cv::Mat grey;
    cv::cvtColor(frame, grey, cv::COLOR_BGR2GRAY);
    cv::Mat mask;
    cv::threshold(grey, mask, cv::mean(grey)[0] / 3, 255, cv::THRESH_BINARY_INV);
    return mask;
}

double shareSet(const cv::Mat& mask)
{
    return cv::countNonZero(largestChannel(mask)) / static_cast<double>(mask.total());
}

cv::Rect boundsOfSet(const cv::Mat& mask)
{
    return cv::boundingRect(largestChannel(mask));
}

} // namespace velmor::demo
