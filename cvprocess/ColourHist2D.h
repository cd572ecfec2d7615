#pragma once

#include "analysis/Export.h"
#include "cvprocess/CvtColour.h"

namespace velmor::core::cvdata {
class ColourHist2d;
class Image;
} // namespace velmor::core::cvdata

namespace velmor::cvprocess {

/// Fills a histogram with the colours of a region of an image, as shares that sum to 1.
///
/// In a histogram of b1 x b2 x b3 bins, a pixel with the bytes B0, B1, B2 falls into the bin (floor(B0 b1 / 256),
/// floor(B1 b2 / 256), floor(B2 b3 / 256)). In the end each bin is the number of its pixels times
/// `1.0 / number of all counted pixels`.
///
/// Pixels that carry no colour are not counted. With the format HSV these are the pixels whose third byte is 0, with
/// any other format those with a 0 among their three bytes. A mask excludes more.
///
/// Input: an image of three channels, and optionally a mask, GREYSCALE and of the same size, which selects the pixels
/// where its byte is not 0. Output: a histogram whose numbers of bins are set.
///
/// Border rule: both ends of the region are clamped to the last column and the last row, and the end is exclusive. So
/// by design the last column and the last row of an image are never counted, whatever the region. The region may lie
/// outside, be empty, or have an end that exceeds the range of an unsigned int: then the histogram is all zeros, or
/// counts what is inside.
///
/// Cost, on one thread of the machine of the performance page: 0.3 ns a pixel with up to 16 bins for each channel, 0.4
/// ns with 32. What a mask excludes in one piece takes almost nothing. No memory is allocated; up to 132 KiB of the
/// stack are used.
///
/// Limits: a derived histogram's reset() has to leave zeros, or the shares are nonsense. Misuse stops on an assertion.
///
/// Example:
///
///     core::cvdata::ColourHist2d histogram(16, 16, 8);
///     ColourHist2D::computeHistogram(frame, histogram, 100, 80, 64, 64, CvtColour::RGB, nullptr);
class VELMOR_ANALYSIS_EXPORT ColourHist2D
{
public:
    /// Replaces the content of a histogram by the colours of a region.
    /// @param inImage         three channels
    /// @param[out] histogram  its numbers of bins stay
    /// @param x, y            first column and row of the region
    /// @param width, height   size of the region in pixels
    /// @param format          what the bytes of a pixel are; only HSV is treated in its own way
    /// @param maskImage       GREYSCALE, of the size of inImage; null for no mask
    static void computeHistogram(const core::cvdata::Image& inImage, core::cvdata::ColourHist2d& histogram,
                                 unsigned int x, unsigned int y, unsigned int width, unsigned int height,
                                 CvtColour::ColourFormat format, core::cvdata::Image* maskImage);
};

} // namespace velmor::cvprocess
