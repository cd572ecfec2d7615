#include "catalogue/CpuOperators.h"
#include "examples/shared/Drawing.h"
#include "examples/shared/Findings.h"
#include "examples/shared/Inputs.h"
#include "examples/viewer/Operators.h"

#include <opencv2/imgproc.hpp>

#include <filesystem>

namespace velmor::examples {
namespace {

using catalogue::CpuResult;
using catalogue::Data;
using catalogue::Values;

const cv::Scalar kMovedColour(0, 140, 255);

/// Shows a picture as what an operator has found.
Operator::Result shown(RectTexture& texture, const cv::Mat& picture, const std::string& found, double milliseconds)
{
    upload(picture, texture);
    Operator::Result result;
    result.texture = &texture;
    result.found = found;
    result.times.inMemory = milliseconds;
    return result;
}

/// The history of MotionSegment with its centre of mass.
class MotionOperator : public Operator
{
public:
    explicit MotionOperator(const Material& material)
        : mMaterial(material), mHistory(material.frame.size()), mPicture(makeTexture(material.frame.size()))
    {
    }

    Result run(const Values& values, bool) override
    {
        const double milliseconds = timed([this] { mHistory.add(mMaterial.frame); });
        cv::Mat picture;
        if (values.at("shown") == 0) {
            picture = faded(mMaterial.frame);
            picture.setTo(kMovedColour, mHistory.picture());
        } else
            cv::cvtColor(mHistory.picture(), picture, cv::COLOR_GRAY2BGR);
        const auto centre = mHistory.centre();
        if (centre)
            Marks(picture).cross(*centre);
        return shown(*mPicture, picture, centre ? "centre of mass at " + pointText(*centre) : "nothing moves",
                     milliseconds);
    }

private:
    const Material& mMaterial;
    MotionHistory mHistory;
    std::unique_ptr<RectTexture> mPicture;
};

/// An operator on images in main memory, whose result is drawn as a picture.
class PictureOperator : public Operator
{
public:
    PictureOperator(const catalogue::Operator& shown, Material& material)
        : mShown(shown), mMaterial(material), mPicture(makeTexture(material.frame.size()))
    {
        if (shown.takes == Data::MASK)
            mToMask = make("ColourDetector", {{"morphology", 1}}, &material.chosen);
    }

    Result run(const Values& values, bool) override
    {
        if (mShown.need == catalogue::Need::CASCADE && !std::filesystem::exists(kFaceCascade))
            return shown(*mPicture, mMaterial.frame, std::string("there is no ") + kFaceCascade + ", of opencv-data",
                         0);
        if (mShown.need == catalogue::Need::ONE_MODEL)
            mModel = modelOf(mMaterial, values);
        const Values own = ownValues(mShown.name, values);
        if (!mOperator || own != mMadeWith || mRegions != mMaterial.regions) {
            mOperator = make(mShown.name, own, &mModel);
            mMadeWith = own;
            mRegions = mMaterial.regions;
        }
        const Image input = makeInput();
        CpuResult result;
        const double milliseconds = timed([&] { result = mOperator(input); });
        return show(result, milliseconds);
    }

private:
    catalogue::CpuOperator make(const std::string& name, const Values& values, core::cvdata::ColorGMM* model) const
    {
        catalogue::Given given;
        given.models = {model};
        given.size = mMaterial.frame.size();
        given.cascadeFile = kFaceCascade;
        if (!mMaterial.regions.empty())
            given.region = mMaterial.regions.front();
        return catalogue::makeCpu(name, values, given);
    }

    Image makeInput() const
    {
        if (mShown.takes == Data::PICTURE)
            return imageView(mMaterial.frame);
        const Image colours = rgbImage(mMaterial.frame);
        return mToMask ? *mToMask(colours).picture : colours;
    }

    Result show(const CpuResult& result, double milliseconds)
    {
        if (result.picture)
            return shown(*mPicture, result.picture->mat(), shareFound(result.picture->mat()), milliseconds);
        if (result.histogram)
            return shown(*mPicture, withChart(mMaterial.frame, *result.histogram), {}, milliseconds);
        const bool isBlobs = mShown.gives == Data::BLOBS;
        cv::Mat picture = isBlobs ? faded(mMaterial.frame) : mMaterial.frame.clone();
        Marks marks(picture);
        for (const auto& blob : result.blobs.blobs)
            marks.blob(blob);
        for (const cv::Rect& rectangle : result.rectangles)
            marks.rectangle(rectangle);
        const std::string found = isBlobs ? countText(static_cast<int>(result.blobs.blobs.size()), "blob")
                                          : countText(static_cast<int>(result.rectangles.size()), "face");
        return shown(*mPicture, picture, found, milliseconds);
    }

    const catalogue::Operator& mShown;
    Material& mMaterial;
    std::unique_ptr<RectTexture> mPicture;
    catalogue::CpuOperator mToMask; ///< for an operator that takes a mask; else none
    core::cvdata::ColorGMM mModel;  ///< of an operator that needs one
    catalogue::CpuOperator mOperator;
    Values mMadeWith; ///< the operator, as the next
    std::vector<cv::Rect> mRegions;
};

} // namespace

std::unique_ptr<Operator> makePictureOperator(const catalogue::Operator& shown, Material& material)
{
    if (shown.name == "MotionSegment") // the catalogue's does not tell the centre of mass
        return std::make_unique<MotionOperator>(material);
    return std::make_unique<PictureOperator>(shown, material);
}

} // namespace velmor::examples
