#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace velmor::demo {

/// "768 x 576"
std::string sizeText(const cv::Size& size);

/// "1 frame", "2 frames"
std::string countText(int count, const std::string& noun);

/// A number with so many digits behind the point
std::string decimalText(double number, int digits);

/// A share of 0..1 as "3.4 %"
std::string percentText(double share);

/// "(12, 34)", rounded
std::string pointText(const cv::Point& point);

/// How much of a mask is set.
std::string shareFound(const cv::Mat& mask);

/// How much moves in a difference of two frames, and where.
std::string movementFound(const cv::Mat& difference);

/// How bright a picture is.
std::string brightnessFound(const cv::Mat& picture);

} // namespace velmor::demo
