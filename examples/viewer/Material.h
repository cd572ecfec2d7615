#pragma once

#include "examples/viewer/Models.h"
#include "glsupport/RectTexture.h"

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace velmor::viewer {

/// What operators work on. It stays in its place while frames, regions and models change.
struct Material
{
    /// @param firstFrame  8-bit BGR; it becomes the second picture too
    explicit Material(const cv::Mat& firstFrame);

    /// Takes a frame of the same size.
    void setFrame(const cv::Mat& newFrame);

    /// Makes the present frame the second picture.
    void keepAsSecond();

    /// Learns the models of a patch of the present frame.
    void learn(const cv::Rect& patch);

    cv::Mat frame;  ///< 8-bit BGR
    cv::Mat second; ///< the second picture of operators that take two
    std::unique_ptr<glsupport::RectTexture> frameTexture;
    std::unique_ptr<glsupport::RectTexture> secondTexture;
    Models models;
    std::vector<cv::Rect> regions; ///< of interest; none for all of the frame
};

} // namespace velmor::viewer
