#include "core/cvdata/Blobs.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/ColourDetector.h"
#include "cvprocess/ColourHist2D.h"
#include "cvprocess/FaceDetect.h"
#include "cvprocess/Moments.h"
#include "examples/demo/Frames.h"
#include "examples/demo/Sections.h"
#include "examples/demo/Showcase.h"
#include "examples/shared/Drawing.h"
#include "examples/shared/Findings.h"
#include "examples/shared/Inputs.h"
#include "imageio/ImageIo.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <vector>

namespace velmor::examples {
namespace {

using core::cvdata::Blobs;
using core::cvdata::ColorGMM;
using core::cvdata::ColourHist2d;
using cvprocess::ColourDetector;

constexpr int kSide = 40;       ///< enough for a colour; training takes long with more
constexpr double kVariety = 10; ///< levels of deviation that are welcome: a flat patch makes a narrow model
constexpr double kWeight = 4;   ///< how much more it counts that red and green are alike

/// Of each square that fits into a picture of one channel, at its upper left corner: the average.
cv::Mat averages(const cv::Mat& picture, const cv::Size& square)
{
    cv::Mat result;
    cv::boxFilter(picture, result, CV_32F, square, {0, 0});
    return result(cv::Rect(cv::Point(0, 0), picture.size() - square + cv::Size(1, 1)));
}

/// Likewise the standard deviation, or kVariety where it is less.
cv::Mat deviations(const cv::Mat& picture, const cv::Size& square, const cv::Mat& average)
{
    cv::Mat result;
    cv::sqrBoxFilter(picture, result, CV_32F, square, {0, 0});
    result = result(cv::Rect(cv::Point(0, 0), average.size())) - average.mul(average);
    cv::sqrt(cv::max(result, 0), result);
    return cv::max(result, kVariety);
}

/// A small square of the later frame that is a good sample of a colour: not dark, of one colour, and with red and green
/// alike. It is as large as the frame where that is smaller.
cv::Rect colourPatch(const Scene& scene)
{
    const cv::Size square(std::min(kSide, scene.later.cols), std::min(kSide, scene.later.rows));
    cv::Mat red, green;
    cv::extractChannel(scene.later, red, 2);
    cv::extractChannel(scene.later, green, 1);
    const cv::Mat redAverage = averages(red, square);
    const cv::Mat greenAverage = averages(green, square);
    cv::Mat faults = cv::abs(redAverage - greenAverage) * kWeight;
    faults += deviations(red, square, redAverage) + deviations(green, square, greenAverage);
    faults += averages(scene.dark, square); // black is of one colour, but of none in particular

    cv::Point best;
    cv::minMaxLoc(faults, nullptr, nullptr, &best);
    return {best, square};
}

constexpr int kComponents = 3;
constexpr int kBlobShare = 4000; ///< the smallest blob shown is that part of the picture
constexpr std::size_t kLabelled = 5;

/// Shows the mask of a model's colour.
cv::Mat showMask(const std::string& title, ColourDetector& detector, const Image& frame, const std::string& sentence,
                 Showcase& showcase)
{
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
    cvprocess::Moments moments;
    Blobs found;
    const double leastArea = static_cast<double>(mask.total()) / kBlobShare;
    const double milliseconds = medianMilliseconds([&] { moments.findBlobs(imageView(mask), found, -1, leastArea); });
    std::vector<Blobs::BlobInfo>& blobs = found.blobs;
    std::sort(blobs.begin(), blobs.end(), [](const auto& a, const auto& b) { return a.area > b.area; });

    cv::Mat picture = faded(frame);
    Marks marks(picture);
    for (const Blobs::BlobInfo& blob : blobs)
        marks.blob(blob);
    for (std::size_t i = 0; i < std::min(kLabelled, blobs.size()); ++i)
        marks.label({blobs[i].x, blobs[i].y}, std::to_string(std::lround(blobs[i].angle)));
    showcase.showResult("Moments, of that mask", picture, milliseconds, blobsFound(blobs),
                        "Each blob's ellipse and axes; angles in degrees");
}

constexpr unsigned char kBins = 8; ///< of each channel

void showHistory(const Scene& scene, Showcase& showcase)
{
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
    const double share = largestShare(histogram);
    return share > 0 ? percentText(share) + " of the pixels are of the most frequent colour" : "no pixels to count";
}

/// @param mask  null for all pixels
void showHistogram(const std::string& title, const cv::Mat& frame, Image* mask, const std::string& sentence,
                   Showcase& showcase)
{
    ColourHist2d histogram(kBins, kBins, kBins);
    const Image input = imageView(frame);
    const double milliseconds = medianMilliseconds([&] {
        cvprocess::ColourHist2D::computeHistogram(input, histogram, 0, 0, input.width(), input.height(),
                                                  cvprocess::CvtColour::BGR, mask);
    });
    showcase.showResult(title, histogramPicture(histogram), milliseconds, coloursFound(histogram), sentence,
                        frame.size());
}

const char* const kPhotograph = "/usr/share/doc/opencv-doc/examples/data/messi5.jpg";

std::string facesFound(const std::vector<math::Vector4>& faces)
{
    if (faces.empty())
        return "no faces";
    const cv::Rect first = faceRectangle(faces.front());
    return countText(static_cast<int>(faces.size()), "face") + ", at " + pointText(first.tl()) + ", " +
           sizeText(first.size()) + " pixels";
}

} // namespace

void showColourModel(const Scene& scene, Showcase& showcase)
{
    const cv::Rect patch = colourPatch(scene);
    cv::Mat picture = scene.later.clone();
    Marks(picture).rectangle(patch);
    const cv::Scalar mean = cv::mean(scene.later(patch));
    showcase.showPicture("Colour patch", picture,
                         "On average red is " + std::to_string(std::lround(mean[2])) + " and green " +
                             std::to_string(std::lround(mean[1])));

    ColorGMM model;
    model.train(rgbImage(scene.later(patch)), nullptr, std::min(kComponents, patch.area()));
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

void showFaces(const Scene&, Showcase& showcase)
{
    for (const char* const file : {kPhotograph, kFaceCascade})
        if (!std::filesystem::exists(file)) {
            showcase.leaveOut("faces", std::string("left out, as there is no ") + file);
            return;
        }
    const Image photograph = imageio::load(kPhotograph, Image::BGR);
    showcase.showPicture("Photograph", photograph.mat(), "One of opencv-doc");
    cvprocess::FaceDetect detector(kFaceCascade);
    std::vector<math::Vector4> faces;
    const double milliseconds = medianMilliseconds([&] { detector.findFaces(&photograph, faces); });

    cv::Mat picture = photograph.mat().clone();
    Marks marks(picture);
    for (const math::Vector4& face : faces)
        marks.rectangle(faceRectangle(face));
    showcase.showResult("FaceDetect", picture, milliseconds, facesFound(faces),
                        "Framed: what the cascade takes for a face");
}

} // namespace velmor::examples
