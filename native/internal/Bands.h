#pragma once

#include <opencv2/core/types.hpp>

#include <functional>

namespace velmor::native {

/// Calls a function with the first row and the row after the last one of each band of a picture, on the threads that
/// OpenCV has.
void forEachBand(cv::Size size, const std::function<void(int first, int last)>& function);

} // namespace velmor::native
