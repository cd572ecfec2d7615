#include "catalogue/GpuFilters.h"
#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "examples/shared/Drawing.h"
#include "examples/shared/Findings.h"
#include "examples/shared/Inputs.h"
#include "examples/viewer/Operators.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <optional>
#include <utility>

namespace velmor::examples {
namespace {

using catalogue::Data;
using catalogue::Regions;
using catalogue::Values;
using cvprocess::GpuStdShaders;

constexpr int kBinStep = 2; ///< numbers of cells are divisible by four so

/// A texture that a filter reads, and what fills it before each pass.
struct Source
{
    std::shared_ptr<RectTexture> texture;
    std::function<void(const Values&)> fill = [](const Values&) {
    };
};

/// A texture of the frame's size that is filled from main memory.
Source uploaded(const Material& material, RectTexture::Format format, const std::function<cv::Mat()>& texels)
{
    const std::shared_ptr<RectTexture> texture = makeTexture(material.frame.size(), format);
    return {texture, [=](const Values&) {
                texture->upload(texels().data);
            }};
}

/// What a filter makes of another source.
Source filtered(const std::string& name, const Source& source, const Material& material, RectTexture::Format format,
                const catalogue::Given& given = {})
{
    const std::shared_ptr<RectTexture> texture = makeTexture(material.frame.size(), format);
    const std::shared_ptr<GpuStdShaders> filter = catalogue::makeGpu(name, {}, given);
    filter->prepareExecution(*source.texture, *texture);
    return {texture, [=](const Values& values) {
                source.fill(values);
                filter->execute();
            }};
}

/// A source of the kind that a filter takes.
Source sourceOf(Data data, Material& material)
{
    const Source frame{material.frameTexture};
    if (data == Data::GREY)
        return filtered("BGR2GRAY", frame, material, RectTexture::R32F);
    if (data == Data::MOSAIC)
        return uploaded(material, RectTexture::GREY8, [&material] { return rawOf(mosaicOf(material.frame)); });
    if (data == Data::INTEGERS)
        return uploaded(material, RectTexture::R16UI, [&material] { return deepGrey(material.frame); });
    if (data == Data::DIRECTIONS) {
        const Source grey = sourceOf(Data::GREY, material);
        const Source gradients = filtered("GRAY2Sobel", grey, material, RectTexture::RGBA32F);
        return uploaded(material, RectTexture::RGBA32F, [gradients] {
            gradients.fill({});
            return strengthAndDirection(downloadFloats(*gradients.texture));
        });
    }
    if (data == Data::MASK) {
        catalogue::Given given;
        given.models = {&material.chosen};
        return filtered("ColorGMM", frame, material, RectTexture::RGB8, given);
    }
    return frame;
}

/// A picture whose channels below a level are 0.
Source brightPart(const cv::Mat& picture)
{
    const std::shared_ptr<RectTexture> texture = makeTexture(picture.size());
    return {texture, [&picture, texture](const Values& values) {
                cv::Mat bright;
                cv::threshold(picture, bright, values.at("level") - 1, 255, cv::THRESH_TOZERO);
                upload(bright, *texture);
            }};
}

std::vector<Source> sourcesOf(const catalogue::Operator& shown, Material& material)
{
    if (shown.name == "And") // of whole pictures nearly everything would be set
        return {brightPart(material.second), brightPart(material.frame)};
    const Source first = sourceOf(shown.takes, material);
    if (shown.sources == 1)
        return {first};
    const Source second{material.secondTexture};
    return takesSecondPicture(shown) ? std::vector{second, first} : std::vector{first, second};
}

/// A texture for what a filter gives.
std::unique_ptr<RectTexture> makeDestination(Data given, const cv::Size& frame)
{
    switch (given) {
    case Data::GREY:
    case Data::CLASSES:
        return makeTexture(frame, RectTexture::R32F);
    case Data::GRADIENTS:
    case Data::HISTOGRAM:
        return makeTexture(frame, RectTexture::RGBA32F);
    case Data::COUNTS: // it has to be wider than there are tiles, of which there is at least one
        return makeTexture({std::max(2, frame.width), frame.height}, RectTexture::R32UI);
    default:
        return makeTexture(frame);
    }
}

Colours coloursOf(const catalogue::Operator& shown, const Values& values)
{
    const auto brightness = values.find("brightness");
    const double times = brightness == values.end() ? 1 : brightness->second;
    if (shown.gives == Data::GRADIENTS && values.at("shown") == 0)
        return greyOf(STRENGTH, 0, 2);
    if (shown.gives == Data::GRADIENTS)
        return greyOf(values.at("shown") == 1 ? LEVEL : UPRIGHT, -2, 2);
    if (shown.gives == Data::GREY || shown.takes == Data::INTEGERS)
        return greyOf(0, 0, 1 / times);
    return colours(times);
}

/// A GPU filter that draws from textures of the frame's size into one of that size. The filter gets the regions of the
/// material; what it does not touch stays black.
class FilterOperator : public Operator
{
public:
    FilterOperator(const catalogue::Operator& shown, Material& material)
        : mShown(shown), mMaterial(material), mSources(sourcesOf(shown, material)),
          mDestination(makeDestination(shown.gives, material.frame.size())),
          mPicture(makeTexture(material.frame.size()))
    {
    }

    Result run(const Values& values) override
    {
        if (mShown.need == catalogue::Need::ONE_MODEL)
            mModel = modelOf(mMaterial, values);
        const Values own = ownValues(mShown.name, values);
        if (!mFilter || own != mMadeWith)
            makeFilter(own);
        for (const Source& source : mSources)
            source.fill(values);
        giveRegions();
        glFinish();
        const double milliseconds = timed([this] {
            mFilter->execute();
            glFinish();
        });
        Result result;
        result.texture = mDestination.get();
        result.colours = coloursOf(mShown, values);
        result.milliseconds = milliseconds;
        readResult(result);
        return result;
    }

private:
    void makeFilter(const Values& values)
    {
        catalogue::Given given;
        given.size = mMaterial.frame.size();
        given.models = {&mMaterial.dark, &mMaterial.chosen, &mMaterial.bright};
        if (mShown.need == catalogue::Need::ONE_MODEL)
            given.models = {&mModel};
        mFilter = catalogue::makeGpu(mShown.name, values, given);
        keepWithinFrame(values);
        if (mSources.size() == 1)
            mFilter->prepareExecution(*mSources[0].texture, *mDestination);
        else
            mFilter->prepareExecution(*mSources[0].texture, *mSources[1].texture, *mDestination);
        mMadeWith = values;
        mRegions.reset();
    }

    /// Small frames have no room for as many cells or tiles as the user may want.
    void keepWithinFrame(const Values& values)
    {
        if (auto* const histogram = dynamic_cast<cvprocess::ColorHistShader*>(mFilter.get())) {
            auto& param = *histogram->params();
            int bins = param.mNBins1;
            while (bins > 1 && bins * bins * bins > 4 * mMaterial.frame.cols)
                bins -= bins > kBinStep ? kBinStep : 1;
            param.mNBins1 = param.mNBins2 = param.mNBins3 = bins;
        }
        if (auto* const count = dynamic_cast<cvprocess::PixelCount*>(mFilter.get()))
            count->setMaxNofTiles(std::min(static_cast<unsigned>(values.at("tiles")), mDestination->width() - 1));
    }

    void giveRegions()
    {
        if (mShown.regions == Regions::NONE || mRegions == mMaterial.regions)
            return;
        mRegions = mMaterial.regions;
        mFilter->resetROIs();
        if (mShown.regions == Regions::FIRST && !mRegions->empty()) {
            const cv::Rect& region = mRegions->front(); // to a filter that counts in one, both corners belong
            mFilter->addROI(region.x, region.y, region.br().x - 1, region.br().y - 1);
        } else
            for (const cv::Rect& region : *mRegions)
                mFilter->addROI(region.x, region.y, region.br().x, region.br().y);
        mDestination->upload(Image(mDestination->width(), mDestination->height(), Image::GREYSCALE));
    }

    /// Makes a picture of what the pass has left where it is none yet, and says what it tells.
    void readResult(Result& result)
    {
        if (mShown.gives == Data::CLASSES) {
            cv::Mat classes(mMaterial.frame.size(), CV_32F);
            mDestination->download(classes.data);
            upload(classPicture(classes), *mPicture);
            result.texture = mPicture.get();
            result.found = "green: the patch, blue: a dark part, orange: a bright part";
        }
        if (auto* const counter = dynamic_cast<cvprocess::ColorHistShader*>(mFilter.get())) {
            const auto bins = static_cast<unsigned char>(counter->params()->mNBins1);
            core::cvdata::ColourHist2d histogram(bins, bins, bins);
            counter->copyHistoFromGPU(histogram);
            upload(withChart(mMaterial.frame, histogram), *mPicture);
            const std::string text = std::to_string(bins);
            result.texture = mPicture.get();
            result.found = text + " x " + text + " x " + text + " cells";
        }
        if (auto* const counter = dynamic_cast<cvprocess::PixelCount*>(mFilter.get())) {
            result.texture = mSources.front().texture.get();
            result.found = countText(static_cast<int>(counter->getCount()), "pixel") + " in " +
                           countText(static_cast<int>(counter->getNofTiles()), "tile");
        }
    }

    const catalogue::Operator& mShown;
    Material& mMaterial;
    std::vector<Source> mSources;
    std::unique_ptr<RectTexture> mDestination;
    std::unique_ptr<RectTexture> mPicture; ///< of results that are none
    core::cvdata::ColorGMM mModel;         ///< of a filter that needs one
    std::unique_ptr<GpuStdShaders> mFilter;
    Values mMadeWith;                              ///< the filter
    std::optional<std::vector<cv::Rect>> mRegions; ///< that the filter has
};

} // namespace

std::unique_ptr<Operator> makeFilterOperator(const catalogue::Operator& shown, Material& material)
{
    return std::make_unique<FilterOperator>(shown, material);
}

} // namespace velmor::examples
