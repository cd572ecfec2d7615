#pragma once

#include <opencv2/core/mat.hpp>

namespace velmor::native {

/// Divides bytes by 255.
/// @param floats  of the size and channels of the bytes; without their memory
void bytesToFloats(const cv::Mat& bytes, cv::Mat& floats);

/// Limits floats to 0..1, multiplies them by 255 and rounds half up; what is not a number becomes 0.
/// @param bytes  of the size and channels of the floats; without their memory
void floatsToBytes(const cv::Mat& floats, cv::Mat& bytes);

} // namespace velmor::native
