#pragma once

#include <opencv2/core.hpp>

#include <cstddef>
#include <vector>

namespace velmor::core::cvdata {
class ColourHist2d;
}

namespace velmor::demo {

/// A bin of a histogram of blue, green and red.
struct ColourShare
{
    double share;      ///< 0..1
    cv::Scalar colour; ///< in the middle of the bin, BGR
};

/// The fullest bins of a histogram, the fullest first; empty ones are left out.
/// @param most  so many at most
std::vector<ColourShare> largestShares(const core::cvdata::ColourHist2d& histogram, std::size_t most);

/// Bars for the fullest bins of a histogram of blue, green and red, each in its own colour.
/// @return  8-bit BGR
cv::Mat histogramPicture(const core::cvdata::ColourHist2d& histogram);

} // namespace velmor::demo
