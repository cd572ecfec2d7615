#include "examples/viewer/PreparedFilters.h"

#include "examples/shared/DeepGrey.h"
#include "examples/shared/FloatPictures.h"
#include "examples/shared/GpuPictures.h"
#include "examples/shared/Gradients.h"
#include "examples/shared/Mosaic.h"

#include <opencv2/imgproc.hpp>

namespace velmor::viewer {
namespace {

using glsupport::RectTexture;

/// A picture whose channels below a level are 0.
cv::Mat brightPart(const cv::Mat& picture, double level)
{
    cv::Mat result;
    cv::threshold(picture, result, level - 1, 255, cv::THRESH_TOZERO);
    return result;
}

void fillRaw(const cv::Mat& frame, RectTexture& raw)
{
    demo::upload(demo::rawOf(demo::mosaicOf(frame)), raw);
}

void fillDeep(const cv::Mat& frame, RectTexture& deep)
{
    deep.upload(demo::deepGrey(frame).data);
}

} // namespace

AndOperator::AndOperator(const Material& material)
    : FilterOperator(material, RectTexture::RGB8), mFirst(makeTexture(RectTexture::RGB8)),
      mSecond(makeTexture(RectTexture::RGB8))
{
    mFilter.prepareExecution(*mFirst, *mSecond, destination());
}

cvprocess::GpuStdShaders& AndOperator::filter(const Values& values)
{
    demo::upload(brightPart(material().second, values[0]), *mFirst);
    demo::upload(brightPart(material().frame, values[0]), *mSecond);
    return mFilter;
}

template<>
const Preparation PreparedOperator<cvprocess::BayerRG2RGB>::kPreparation = {RectTexture::RGB8, fillRaw,
                                                                            RectTexture::RGB8, colours()};
template<>
const Preparation PreparedOperator<cvprocess::BayerRG2GRAY>::kPreparation = {RectTexture::RGB8, fillRaw,
                                                                             RectTexture::R32F, greyOf(0, 0, 1)};
template<>
const Preparation PreparedOperator<cvprocess::DebugUInt2Float>::kPreparation = {RectTexture::R16UI, fillDeep,
                                                                                RectTexture::RGBA32F, greyOf(0, 0, 1)};

LaplacianOperator::LaplacianOperator(const Material& material) : FilterOperator(material, RectTexture::RGBA32F)
{
    mFilter.prepareExecution(*material.frameTexture, destination());
}

cvprocess::GpuStdShaders& LaplacianOperator::filter(const Values& values)
{
    mFilter.params()->kernelType = static_cast<int>(values[0]);
    return mFilter;
}

Colours LaplacianOperator::coloursOf(const Values& values) const
{
    return colours(values[1]);
}

SobelOperator::SobelOperator(const Material& material)
    : FilterOperator(material, RectTexture::RGBA32F), mGrey(makeTexture(RectTexture::R32F))
{
    mToGrey.prepareExecution(*material.frameTexture, *mGrey);
    mFilter.prepareExecution(*mGrey, destination());
}

cvprocess::GpuStdShaders& SobelOperator::filter(const Values&)
{
    mToGrey.execute();
    return mFilter;
}

Colours SobelOperator::coloursOf(const Values& values) const
{
    if (values[0] == 0)
        return greyOf(demo::STRENGTH, 0, 2);
    return greyOf(values[0] == 1 ? demo::LEVEL : demo::UPRIGHT, -2, 2);
}

ThinningOperator::ThinningOperator(const Material& material)
    : FilterOperator(material, RectTexture::RGBA32F), mGrey(makeTexture(RectTexture::R32F)),
      mGradients(makeTexture(RectTexture::RGBA32F)), mScaled(makeTexture(RectTexture::RGBA32F))
{
    mToGrey.prepareExecution(*material.frameTexture, *mGrey);
    mToGradients.prepareExecution(*mGrey, *mGradients);
    mFilter.prepareExecution(*mScaled, destination());
}

cvprocess::GpuStdShaders& ThinningOperator::filter(const Values&)
{
    mToGrey.execute();
    mToGradients.execute();
    mScaled->upload(demo::strengthAndDirection(demo::downloadFloats(*mGradients)).data);
    return mFilter;
}

Colours ThinningOperator::coloursOf(const Values& values) const
{
    return greyOf(0, 0, 1 / values[0]);
}

} // namespace velmor::viewer
