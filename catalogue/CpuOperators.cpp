#include "catalogue/CpuOperators.h"

#include "catalogue/internal/Settings.h"
#include "core/util/internal/OutOfMemory.h"
#include "cvprocess/ColourDetector.h"
#include "cvprocess/ColourHist2D.h"
#include "cvprocess/FaceDetect.h"
#include "cvprocess/Moments.h"
#include "cvprocess/MotionSegment.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <map>
#include <memory>

namespace velmor::catalogue {
namespace {

using core::cvdata::Image;

/// A result with a black picture of a source's size.
CpuResult withPicture(const Image& source)
{
    CpuResult result;
    result.picture.emplace(source.width(), source.height(), Image::GREYSCALE);
    return result;
}

CpuOperator makeColourDetector(const Settings& settings)
{
    struct State
    {
        explicit State(const Settings& settings) : detector(settings.model(), &param)
        {
            param.useMorphology = settings.isOn("morphology");
        }
        cvprocess::ColourDetector::Param param{0};
        cvprocess::ColourDetector detector;
    };
    return [state = std::make_shared<State>(settings)](const Image& source) {
        CpuResult result = withPicture(source);
        state->detector.preProcess(source, *result.picture);
        return result;
    };
}

CpuOperator makeColourHist2D(const Settings& settings)
{
    const auto bins = static_cast<unsigned char>(settings.whole("bins"));
    return [bins, region = settings.given().region](const Image& source) {
        const cv::Rect whole({0, 0}, source.mat().size());
        const cv::Rect counted = region.empty() ? whole : region & whole;
        CpuResult result;
        result.histogram.emplace(bins, bins, bins);
        cvprocess::ColourHist2D::computeHistogram(
            source, *result.histogram, static_cast<unsigned>(counted.x), static_cast<unsigned>(counted.y),
            static_cast<unsigned>(counted.width), static_cast<unsigned>(counted.height), cvprocess::CvtColour::RGB,
            nullptr);
        return result;
    };
}

CpuOperator makeMoments(const Settings& settings)
{
    return [leastArea = settings.value("least-area"), most = settings.whole("most-regions")](const Image& source) {
        CpuResult result;
        cvprocess::Moments().findBlobs(source, result.blobs, most, leastArea); // one that stays keeps all contours
        return result;
    };
}

CpuOperator makeMotionSegment(const Settings& settings)
{
    const cv::Size& size = settings.given().size;
    return [motion = std::make_shared<cvprocess::MotionSegment>(size.width, size.height)](const Image& source) {
        CpuResult result = withPicture(source);
        motion->getMHI(&source, &*result.picture);
        return result;
    };
}

/// An image made narrower and lower by a factor.
cv::Mat reduced(const Image& source, int factor)
{
    cv::Mat result;
    const cv::Size size = source.mat().size() / factor;
    core::util::orBadAlloc([&] {
        cv::resize(source.mat(), result, {std::max(1, size.width), std::max(1, size.height)});
    });
    return result;
}

CpuOperator makeFaceDetect(const Settings& settings)
{
    const auto detector = std::make_shared<cvprocess::FaceDetect>(settings.given().cascadeFile);
    return [detector, factor = settings.whole("reduced")](const Image& source) {
        const cv::Mat searched = reduced(source, factor); // FaceDetect would keep each image that it reduces itself
        const Image image(static_cast<unsigned>(searched.cols), static_cast<unsigned>(searched.rows), source.channels(),
                          searched.data, static_cast<unsigned>(searched.step));
        std::vector<math::Vector4> faces;
        detector->findFaces(&image, faces);
        CpuResult result;
        for (const math::Vector4& face : faces)
            result.rectangles.emplace_back(cvRound(face[0]) * factor, cvRound(face[1]) * factor,
                                           cvRound(face[2]) * factor, cvRound(face[3]) * factor);
        return result;
    };
}

const std::map<std::string, CpuOperator (*)(const Settings&)> kMakers = {
    {"ColourDetector", makeColourDetector}, {"ColourHist2D", makeColourHist2D},
    {"FaceDetect", makeFaceDetect},         {"Moments", makeMoments},
    {"MotionSegment", makeMotionSegment},
};

} // namespace

CpuOperator makeCpu(const std::string& name, const Values& values, const Given& given)
{
    const Settings settings("makeCpu", Kind::CPU_OPERATOR, name, values, given);
    return kMakers.at(name)(settings);
}

} // namespace velmor::catalogue
