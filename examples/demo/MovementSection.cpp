#include "examples/demo/MovementSection.h"

#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/ColourHist2D.h"
#include "examples/demo/Interruption.h"
#include "examples/demo/MedianTime.h"
#include "examples/demo/Scene.h"
#include "examples/demo/Showcase.h"
#include "examples/shared/Findings.h"
#include "examples/shared/HistogramPicture.h"
#include "examples/shared/ImageView.h"
#include "examples/shared/Marks.h"
#include "examples/shared/MotionHistory.h"

namespace velmor::demo {
namespace {

using core::cvdata::ColourHist2d;
using core::cvdata::Image;
using cvprocess::ColourHist2D;
using cvprocess::CvtColour;

constexpr unsigned char kBins = 8; ///< of each channel

void showHistory(const Scene& scene, Showcase& showcase)
{
    Interruption::throwIfRequested();
    MotionHistory timed(scene.later.size()); // the one of the video goes on only with new frames
    const double historyTime = medianMilliseconds([&] { timed.add(scene.later); });
    showcase.showResult("MotionSegment", scene.history, historyTime, shareFound(scene.history),
                        "What moved in the last 0.4 s of computing");

    const double centreTime = medianMilliseconds([&] { timed.centre(); });
    cv::Mat picture = faded(scene.later);
    picture.setTo(cv::Scalar(0, 140, 255), scene.history);
    if (scene.historyCentre)
        Marks(picture).cross(*scene.historyCentre);
    showcase.showResult("MotionSegment, centre of mass", picture, centreTime,
                        scene.historyCentre ? "at " + pointText(*scene.historyCentre) : "nothing moves",
                        "Of the history, whose pixels are orange");
}

std::string coloursFound(const ColourHist2d& histogram)
{
    const auto shares = largestShares(histogram, 1);
    if (shares.empty())
        return "no pixels to count";
    return percentText(shares.front().share) + " of the pixels are of the most frequent colour";
}

/// @param mask  null for all pixels
void showHistogram(const std::string& title, const cv::Mat& frame, Image* mask, const std::string& sentence,
                   Showcase& showcase)
{
    Interruption::throwIfRequested();
    ColourHist2d histogram(kBins, kBins, kBins);
    const Image input = imageView(frame);
    const double milliseconds = medianMilliseconds([&] {
        ColourHist2D::computeHistogram(input, histogram, 0, 0, input.width(), input.height(), CvtColour::BGR, mask);
    });
    showcase.showChart(title, histogramPicture(histogram), frame.size(), milliseconds, coloursFound(histogram),
                       sentence);
}

} // namespace

void showMovement(const Scene& scene, Showcase& showcase)
{
    if (scene.history.empty())
        showcase.leaveOut("history", "no motion history of a single frame");
    else
        showHistory(scene, showcase);
    showHistogram("ColourHist2D", scene.later, nullptr, "The most frequent of 8 x 8 x 8 colours", showcase);
    Image moving = imageView(scene.moving);
    showHistogram("ColourHist2D, under a mask", scene.later, &moving, "The same, of the pixels that changed", showcase);
}

} // namespace velmor::demo
