#include "examples/viewer/ModelFilters.h"

#include "core/cvdata/ColourHist2d.h"
#include "examples/shared/ClassPicture.h"
#include "examples/shared/Findings.h"
#include "examples/shared/FloatPictures.h"
#include "examples/shared/GpuPictures.h"
#include "examples/viewer/Chart.h"

#include <algorithm>
#include <vector>

namespace velmor::viewer {
namespace {

using core::cvdata::ColourHist2d;

constexpr int kBinStep = 2; ///< numbers of cells are divisible by four so

std::unique_ptr<cvprocess::ColorGMM> mixtureFilter(core::cvdata::ColorGMM& model, bool binary)
{
    cvprocess::ColorGMM::Param param;
    param.mBinaryOutput = binary;
    return std::make_unique<cvprocess::ColorGMM>(&model, &param);
}

cvprocess::ColorHistShader::Param histogramParam(const glsupport::RectTexture& frame)
{
    cvprocess::ColorHistShader::Param param;
    param.mNBins1 = param.mNBins2 = param.mNBins3 = kBinStep;
    param.mXres = static_cast<int>(frame.width());
    param.mYres = static_cast<int>(frame.height());
    return param;
}

/// A histogram of the first and the third colour exchanged.
ColourHist2d exchanged(const ColourHist2d& histogram, unsigned char bins)
{
    ColourHist2d result(bins, bins, bins);
    for (unsigned char i = 0; i < bins; ++i)
        for (unsigned char j = 0; j < bins; ++j)
            for (unsigned char k = 0; k < bins; ++k)
                result.getValue(k, j, i) = histogram.getValue(i, j, k);
    return result;
}

} // namespace

core::cvdata::ColorGMM withThreshold(const core::cvdata::ColorGMM& model, double factor)
{
    core::cvdata::ColorGMM result = model;
    result.detectionThreshold *= factor;
    return result;
}

MixtureOperator::MixtureOperator(const Material& material)
    : FilterOperator(material, RectTexture::RGB8), mModel(material.models.chosen)
{
    for (const bool inColour : {false, true}) {
        mFilters[inColour] = mixtureFilter(mModel, !inColour);
        mFilters[inColour]->prepareExecution(*material.frameTexture, destination());
    }
}

cvprocess::GpuStdShaders& MixtureOperator::filter(const Values& values)
{
    mModel = withThreshold(material().models.chosen, values[1]);
    return *mFilters[values[0] == 0 ? 0 : 1];
}

ClassesOperator::ClassesOperator(const Material& material)
    : FilterOperator(material, RectTexture::R32F), mModels{material.models.dark, material.models.chosen,
                                                           material.models.bright},
      mPicture(makeTexture(RectTexture::RGB8))
{
    std::vector<core::cvdata::ColorGMM*> borrowed;
    for (core::cvdata::ColorGMM& model : mModels)
        borrowed.push_back(&model);
    mFilter = std::make_unique<cvprocess::ColorGMM2>(borrowed);
    mFilter->prepareExecution(*material.frameTexture, destination());
}

cvprocess::GpuStdShaders& ClassesOperator::filter(const Values&)
{
    mModels = {material().models.dark, material().models.chosen, material().models.bright};
    return *mFilter;
}

FilterOperator::Outcome ClassesOperator::outcome()
{
    cv::Mat classes(material().frame.size(), CV_32F);
    destination().download(classes.data);
    demo::upload(demo::classPicture(classes), *mPicture);
    return {mPicture.get(), {}};
}

ColourHistOperator::ColourHistOperator(const Material& material)
    : FilterOperator(material, RectTexture::RGBA32F), mPicture(makeTexture(RectTexture::RGB8))
{
    cvprocess::ColorHistShader::Param param = histogramParam(*material.frameTexture);
    mFilter = std::make_unique<cvprocess::ColorHistShader>(&param, nullptr);
    mFilter->prepareExecution(*material.frameTexture, *material.secondTexture, destination()); // the second is not read
}

cvprocess::GpuStdShaders& ColourHistOperator::filter(const Values& values)
{
    int bins = static_cast<int>(values[0]);
    while (bins > 1 && bins * bins * bins > 4 * material().frame.cols)
        bins -= bins > kBinStep ? kBinStep : 1;
    auto& param = *mFilter->params();
    param.mNBins1 = param.mNBins2 = param.mNBins3 = bins;
    return *mFilter;
}

void ColourHistOperator::addRegion(cvprocess::GpuStdShaders& filter, std::size_t index)
{
    const cv::Rect& region = material().regions[index];
    if (index == 0) // the filter counts in one region alone, to which both corners belong
        filter.addROI(region.x, region.y, region.br().x - 1, region.br().y - 1);
}

FilterOperator::Outcome ColourHistOperator::outcome()
{
    const auto bins = static_cast<unsigned char>(mFilter->params()->mNBins1);
    ColourHist2d histogram(bins, bins, bins);
    mFilter->copyHistoFromGPU(histogram);
    demo::upload(withChart(material().frame, exchanged(histogram, bins)), *mPicture);
    return {mPicture.get(),
            std::to_string(bins) + " x " + std::to_string(bins) + " x " + std::to_string(bins) + " cells"};
}

CountOperator::CountOperator(const Material& material)
    : mMask(material.frameTexture->width(), material.frameTexture->height(), glsupport::RectTexture::RGB8),
      // wider than there are tiles, of which there is at least one
      mSums(std::max(2U, mMask.width()), mMask.height(), glsupport::RectTexture::R32UI), mModel(material.models.chosen),
      mMaterial(material), mToMask(mixtureFilter(mModel, true))
{
    mToMask->prepareExecution(*material.frameTexture, mMask);
}

Operator::Result CountOperator::run(const Values& values)
{
    mModel = mMaterial.models.chosen;
    mToMask->execute();
    const unsigned tiles = std::min(static_cast<unsigned>(values[0]), mSums.width() - 1);
    if (tiles != mTiles) {
        mFilter = std::make_unique<cvprocess::PixelCount>();
        mFilter->setMaxNofTiles(tiles);
        mFilter->prepareExecution(mMask, mSums);
        mTiles = tiles;
    }
    glFinish();
    const double milliseconds = timed([&] {
        mFilter->execute();
        glFinish();
    });
    return {&mMask, colours(),
            demo::countText(static_cast<int>(mFilter->getCount()), "pixel") + " in " +
                demo::countText(static_cast<int>(mFilter->getNofTiles()), "tile"),
            milliseconds};
}

} // namespace velmor::viewer
