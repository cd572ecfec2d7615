#include "examples/demo/MixtureSection.h"

#include "cvprocess/gpuStdShaders/BGR2HSV.h"
#include "cvprocess/gpuStdShaders/ColorGMM.h"
#include "examples/demo/Scene.h"
#include "examples/demo/Showcase.h"
#include "examples/shared/Findings.h"
#include "examples/shared/GpuPictures.h"
#include "examples/shared/PatchModel.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace velmor::demo {
namespace {

using glsupport::RectTexture;

/// Shows the pixels of a texture that have the colours of a model.
void showKept(const std::string& title, core::cvdata::ColorGMM& model, RectTexture& source, bool binary,
              const std::string& sentence, Showcase& showcase)
{
    const auto result = makeTexture(cv::Size(static_cast<int>(source.width()), static_cast<int>(source.height())));
    cvprocess::ColorGMM::Param param;
    param.mBinaryOutput = binary;
    cvprocess::ColorGMM filter(&model, &param);
    filter.prepareExecution(source, *result);
    showcase.showFilter(title, filter, *result, shareFound, sentence);
}

} // namespace

void showMixtures(const Scene& scene, Showcase& showcase)
{
    const cv::Rect patch = calmPatches(scene.later)[1];
    cv::Mat marked = scene.later.clone();
    cv::rectangle(marked, patch, {0, 60, 230}, std::max(1, std::max(marked.cols, marked.rows) / 200));
    showcase.showPicture("Learnt patch", marked, "The framed colours are what the models learn");

    const auto frame = makeTexture(scene.later);
    core::cvdata::ColorGMM colours = patchModel(*frame, patch);
    showKept("ColorGMM", colours, *frame, true, "Pixels of such red and green", showcase);
    showKept("ColorGMM, in colour", colours, *frame, false, "The same pixels, in their own colours", showcase);

    const auto hsv = makeTexture(scene.later.size());
    cvprocess::BGR2HSV toHsv;
    toHsv.prepareExecution(*frame, *hsv);
    toHsv.execute();
    core::cvdata::ColorGMM tones = patchModel(*hsv, patch);
    showKept("ColorGMM, behind BGR2HSV", tones, *hsv, true, "Pixels of such value and saturation", showcase);
}

} // namespace velmor::demo
