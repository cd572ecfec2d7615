#include "examples/shared/Findings.h"

#include "examples/shared/Masks.h"

#include <cmath>
#include <iomanip>
#include <sstream>

namespace velmor::demo {

std::string sizeText(const cv::Size& size)
{
    return std::to_string(size.width) + " x " + std::to_string(size.height);
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

std::string pointText(const cv::Point& point)
{
    return "(" + std::to_string(point.x) + ", " + std::to_string(point.y) + ")";
}

std::string shareFound(const cv::Mat& mask)
{
    return percentText(shareSet(mask)) + " of the pixels are set";
}

std::string movementFound(const cv::Mat& difference)
{
    const cv::Mat mask = movingPixels(difference);
    const cv::Rect bounds = boundsOfSet(mask);
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

} // namespace velmor::demo
