#pragma once

#include "core/cvdata/ColorGMM.h"
#include "examples/shared/Pictures.h"

#include <vector>

namespace velmor::examples {

/// What operators work on. It stays in its place while frames, regions and models change.
struct Material
{
    /// @param firstFrame  8-bit BGR; it becomes the second picture too
    explicit Material(const cv::Mat& firstFrame);

    /// Takes a frame of the same size.
    void setFrame(const cv::Mat& newFrame);

    /// Makes the present frame the second picture.
    void keepAsSecond();

    /// Learns the colours of a patch of the present frame, or of a small square in its middle, and for comparison those
    /// of a dark and of a bright part.
    void learn(const cv::Rect& newPatch);
    void learnMiddle();

    cv::Mat frame;  ///< 8-bit BGR
    cv::Mat second; ///< the second picture of operators that take two
    std::shared_ptr<RectTexture> frameTexture;
    std::shared_ptr<RectTexture> secondTexture;
    std::vector<cv::Rect> regions; ///< of interest; none for all of the frame

    cv::Rect patch;
    core::cvdata::ColorGMM chosen; ///< a model of the patch; as the next ones, over red and green
    core::cvdata::ColorGMM dark;
    core::cvdata::ColorGMM bright;
    int timesLearnt = 0; ///< how often the models were new
};

} // namespace velmor::examples
