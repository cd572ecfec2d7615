#pragma once

#include "core/cvdata/Image.h"
#include "cvprocess/MotionSegment.h"

#include <opencv2/core.hpp>

#include <optional>

namespace velmor::demo {

/// What moved of late in a run of frames, as MotionSegment sees it.
class MotionHistory
{
public:
    /// @param size  of the frames
    explicit MotionHistory(const cv::Size& size);

    /// Takes the next frame, 8-bit BGR.
    void add(const cv::Mat& frame);

    /// The history: 8-bit grey, 255 where a pixel moved just now.
    const cv::Mat& picture() const { return mPicture; }

    /// The centre of mass of the picture; none when it is black.
    std::optional<cv::Point2d> centre();

private:
    cvprocess::MotionSegment mSegment;
    cv::Mat mPicture;
    bool mIsFirst = true;
};

} // namespace velmor::demo
