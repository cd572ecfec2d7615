#include "examples/demo/ColourFilterSection.h"

#include "cvprocess/gpuStdShaders/BGR2GRAY.h"
#include "cvprocess/gpuStdShaders/BGR2HSV.h"
#include "cvprocess/gpuStdShaders/RGB2GRAY.h"
#include "cvprocess/gpuStdShaders/RGB2HSV.h"
#include "examples/demo/Comparison.h"
#include "examples/demo/Scene.h"
#include "examples/demo/Showcase.h"
#include "examples/shared/Findings.h"
#include "examples/shared/GpuPictures.h"

namespace velmor::demo {
namespace {

std::string saturationFound(const cv::Mat& hsv)
{
    constexpr int kSaturation = 1; // in green
    return "average saturation " + percentText(cv::mean(hsv)[kSaturation] / 255);
}

} // namespace

void showColourFilters(const Scene& scene, Showcase& showcase)
{
    const auto frame = makeTexture(scene.later);
    const auto result = makeTexture(scene.later.size());
    const auto comparedWith = [](const cv::Mat& other, const std::string& name) {
        return [other, name](const cv::Mat& picture) {
            return otherPixelsFound(picture, other, name);
        };
    };

    cvprocess::BGR2GRAY grey;
    grey.prepareExecution(*frame, *result);
    showcase.showFilter("BGR2GRAY", grey, *result, brightnessFound, "The luminance of every pixel");
    cvprocess::RGB2GRAY greyAgain;
    const auto greyBefore = comparedWith(download(*result), "those of BGR2GRAY");
    greyAgain.prepareExecution(*frame, *result);
    showcase.showFilter("RGB2GRAY", greyAgain, *result, greyBefore, "The same luminance, under another name");

    cvprocess::BGR2HSV hsv;
    hsv.prepareExecution(*frame, *result);
    showcase.showFilter("BGR2HSV", hsv, *result, saturationFound, "Red is value, green saturation, blue hue");
    cvprocess::RGB2HSV exchanged;
    const auto hsvBefore = comparedWith(download(*result), "those of BGR2HSV");
    exchanged.prepareExecution(*frame, *result);
    showcase.showFilter("RGB2HSV", exchanged, *result, hsvBefore, "Red and blue exchanged first: other hues");
}

} // namespace velmor::demo
