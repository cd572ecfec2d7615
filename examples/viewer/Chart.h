#pragma once

#include <opencv2/core.hpp>

namespace velmor::core::cvdata {
class ColourHist2d;
}

namespace velmor::viewer {

/// A copy of a frame with bars for the fullest bins of a histogram in its upper right corner.
/// @param frame      8-bit BGR
/// @param histogram  of blue, green and red
cv::Mat withChart(const cv::Mat& frame, const core::cvdata::ColourHist2d& histogram);

} // namespace velmor::viewer
