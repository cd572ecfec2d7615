#pragma once

#include "cvprocess/gpuStdShaders/Subtract.h"
#include "glsupport/RectTexture.h"

#include <opencv2/core.hpp>

#include <memory>

namespace velmor::demo {

/// Most differences are small, and so dark: pictures show them so many times brighter.
constexpr int kDifferenceBrightness = 3;

/// What Subtract sees between two frames.
class Difference
{
public:
    /// @param size  of the frames
    explicit Difference(const cv::Size& size);

    /// The absolute difference of two frames, 8-bit BGR.
    cv::Mat of(const cv::Mat& earlier, const cv::Mat& later);

private:
    std::unique_ptr<glsupport::RectTexture> mEarlier;
    std::unique_ptr<glsupport::RectTexture> mLater;
    std::unique_ptr<glsupport::RectTexture> mResult;
    cvprocess::Subtract mFilter;
};

} // namespace velmor::demo
