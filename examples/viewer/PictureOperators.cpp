#include "examples/viewer/PictureOperators.h"

#include "core/cvdata/Blobs.h"
#include "core/cvdata/ColourHist2d.h"
#include "core/cvdata/Image.h"
#include "cvprocess/ColourDetector.h"
#include "cvprocess/ColourHist2D.h"
#include "cvprocess/Moments.h"
#include "examples/shared/BlobMarks.h"
#include "examples/shared/Faces.h"
#include "examples/shared/Findings.h"
#include "examples/shared/GpuPictures.h"
#include "examples/shared/ImageView.h"
#include "examples/shared/Marks.h"
#include "examples/shared/RgbImage.h"
#include "examples/viewer/Chart.h"
#include "examples/viewer/ModelFilters.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <filesystem>
#include <vector>

namespace velmor::viewer {
namespace {

using core::cvdata::Image;

const cv::Scalar kMovedColour(0, 140, 255);

/// What ColourDetector detects in a frame.
/// @param[out] milliseconds  that it took
cv::Mat detectedMask(const cv::Mat& frame, core::cvdata::ColorGMM model, bool morphology, double& milliseconds)
{
    cvprocess::ColourDetector::Param param(2);
    param.useMorphology = morphology;
    cvprocess::ColourDetector detector(&model, &param);
    const Image input = demo::rgbImage(frame);
    cv::Mat mask(frame.size(), CV_8U);
    Image output = demo::imageView(mask);
    milliseconds = timed([&] { detector.preProcess(input, output); });
    return mask;
}

} // namespace

PictureOperator::PictureOperator(const Material& material)
    : mMaterial(material),
      mPicture(material.frameTexture->width(), material.frameTexture->height(), glsupport::RectTexture::RGB8)
{
}

Operator::Result PictureOperator::run(const Values& values)
{
    const Drawn drawn = draw(values);
    demo::upload(drawn.picture, mPicture);
    return {&mPicture, colours(), drawn.found, drawn.milliseconds};
}

PictureOperator::Drawn DetectorOperator::draw(const Values& values)
{
    double milliseconds = 0;
    const cv::Mat mask = detectedMask(material().frame, withThreshold(material().models.chosen, values[1]),
                                      values[0] != 0, milliseconds);
    return {mask, demo::shareFound(mask), milliseconds};
}

PictureOperator::Drawn MomentsOperator::draw(const Values& values)
{
    double ignored = 0;
    const cv::Mat mask = detectedMask(material().frame, material().models.chosen, true, ignored);
    cvprocess::Moments moments; // one that stays would keep the contours of all frames
    core::cvdata::Blobs found;
    const double milliseconds =
        timed([&] { moments.findBlobs(demo::imageView(mask), found, static_cast<int>(values[1]), values[0]); });
    cv::Mat picture = demo::faded(material().frame);
    demo::Marks marks(picture);
    for (const auto& blob : found.blobs)
        demo::drawBlob(marks, blob);
    return {picture, demo::countText(static_cast<int>(found.blobs.size()), "blob"), milliseconds};
}

PictureOperator::Drawn HistogramOperator::draw(const Values& values)
{
    const auto bins = static_cast<unsigned char>(values[0]);
    core::cvdata::ColourHist2d histogram(bins, bins, bins);
    const Image input = demo::imageView(material().frame);
    const cv::Rect whole(cv::Point(0, 0), material().frame.size());
    const cv::Rect counted = material().regions.empty() ? whole : material().regions.front();
    const double milliseconds = timed([&] {
        cvprocess::ColourHist2D::computeHistogram(
            input, histogram, static_cast<unsigned>(counted.x), static_cast<unsigned>(counted.y),
            static_cast<unsigned>(counted.width), static_cast<unsigned>(counted.height), cvprocess::CvtColour::BGR,
            nullptr);
    });
    return {withChart(material().frame, histogram), {}, milliseconds};
}

MotionOperator::MotionOperator(const Material& material) : PictureOperator(material), mHistory(material.frame.size()) {}

PictureOperator::Drawn MotionOperator::draw(const Values& values)
{
    const double milliseconds = timed([this] { mHistory.add(material().frame); });
    cv::Mat picture;
    if (values[0] == 0) {
        picture = demo::faded(material().frame);
        picture.setTo(kMovedColour, mHistory.picture());
    } else
        cv::cvtColor(mHistory.picture(), picture, cv::COLOR_GRAY2BGR);
    const auto centre = mHistory.centre();
    if (centre)
        demo::Marks(picture).cross(*centre);
    return {picture, centre ? "centre of mass at " + demo::pointText(*centre) : "nothing moves", milliseconds};
}

FacesOperator::FacesOperator(const Material& material) : PictureOperator(material)
{
    if (std::filesystem::exists(demo::kFaceCascade))
        mDetector = std::make_unique<cvprocess::FaceDetect>(demo::kFaceCascade);
}

PictureOperator::Drawn FacesOperator::draw(const Values& values)
{
    cv::Mat picture = material().frame.clone();
    if (!mDetector)
        return {picture, std::string("there is no ") + demo::kFaceCascade + ", of opencv-data", 0};
    const int times = static_cast<int>(values[0]);
    cv::Mat searched;
    cv::resize(picture, searched, {std::max(1, picture.cols / times), std::max(1, picture.rows / times)}, 0, 0,
               cv::INTER_AREA);
    const Image image = demo::imageView(searched);
    std::vector<math::Vector4> faces;
    const double milliseconds = timed([&] { mDetector->findFaces(&image, faces); });
    demo::Marks marks(picture);
    for (const math::Vector4& face : faces) {
        const cv::Rect place = demo::faceRectangle(face);
        marks.rectangle({place.tl() * times, place.size() * times});
    }
    return {picture, demo::countText(static_cast<int>(faces.size()), "face"), milliseconds};
}

} // namespace velmor::viewer
