#include "examples/demo/ViewSection.h"

#include "cvprocess/gpuStdShaders/Classify.h"
#include "cvprocess/gpuStdShaders/DebugUInt2Float.h"
#include "cvprocess/gpuStdShaders/FlipV.h"
#include "examples/demo/Comparison.h"
#include "examples/demo/Difference.h"
#include "examples/demo/Scene.h"
#include "examples/demo/Showcase.h"
#include "examples/shared/DeepGrey.h"
#include "examples/shared/Findings.h"
#include "examples/shared/FloatPictures.h"
#include "examples/shared/GpuPictures.h"

#include <string>

namespace velmor::demo {
namespace {

using glsupport::RectTexture;

void showBrighter(const Scene& scene, Showcase& showcase)
{
    const auto earlier = makeTexture(scene.earlier);
    const auto later = makeTexture(scene.later);
    const auto result = makeTexture(scene.later.size());
    const std::string brightness = ", " + std::to_string(kDifferenceBrightness) + " x brighter";
    cvprocess::Classify classify;
    classify.prepareExecution(*earlier, *later, *result);
    showcase.showFilter("Classify", classify, *result, shareFound, "Where no colour lost, its gain" + brightness,
                        kDifferenceBrightness);
    classify.prepareExecution(*later, *earlier, *result);
    showcase.showFilter("Classify, backwards", classify, *result, shareFound,
                        "Where no colour gained, its loss" + brightness, kDifferenceBrightness);
}

void showFlip(const cv::Mat& frame, Showcase& showcase)
{
    const auto source = makeTexture(frame);
    const auto result = makeTexture(frame.size());
    cvprocess::FlipV flip;
    flip.prepareExecution(*source, *result);
    const auto found = [&frame](const cv::Mat& picture) {
        cv::Mat upsideDown;
        cv::flip(picture, upsideDown, 0);
        return otherPixelsFound(upsideDown, frame, "the frame when flipped back");
    };
    showcase.showFilter("FlipV", flip, *result, found, "The frame upside down");
}

void showIntegers(const cv::Mat& frame, Showcase& showcase)
{
    RectTexture source(static_cast<unsigned>(frame.cols), static_cast<unsigned>(frame.rows), RectTexture::R16UI);
    source.upload(deepGrey(frame).data);
    const auto result = makeFloatTexture(frame.size());
    cvprocess::DebugUInt2Float view;
    view.prepareExecution(source, *result);
    const auto read = [&result] {
        const cv::Mat values = channelOf(downloadFloats(*result), 0);
        return Showcase::Reading{greyPicture(values), "average " + decimalText(cv::mean(values)[0], 3) + " of 1"};
    };
    showcase.showPass("DebugUInt2Float", view, read, "16-bit integers: white is 65535");
}

} // namespace

void showViews(const Scene& scene, Showcase& showcase)
{
    showBrighter(scene, showcase);
    showFlip(scene.later, showcase);
    showIntegers(scene.later, showcase);
}

} // namespace velmor::demo
