#include "examples/demo/LogicSection.h"

#include "cvprocess/gpuStdShaders/And.h"
#include "cvprocess/gpuStdShaders/Not.h"
#include "cvprocess/gpuStdShaders/Or.h"
#include "cvprocess/gpuStdShaders/Subtract.h"
#include "cvprocess/gpuStdShaders/Xor.h"
#include "examples/demo/Difference.h"
#include "examples/demo/Scene.h"
#include "examples/demo/Showcase.h"
#include "examples/shared/Findings.h"
#include "examples/shared/GpuPictures.h"

namespace velmor::demo {
namespace {

int part(int extent, double share)
{
    return static_cast<int>(extent * share);
}

/// Adds two regions, one left and one right of the middle, apart from each other.
void addTwoRegions(cvprocess::GpuStdShaders& filter, const cv::Size& size)
{
    filter.addROI(part(size.width, 0.08), part(size.height, 0.15), part(size.width, 0.42), part(size.height, 0.65));
    filter.addROI(part(size.width, 0.55), part(size.height, 0.35), part(size.width, 0.92), part(size.height, 0.88));
}

} // namespace

void showLogicFilters(const Scene& scene, Showcase& showcase)
{
    const auto earlier = makeTexture(scene.earlier);
    const auto later = makeTexture(scene.later);
    const auto moving = makeTexture(scene.moving);
    const auto dark = makeTexture(scene.dark);
    const auto result = makeTexture(scene.later.size());

    cvprocess::Subtract subtract;
    subtract.prepareExecution(*earlier, *later, *result);
    showcase.showFilter("Subtract", subtract, *result, movementFound,
                        "What changed between both frames, " + std::to_string(kDifferenceBrightness) + " x brighter",
                        kDifferenceBrightness);
    subtract.prepareExecution(*moving, *dark, *result);
    showcase.showFilter("Subtract, of the masks", subtract, *result, shareFound, "Either moving or dark, but not both");

    cvprocess::And both;
    both.prepareExecution(*moving, *dark, *result);
    showcase.showFilter("And", both, *result, shareFound, "Moving and dark");

    cvprocess::Or either(nullptr);
    either.prepareExecution(*moving, *dark, *result);
    showcase.showFilter("Or", either, *result, shareFound, "Moving, or dark, or both");

    cvprocess::Xor excess;
    excess.prepareExecution(*moving, *dark, *result);
    showcase.showFilter("Xor, of moving and dark", excess, *result, shareFound, "Dark, but not moving");
    excess.prepareExecution(*dark, *moving, *result);
    showcase.showFilter("Xor, of dark and moving", excess, *result, shareFound, "Moving, but not dark");

    cvprocess::Not negative(nullptr);
    negative.prepareExecution(*later, *result);
    showcase.showFilter("Not", negative, *result, brightnessFound, "The negative of the later frame");
    upload(scene.later, *result);
    addTwoRegions(negative, scene.later.size());
    showcase.showFilter("Not, in two regions", negative, *result, brightnessFound,
                        "Outside the regions nothing is touched");
}

} // namespace velmor::demo
