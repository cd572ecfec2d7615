#pragma once

#include <opencv2/core.hpp>

namespace velmor::demo {

/// Pixels that changed for sure: a channel of the difference is above the noise of a camera, and neighbours too.
/// @param difference  8-bit BGR, absolute difference of two frames
/// @return            8-bit grey, 0 or 255
cv::Mat movingPixels(const cv::Mat& difference);

/// Pixels that are no brighter than a third of the average of the frame.
/// @param frame  8-bit BGR
/// @return       8-bit grey, 0 or 255
cv::Mat darkPixels(const cv::Mat& frame);

/// Share of the pixels of a mask that are set, 0..1.
/// @param mask  8-bit, grey or BGR; a pixel is set where any channel is
double shareSet(const cv::Mat& mask);

/// The smallest rectangle around all set pixels of a mask; empty when none is set.
cv::Rect boundsOfSet(const cv::Mat& mask);

} // namespace velmor::demo
