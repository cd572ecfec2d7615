#pragma once

#include <opencv2/core.hpp>

namespace velmor::demo {

/// What GRAY2Sobel finds, in its three channels.
enum Gradient
{
    LEVEL,   ///< edges between above and below
    UPRIGHT, ///< edges between left and right
    STRENGTH
};

/// What NonMaxSupression takes: the strength, and the direction across the edge, scaled into 0..1.
/// @param gradients  what GRAY2Sobel finds, CV_32FC4
/// @return           CV_32FC4
cv::Mat strengthAndDirection(const cv::Mat& gradients);

} // namespace velmor::demo
