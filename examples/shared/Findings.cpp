#include "examples/shared/Findings.h"

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <iomanip>
#include <sstream>

namespace velmor::examples {
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

std::string shareFound(const cv::Mat& mask)
{
    return percentText(shareSet(mask)) + " of the pixels are set";
}

std::string movementFound(const cv::Mat& difference)
{
    const cv::Mat mask = movingPixels(difference);
    const cv::Rect bounds = cv::boundingRect(mask);
    if (bounds.empty())
        return "nothing moves";
    return percentText(shareSet(mask)) + " of the pixels move, from " + pointText(bounds.tl()) + " to " +
           pointText(bounds.br() - cv::Point(1, 1));
}

std::string brightnessFound(const cv::Mat& picture)
{
    const cv::Scalar mean = cv::mean(picture);
    return "average brightness " + std::to_string(std::lround((mean[0] + mean[1] + mean[2]) / 3)) + " of 255";
}

std::string sizeText(const cv::Size& size)
{
    return std::to_string(size.width) + " x " + std::to_string(size.height);
}

std::string pointText(const cv::Point& point)
{
    return "(" + std::to_string(point.x) + ", " + std::to_string(point.y) + ")";
}

std::string countText(int count, const std::string& noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string decimalText(double number, int digits)
{
    std::ostringstream stream;
    stream << std::fixed << std::setprecision(digits) << number;
    return stream.str();
}

std::string percentText(double share)
{
    return decimalText(100 * share, 1) + " %";
}

} // namespace velmor::examples
