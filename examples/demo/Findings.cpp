#include "examples/demo/Findings.h"

#include "examples/demo/Masks.h"
#include "examples/demo/Summary.h"

#include <cmath>

namespace velmor::demo {

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
