#include "examples/demo/BayerSection.h"

#include "cvprocess/gpuStdShaders/BayerRG2GRAY.h"
#include "cvprocess/gpuStdShaders/BayerRG2RGB.h"
#include "examples/demo/Comparison.h"
#include "examples/demo/Scene.h"
#include "examples/demo/Showcase.h"
#include "examples/shared/Findings.h"
#include "examples/shared/FloatPictures.h"
#include "examples/shared/GpuPictures.h"
#include "examples/shared/Mosaic.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace velmor::demo {
namespace {

constexpr int kDetails = 16; ///< the detail is that much narrower and lower than the frame

/// The small part of a picture where neighbours differ most. It begins on even rows and columns.
cv::Rect busiestPart(const cv::Mat& picture)
{
    const cv::Size size(std::max(1, picture.cols / kDetails), std::max(1, picture.rows / kDetails));
    cv::Mat busy;
    cv::GaussianBlur(picture, busy, {0, 0}, 2);
    cv::absdiff(picture, busy, busy);
    cv::boxFilter(rawOf(busy), busy, CV_32F, size, {0, 0});
    cv::Point corner;
    cv::minMaxLoc(busy(cv::Rect(cv::Point(0, 0), picture.size() - size + cv::Size(1, 1))), nullptr, nullptr, nullptr,
                  &corner);
    return {{corner.x / 2 * 2, corner.y / 2 * 2}, size};
}

} // namespace

void showBayerFilters(const Scene& scene, Showcase& showcase)
{
    const cv::Mat mosaic = mosaicOf(scene.later);
    const cv::Rect detail = busiestPart(scene.later);
    showcase.showPicture("Bayer mosaic, a detail", mosaic(detail), "What a sensor sees: one colour per pixel");

    const auto raw = makeTexture(rawOf(mosaic));
    const auto colours = makeTexture(scene.later.size());
    cvprocess::BayerRG2RGB toColours;
    toColours.prepareExecution(*raw, *colours);
    const auto distance = [&scene](const cv::Mat& result) {
        return distanceFound(result, scene.later, "the frame");
    };
    showcase.showFilter("BayerRG2RGB", toColours, *colours, distance, "All three colours, made from the mosaic");
    showcase.showPicture("BayerRG2RGB, the same detail", download(*colours)(detail),
                         "Missing colours come from the neighbours");

    const auto greys = makeFloatTexture(scene.later.size());
    cvprocess::BayerRG2GRAY toGrey;
    toGrey.prepareExecution(*raw, *greys);
    const auto readGrey = [&greys] {
        const cv::Mat picture = greyPicture(channelOf(downloadFloats(*greys), 0));
        return Showcase::Reading{picture, brightnessFound(picture)};
    };
    showcase.showPass("BayerRG2GRAY", toGrey, readGrey, "The luminance, straight from the mosaic");
}

} // namespace velmor::demo
