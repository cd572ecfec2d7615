#pragma once

#include "analysis/Export.h"

#include <opencv2/core/types.hpp>

namespace velmor::core::cvdata {
class Image;
}
namespace cv {
class Mat;
}

namespace velmor::cvprocess {

class MotionSegment;

/// The pixels that move to a frame.
///
/// MotionSegment's output does not tell them from those that moved less than 0.8 ms before. They are counted while the
/// operator has them in a cache: to look for their times in the history afterwards takes a third of its time again.
class VELMOR_ANALYSIS_EXPORT MovingPixels
{
public:
    /// MotionSegment::getMHI(), and what moves.
    static MovingPixels find(MotionSegment& motion, const core::cvdata::Image& input, core::cvdata::Image& output);

    unsigned count() const { return mCount; }

    /// The smallest rectangle around them; empty where nothing moves.
    const cv::Rect& box() const { return mBox; }

    /// Their mean column and row; not numbers where nothing moves.
    cv::Point2d centre() const { return mSums / static_cast<double>(mCount); }

private:
    friend class MotionSegment;

    /// @param moving    rows of a frame: 1 where a pixel moves, else 0
    /// @param firstRow  of them in the frame
    void add(const cv::Mat& moving, int firstRow);

    unsigned mCount = 0;
    cv::Rect mBox;
    cv::Point2d mSums; ///< of columns and of rows
};

} // namespace velmor::cvprocess
