#pragma once

#include "core/cvdata/Image.h"
#include "imageio/ImageIo.h"
#include "tests/endurance/Endurance.h"

#include <opencv2/imgproc.hpp>

#include <vector>

namespace velmor::tests {

constexpr int kFrameWidth = 64, kFrameHeight = 48;

/// A round of frames in three channels, red first: a window that wanders over a photograph, from far to near.
inline std::vector<cv::Mat> frames()
{
    const core::cvdata::Image photograph = imageio::load(VELMOR_TEST_PHOTOGRAPH, core::cvdata::Image::RGB);
    const cv::Mat all = photograph.mat();
    std::vector<cv::Mat> result;
    for (std::size_t k = 0; k < Endurance::kRound; ++k) {
        const double share = 1.0 - 0.015 * static_cast<double>(k);
        const cv::Size size(cvFloor(share * all.cols), cvFloor(share * all.rows));
        const cv::Rect window((all.cols - size.width) / 2, (all.rows - size.height) / 3, size.width, size.height);
        result.emplace_back();
        cv::resize(all(window), result.back(), {kFrameWidth, kFrameHeight}, 0, 0, cv::INTER_AREA);
    }
    return result;
}

inline std::vector<cv::Mat> greyFrames(const std::vector<cv::Mat>& colours)
{
    std::vector<cv::Mat> result(colours.size());
    for (std::size_t k = 0; k < colours.size(); ++k)
        cv::cvtColor(colours[k], result[k], cv::COLOR_RGB2GRAY);
    return result;
}

} // namespace velmor::tests
