#include "catalogue/GpuFilters.h"
#include "catalogue/NativeFilters.h"
#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "examples/shared/Drawing.h"
#include "examples/shared/Findings.h"
#include "examples/shared/Inputs.h"
#include "examples/viewer/Operators.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <iterator>
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

/// Formats of textures, and the types of pictures that hold the same.
constexpr std::pair<RectTexture::Format, int> kTypes[] = {{RectTexture::GREY8, CV_8UC1},
                                                          {RectTexture::RGB8, CV_8UC3},
                                                          {RectTexture::R32F, CV_32FC1},
                                                          {RectTexture::RGBA32F, CV_32FC4},
                                                          {RectTexture::R16UI, CV_16UC1}};

/// The texels of a texture in main memory.
cv::Mat texelsOf(const RectTexture& texture)
{
    const auto type = std::find_if(std::begin(kTypes), std::end(kTypes),
                                   [&](const auto& each) { return each.first == texture.format(); });
    cv::Mat result(static_cast<int>(texture.height()), static_cast<int>(texture.width()), type->second);
    texture.download(result.data);
    return result;
}

/// A texture that holds a picture as it is.
std::unique_ptr<RectTexture> textureOf(const cv::Mat& picture)
{
    const auto format = std::find_if(std::begin(kTypes), std::end(kTypes),
                                     [&](const auto& each) { return each.second == picture.type(); });
    auto result = makeTexture(picture.size(), format->first);
    result->upload(picture.data);
    return result;
}

/// A filter on pictures in main memory. It gets what the one on textures gets.
class NativeFilter
{
public:
    NativeFilter(const catalogue::Operator& what, const Values& values, const catalogue::Given& given)
        : mGives(what.gives), mFilter(catalogue::makeNative(what.name, values, given))
    {
    }

    /// Filters what textures hold, and says how many milliseconds the filter took.
    double run(const std::vector<Source>& sources)
    {
        std::vector<cv::Mat> pictures;
        for (const Source& source : sources)
            pictures.push_back(texelsOf(*source.texture));
        return timed([&] {
            if (pictures.size() == 1)
                mFilter->execute(pictures[0], mResult);
            else
                mFilter->execute(pictures[0], pictures[1], mResult);
        });
    }

    /// The result of the last run.
    RectTexture& texture()
    {
        cv::Mat texels = mResult;
        if (mGives == Data::CLASSES) // textures hold their numbers as floats
            mResult.convertTo(texels, CV_32F);
        else if (texels.type() == CV_32FC3)
            cv::cvtColor(mResult, texels, cv::COLOR_RGB2RGBA);
        mTexture = textureOf(texels);
        return *mTexture;
    }

private:
    Data mGives;
    std::unique_ptr<native::Filter> mFilter;
    cv::Mat mResult;
    std::unique_ptr<RectTexture> mTexture;
};

/// A filter that draws from textures of the frame's size into one of that size, and the one in main memory, where there
/// is one, which gets the same. The one on textures gets the regions of the material; what it does not touch stays
/// black. The other one works on all of the frame.
class FilterOperator : public Operator
{
public:
    FilterOperator(const catalogue::Operator& shown, Material& material)
        : mShown(shown), mMaterial(material), mSources(sourcesOf(shown, material)),
          mDestination(makeDestination(shown.gives, material.frame.size())),
          mPicture(makeTexture(material.frame.size()))
    {
    }

    Result run(const Values& values, bool inMemory) override
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
        Result result;
        result.times.onTextures = timed([this] {
            mFilter->execute();
            glFinish();
        });
        result.texture = mDestination.get();
        if (catalogue::hasNative(mShown)) {
            makeNativeFilter(values);
            result.times.inMemory = mNative->run(mSources);
            if (inMemory)
                result.texture = &mNative->texture();
        }
        result.colours = coloursOf(mShown, values);
        readResult(result);
        return result;
    }

private:
    catalogue::Given given()
    {
        catalogue::Given result;
        result.size = mMaterial.frame.size();
        result.models = {&mMaterial.dark, &mMaterial.chosen, &mMaterial.bright};
        if (mShown.need == catalogue::Need::ONE_MODEL)
            result.models = {&mModel};
        return result;
    }

    void makeFilter(const Values& values)
    {
        mFilter = catalogue::makeGpu(mShown.name, values, given());
        keepWithinFrame(values);
        if (mSources.size() == 1)
            mFilter->prepareExecution(*mSources[0].texture, *mDestination);
        else
            mFilter->prepareExecution(*mSources[0].texture, *mSources[1].texture, *mDestination);
        mMadeWith = values;
        mRegions.reset();
    }

    /// It takes the models when it is made, so it is made again when they are others, or when a value is.
    void makeNativeFilter(const Values& values)
    {
        const auto madeFor = std::make_pair(values, mMaterial.timesLearnt);
        if (mNative && madeFor == mNativeMadeFor)
            return;
        mNative.emplace(mShown, ownValues(mShown.name, values), given());
        mNativeMadeFor = madeFor;
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
            result.texture->download(classes.data);
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
    std::optional<NativeFilter> mNative;
    std::pair<Values, int> mNativeMadeFor;         ///< how often models had been learnt is part of it
    Values mMadeWith;                              ///< the filter
    std::optional<std::vector<cv::Rect>> mRegions; ///< that the filter has
};

} // namespace

std::unique_ptr<Operator> makeFilterOperator(const catalogue::Operator& shown, Material& material)
{
    return std::make_unique<FilterOperator>(shown, material);
}

} // namespace velmor::examples
