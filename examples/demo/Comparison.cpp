#include "examples/demo/Comparison.h"

#include "examples/shared/Findings.h"
#include "examples/shared/Masks.h"

namespace velmor::demo {
namespace {

cv::Mat difference(const cv::Mat& a, const cv::Mat& b)
{
    cv::Mat result;
    cv::absdiff(a, b, result);
    return result;
}

} // namespace

std::string otherPixelsFound(const cv::Mat& a, const cv::Mat& b, const std::string& other)
{
    return percentText(shareSet(difference(a, b))) + " of the pixels differ from " + other;
}

std::string distanceFound(const cv::Mat& a, const cv::Mat& b, const std::string& other)
{
    const cv::Scalar mean = cv::mean(difference(a, b));
    return "on average " + decimalText((mean[0] + mean[1] + mean[2]) / 3, 1) + " of 255 levels from " + other;
}

} // namespace velmor::demo
