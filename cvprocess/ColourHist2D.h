#pragma once

#include "cvprocess/CvtColour.h"
#include "analysis/Export.h"

namespace velmor::core::cvdata {
class ColourHist2d;
class Image;
} // namespace velmor::core::cvdata

namespace velmor::cvprocess {

/// Fills a histogram with the colours of a region of an image, as shares that sum to 1.
///
/// A pixel with the bytes B0, B1, B2 falls into the bin (floor(B0 b1 / 256), floor(B1 b2 / 256), floor(B2 b3 / 256)) of
/// a histogram of b1 x b2 x b3 bins. Each bin is the number of its pixels times `1.0 / number of all counted pixels`.
///
/// Pixels that carry no colour information are not counted: with the format HSV those whose third byte is 0, with any
/// other format those with a 0 among their three bytes. A mask excludes more.
///
/// Input: an image of three channels; optionally a mask, GREYSCALE and of the same size, that selects pixels by bytes
/// that are not 0. Output: a histogram whose numbers of bins are set.
///
/// Border rule: both ends of the region are clamped to the last column and the last row, and the end is exclusive. So
/// the last column and the last row of an image are never counted, whatever the region; this is meant. A region that
/// lies outside, or is empty, or whose end exceeds the range of an unsigned int, leaves a histogram of zeros or counts
/// what is inside.
///
/// Limits: no memory is allocated. The reset() of a derived histogram has to leave zeros, or the shares are nonsense.
/// Misuse stops on an assertion.
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
