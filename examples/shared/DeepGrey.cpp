#include "examples/shared/DeepGrey.h"

#include <opencv2/imgproc.hpp>

namespace velmor::demo {

cv::Mat deepGrey(const cv::Mat& frame)
{
    cv::Mat deep;
    frame.convertTo(deep, CV_16U, 257);
    cv::cvtColor(deep, deep, cv::COLOR_BGR2GRAY);
    return deep;
}

} // namespace velmor::demo
