#pragma once

#include <opencv2/core.hpp>

namespace velmor::demo {

/// The largest size of a picture's proportions that fits into a box; at least 1 x 1.
cv::Size fittedSize(const cv::Size& picture, const cv::Size& box);

/// A picture scaled to fit into a box.
/// @param picture  8-bit, grey or BGR
/// @return         8-bit BGR
cv::Mat fitted(const cv::Mat& picture, const cv::Size& box);

} // namespace velmor::demo
