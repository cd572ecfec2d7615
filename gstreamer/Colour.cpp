#include "gstreamer/Colour.h"

#include "catalogue/CpuOperators.h"
#include "core/cvdata/ColorGMM.h"
#include "cvprocess/ColourDetector.h"
#include "gstreamer/Finder.h"
#include "gstreamer/Images.h"
#include "gstreamer/Models.h"
#include "gstreamer/Overlay.h"

#include <memory>
#include <optional>
#include <stdexcept>

namespace velmor::gstreamer {
namespace {

using core::cvdata::Blobs;
using core::cvdata::ColorGMM;
using core::cvdata::Image;

const catalogue::Operator& detector()
{
    return *catalogue::find("ColourDetector");
}

const catalogue::Operator& moments()
{
    return *catalogue::find("Moments");
}

/// A model that the detector takes: another one would stop the process.
std::shared_ptr<ColorGMM> modelOf(const std::string& file)
{
    const auto result = loadModel(file);
    for (const auto& component : result->mixture)
        if (component->dimension != 2)
            throw std::runtime_error("velmorcolour: expected a model of 2 colour components in '" + file +
                                     "', got one of " + std::to_string(component->dimension));
    return result;
}

Region regionOf(const Blobs::BlobInfo& blob)
{
    Region result("velmor-blob", blob.boundingBox);
    gst_structure_set(result.numbers.get(), "x", G_TYPE_DOUBLE, blob.x, "y", G_TYPE_DOUBLE, blob.y, "area", G_TYPE_UINT,
                      blob.area, "angle", G_TYPE_DOUBLE, blob.angle, "major-axis", G_TYPE_DOUBLE, blob.majorAxis,
                      "minor-axis", G_TYPE_DOUBLE, blob.minorAxis, "number-of-points", G_TYPE_INT, blob.nofPoints,
                      "covariance-xx", G_TYPE_DOUBLE, blob.covariance[0][0], "covariance-xy", G_TYPE_DOUBLE,
                      blob.covariance[0][1], "covariance-yy", G_TYPE_DOUBLE, blob.covariance[1][1], nullptr);
    return result;
}

/// Marks the pixels of a colour, and describes the regions that they make.
class ColourFinder : public Finder
{
public:
    void open(const std::string& file) override
    {
        mModel = modelOf(file);
        mDetector.emplace(mModel.get(), &mParam);
    }

    Findings find(const Parameters& parameters, const cv::Mat& picture, const Format& format, cv::Mat& mask) override
    {
        setUp(parameters);
        const cv::Mat colours = coloursOf(picture, format, false, mColours); // red is the detector's first byte
        const Image input = imageOver(colours, Image::RGB);
        Image marked = imageOver(mask, Image::GREYSCALE);
        mDetector->preProcess(input, marked);
        mBlobs = mMoments(marked).blobs;
        Findings result;
        result.count = static_cast<unsigned>(mBlobs.blobs.size());
        for (const Blobs::BlobInfo& blob : mBlobs.blobs)
            result.regions.push_back(regionOf(blob));
        return result;
    }

    void draw(cv::Mat& picture, const cv::Mat&) const override
    {
        for (const Blobs::BlobInfo& blob : mBlobs.blobs)
            drawEllipse(picture, {blob.x, blob.y}, {blob.majorAxis, blob.minorAxis}, blob.angle);
    }

private:
    void setUp(const Parameters& parameters)
    {
        mParam.useMorphology = parameters.valuesFor(detector()).at("morphology") != 0;
        const catalogue::Values values = parameters.valuesFor(moments());
        if (mMoments && values == mValues)
            return;
        mMoments = catalogue::makeCpu("Moments", values);
        mValues = values;
    }

    std::shared_ptr<ColorGMM> mModel;
    cvprocess::ColourDetector::Param mParam{0};
    std::optional<cvprocess::ColourDetector> mDetector;
    catalogue::Values mValues; ///< that mMoments was made with
    catalogue::CpuOperator mMoments;
    cv::Mat mColours;
    Blobs mBlobs;
};

} // namespace

gboolean registerColour(GstPlugin* plugin)
{
    static const GEnumValue kOutputs[] = {{MASK, "The mask of the colour, in GRAY8", "mask"},
                                          {OVERLAY, "The picture, with an ellipse drawn for each region", "overlay"},
                                          {PICTURE, "The picture as it comes in", "picture"},
                                          {0, nullptr, nullptr}};
    static const FinderElement kElement = {"velmorcolour",
                                           "VelmorColour",
                                           "Colour regions",
                                           "Marks the pixels of a colour, and finds the regions that they make",
                                           colourFormats(),
                                           {detector(), moments()},
                                           "model",
                                           "file of the colour model, as ColorGMM saves it",
                                           kOutputs,
                                           "how many regions the last frame has",
                                           "blobs",
                                           "the numbers of each region of the last frame",
                                           [] {
                                               return std::unique_ptr<Finder>(new ColourFinder);
                                           }};
    return registerFinder(plugin, kElement);
}

} // namespace velmor::gstreamer
