#pragma once

#include "native/Export.h"

#include <opencv2/core/mat.hpp>

namespace velmor::core::cvdata {
class ColourHist2d;
}

namespace velmor::native {

/// Counts the colours of a region into a histogram, and divides the counts by the number of pixels.
///
/// With b bins a channel value v on 0..1 falls into bin `min(floor(v b), b - 1)`. The first three channels of a pixel
/// make its cell: `bin1 + b1 (bin2 + b2 bin3)`, which is where ColourHist2d has bin (bin1, bin2, bin3). Of bytes the
/// bin is exact: `floor(v b / 255)` in whole numbers, and 255 falls into the last one. Of floats v b is rounded once;
/// values below 0 and those that are not numbers fall into bin 0.
///
/// Each pixel of the region is counted once, and all cells are counted. In these two the function differs from the
/// filter on textures, whose blocks may begin a pixel early and which leaves out the last cells.
///
/// As many threads are used as `cv::setNumThreads()` allows, where there are far more pixels than cells. The result is
/// the same with any number of them.
///
/// Example:
///
///     core::cvdata::ColourHist2d histogram(8, 8, 8);
///     native::colorHistShader(frame, cv::Rect(0, 0, frame.cols, frame.rows), histogram);
///
/// @param source          3 or 4 channels of bytes or floats
/// @param region          pixels of the source, at least one
/// @param[out] histogram  says how many bins each channel has; what it held before is replaced
/// @throws std::invalid_argument  when the source has another type or is empty, or the region is empty or reaches
/// beyond
///                                the source; the histogram stays as it was
VELMOR_NATIVE_EXPORT void colorHistShader(const cv::Mat& source, const cv::Rect& region,
                                          core::cvdata::ColourHist2d& histogram);

} // namespace velmor::native
