#pragma once

#include <opencv2/core.hpp>

#include <cstddef>

namespace velmor::demo {

constexpr std::size_t kClasses = 3;

/// Colours of the classes of pixels, BGR.
extern const cv::Vec3b kClassColours[kClasses];

/// Each class in its colour.
/// @param classes  CV_32F, numbers of classes
/// @return         8-bit BGR
cv::Mat classPicture(const cv::Mat& classes);

} // namespace velmor::demo
