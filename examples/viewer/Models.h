#pragma once

#include "core/cvdata/ColorGMM.h"

#include <opencv2/core.hpp>

namespace velmor::glsupport {
class RectTexture;
}

namespace velmor::viewer {

/// Models of the colours of a patch, and for comparison of a dark and of a bright part of the same frame. All are over
/// red and green.
struct Models
{
    cv::Rect patch;
    core::cvdata::ColorGMM chosen; ///< of the patch
    core::cvdata::ColorGMM dark;
    core::cvdata::ColorGMM bright;

    /// Learns all three.
    /// @param frame    8-bit BGR
    /// @param texture  holds the frame
    void learn(const cv::Mat& frame, const glsupport::RectTexture& texture, const cv::Rect& newPatch);
};

/// A small square in the middle of a frame.
cv::Rect middlePatch(const cv::Size& frame);

} // namespace velmor::viewer
