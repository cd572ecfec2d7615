#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace velmor::demo {

/// "(12, 34)", rounded
std::string pointText(const cv::Point& point);

/// How much of a mask is set.
std::string shareFound(const cv::Mat& mask);

/// How much moves in a difference of two frames, and where.
std::string movementFound(const cv::Mat& difference);

/// How bright a picture is.
std::string brightnessFound(const cv::Mat& picture);

} // namespace velmor::demo
