#pragma once

#include <opencv2/core/mat.hpp>

namespace velmor::native {

/// Whether two pictures share bytes. Parts of one picture that lie side by side do not.
bool overlap(const cv::Mat& a, const cv::Mat& b);

/// Whether two pictures are the same pixels: the memory of one is the memory of the other, pixel by pixel.
bool coincide(const cv::Mat& a, const cv::Mat& b);

/// Bytes of the last cache that the processor has.
std::size_t lastCacheSize();

} // namespace velmor::native
