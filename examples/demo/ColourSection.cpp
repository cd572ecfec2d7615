#include "examples/demo/ColourSection.h"

#include "core/cvdata/Blobs.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/Image.h"
#include "cvprocess/ColourDetector.h"
#include "cvprocess/Moments.h"
#include "examples/demo/ColourPatch.h"
#include "examples/demo/Interruption.h"
#include "examples/demo/MedianTime.h"
#include "examples/demo/Scene.h"
#include "examples/demo/Showcase.h"
#include "examples/shared/BlobMarks.h"
#include "examples/shared/Findings.h"
#include "examples/shared/ImageView.h"
#include "examples/shared/Marks.h"
#include "examples/shared/RgbImage.h"

#include <algorithm>
#include <cmath>

namespace velmor::demo {
namespace {

using core::cvdata::Blobs;
using core::cvdata::ColorGMM;
using core::cvdata::Image;
using cvprocess::ColourDetector;

constexpr int kComponents = 3;
constexpr int kBlobShare = 4000; ///< the smallest blob shown is that part of the picture
constexpr std::size_t kLabelled = 5;

ColorGMM trainedModel(const cv::Mat& patch)
{
    ColorGMM model;
    model.train(rgbImage(patch), nullptr, std::min(kComponents, static_cast<int>(patch.total())));
    return model;
}

void showPatch(const cv::Mat& frame, const cv::Rect& patch, Showcase& showcase)
{
    cv::Mat picture = frame.clone();
    Marks(picture).rectangle(patch);
    const cv::Scalar mean = cv::mean(frame(patch));
    showcase.showPicture("Colour patch", picture,
                         "On average red is " + std::to_string(std::lround(mean[2])) + " and green " +
                             std::to_string(std::lround(mean[1])));
}

/// Shows the mask of a model's colour.
cv::Mat showMask(const std::string& title, ColourDetector& detector, const Image& frame, const std::string& sentence,
                 Showcase& showcase)
{
    Interruption::throwIfRequested();
    cv::Mat mask(frame.mat().size(), CV_8U);
    Image output = imageView(mask);
    const double milliseconds = medianMilliseconds([&] { detector.preProcess(frame, output); });
    showcase.showResult(title, mask, milliseconds, shareFound(mask), sentence);
    return mask;
}

std::string blobsFound(const std::vector<Blobs::BlobInfo>& largestFirst)
{
    if (largestFirst.empty())
        return "no blobs";
    const Blobs::BlobInfo& largest = largestFirst.front();
    return countText(static_cast<int>(largestFirst.size()), "blob") + ", the largest of " +
           std::to_string(largest.area) + " pixels at " + pointText({cvRound(largest.x), cvRound(largest.y)}) + ", " +
           std::to_string(std::lround(largest.angle)) + " degrees";
}

void showBlobs(const cv::Mat& frame, const cv::Mat& mask, Showcase& showcase)
{
    Interruption::throwIfRequested();
    cvprocess::Moments moments;
    Blobs found;
    const double leastArea = static_cast<double>(mask.total()) / kBlobShare;
    const double milliseconds = medianMilliseconds([&] { moments.findBlobs(imageView(mask), found, -1, leastArea); });
    std::vector<Blobs::BlobInfo>& blobs = found.blobs;
    std::sort(blobs.begin(), blobs.end(), [](const auto& a, const auto& b) { return a.area > b.area; });

    cv::Mat picture = faded(frame);
    Marks marks(picture);
    for (const Blobs::BlobInfo& blob : blobs)
        drawBlob(marks, blob);
    for (std::size_t i = 0; i < std::min(kLabelled, blobs.size()); ++i)
        marks.label({blobs[i].x, blobs[i].y}, std::to_string(std::lround(blobs[i].angle)));
    showcase.showResult("Moments, of that mask", picture, milliseconds, blobsFound(blobs),
                        "Each blob's ellipse and axes; angles in degrees");
}

} // namespace

void showColourModel(const Scene& scene, Showcase& showcase)
{
    const cv::Rect patch = colourPatch(scene);
    showPatch(scene.later, patch, showcase);

    ColorGMM model = trainedModel(scene.later(patch));
    const Image frame = rgbImage(scene.later);
    ColourDetector detector(&model, nullptr);
    showMask("ColourDetector", detector, frame, "Red and green, both measured from red's mean", showcase);

    ColourDetector::Param params(2);
    params.useMorphology = true;
    ColourDetector cleaner(&model, &params);
    const cv::Mat mask =
        showMask("ColourDetector, with morphology", cleaner, frame, "Without what is narrower than 3 pixels", showcase);
    showBlobs(scene.later, mask, showcase);
}

} // namespace velmor::demo
