#pragma once

#include <opencv2/core.hpp>

namespace velmor::demo {

/// The luminance of a frame in 0..65535.
/// @param frame  8-bit BGR
/// @return       CV_16U
cv::Mat deepGrey(const cv::Mat& frame);

} // namespace velmor::demo
