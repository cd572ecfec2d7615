#pragma once

#include <opencv2/core.hpp>

namespace velmor::demo {

/// What a sensor sees through red and green filters on even rows, green and blue ones on odd rows, each pixel in the
/// colour of its filter.
/// @param frame  8-bit BGR
cv::Mat mosaicOf(const cv::Mat& frame);

/// The one value of each pixel of a mosaic.
cv::Mat rawOf(const cv::Mat& mosaic);

} // namespace velmor::demo
