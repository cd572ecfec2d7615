#pragma once

#include "core/cvdata/Image.h"

#include <opencv2/core.hpp>

namespace velmor::demo {

/// A copy whose first two channels are red and green, those that a colour model is about here.
/// @param picture  8-bit BGR
core::cvdata::Image rgbImage(const cv::Mat& picture);

} // namespace velmor::demo
