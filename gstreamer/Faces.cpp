#include "gstreamer/Faces.h"

#include "catalogue/CpuOperators.h"
#include "gstreamer/Finder.h"
#include "gstreamer/Images.h"
#include "gstreamer/Overlay.h"
#include "opencv1/CascadeCopy.h"

#include <map>
#include <memory>

namespace velmor::gstreamer {
namespace {

using core::cvdata::Image;

const catalogue::Operator& detector()
{
    return *catalogue::find("FaceDetect");
}

/// Finds faces, or what else its cascade was trained for.
class FaceFinder : public Finder
{
public:
    void open(const std::string& file) override
    {
        mDetectors.clear();
        mCascade = opencv1::copyOfCascade("velmorfaces: cannot load", file);
    }

    Findings find(const Parameters& parameters, const cv::Mat& picture, const Format& format, cv::Mat&) override
    {
        const catalogue::Values values = parameters.valuesFor(detector());
        catalogue::CpuOperator& detect = mDetectors[values];
        if (!detect)
            detect = make(values);
        const bool isGrey = picture.channels() == 1;
        const cv::Mat searched = isGrey ? picture : coloursOf(picture, format, true, mColours);
        mFaces = detect(imageOver(searched, isGrey ? Image::GREYSCALE : Image::BGR)).rectangles;
        Findings result;
        result.count = static_cast<unsigned>(mFaces.size());
        for (const cv::Rect& face : mFaces)
            result.regions.emplace_back("face", face);
        return result;
    }

    void draw(cv::Mat& picture, const cv::Mat&) const override
    {
        for (const cv::Rect& face : mFaces)
            drawBox(picture, face);
    }

private:
    /// The operator would end the process where the file is no cascade, so it reads a copy that was tried.
    catalogue::CpuOperator make(const catalogue::Values& values) const
    {
        catalogue::Given given;
        given.cascadeFile = mCascade->name();
        return catalogue::makeCpu("FaceDetect", values, given);
    }

    std::unique_ptr<opencv1::CascadeCopy> mCascade;
    /// With all values that there have been: to read a cascade again takes longer than to search a frame.
    std::map<catalogue::Values, catalogue::CpuOperator> mDetectors;
    cv::Mat mColours;
    std::vector<cv::Rect> mFaces;
};

} // namespace

gboolean registerFaces(GstPlugin* plugin)
{
    static const GEnumValue kOutputs[] = {{PICTURE, "The picture as it comes in", "picture"},
                                          {OVERLAY, "The picture, with a box drawn around each face", "overlay"},
                                          {0, nullptr, nullptr}};
    static const FinderElement kElement = {"velmorfaces",
                                           "VelmorFaces",
                                           "Faces",
                                           "Finds faces, or what else its cascade was trained for",
                                           formats(),
                                           {detector()},
                                           "cascade",
                                           "file of the cascade: what is looked for, as OpenCV's opencv-data has them",
                                           kOutputs,
                                           "how many faces the last frame has",
                                           "faces",
                                           "the box of each face in the last frame",
                                           [] {
                                               return std::unique_ptr<Finder>(new FaceFinder);
                                           }};
    return registerFinder(plugin, kElement);
}

} // namespace velmor::gstreamer
