#pragma once

#include "native/Export.h"

#include <opencv2/core/mat.hpp>

#include <cstdint>

namespace velmor::native {

/// Sums the values of a picture. For a mask the sum is the number of set pixels.
///
/// Of bytes, which stand for 0..1, each 255 counts 1, and nothing else counts. Of floats the whole part counts: 0.99
/// counts 0 and 2.5 counts 2. What is negative or not a number counts nothing, and what is 2^32 or more counts 2^32 -
/// 1, the largest number that the filter on textures has. The sum is exact for every size of picture.
///
/// As many threads are used as `cv::setNumThreads()` allows.
///
/// Example:
///
///     const std::uint64_t pixels = native::pixelCount(mask);
///
/// @param mask  1 channel of bytes or floats
/// @throws std::invalid_argument  when the mask has another type or is empty
VELMOR_NATIVE_EXPORT std::uint64_t pixelCount(const cv::Mat& mask);

} // namespace velmor::native
