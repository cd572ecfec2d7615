#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace velmor::demo {

/// How many pixels of two pictures are not the same.
/// @param a, b   8-bit, of one size and layout
/// @param other  what b is
std::string otherPixelsFound(const cv::Mat& a, const cv::Mat& b, const std::string& other);

/// How far two pictures are apart.
/// @param a, b   8-bit BGR, of one size
/// @param other  what b is
std::string distanceFound(const cv::Mat& a, const cv::Mat& b, const std::string& other);

} // namespace velmor::demo
