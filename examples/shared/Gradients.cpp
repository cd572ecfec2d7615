#include "examples/shared/Gradients.h"

#include "examples/shared/FloatPictures.h"

#include <vector>

namespace velmor::demo {
namespace {

constexpr float kMostGradient = 4; ///< of a direction

} // namespace

cv::Mat strengthAndDirection(const cv::Mat& gradients)
{
    const cv::Mat across = channelOf(gradients, UPRIGHT) / kMostGradient;
    const cv::Mat down = channelOf(gradients, LEVEL) / kMostGradient;
    const cv::Mat strength = channelOf(gradients, STRENGTH) / kMostGradient;
    cv::Mat result;
    cv::merge(std::vector<cv::Mat>{strength, (across + 1) / 2, (down + 1) / 2, cv::Mat::ones(across.size(), CV_32F)},
              result);
    return result;
}

} // namespace velmor::demo
