#pragma once

#include "cvprocess/gpuStdShaders/And.h"
#include "cvprocess/gpuStdShaders/BGR2GRAY.h"
#include "cvprocess/gpuStdShaders/BayerRG2GRAY.h"
#include "cvprocess/gpuStdShaders/BayerRG2RGB.h"
#include "cvprocess/gpuStdShaders/DebugUInt2Float.h"
#include "cvprocess/gpuStdShaders/GRAY2Sobel.h"
#include "cvprocess/gpuStdShaders/Laplacian.h"
#include "cvprocess/gpuStdShaders/NonMaxSupression.h"
#include "examples/viewer/FilterOperator.h"

#include <memory>

namespace velmor::viewer {

// Filters whose source is made from the frame first, or whose result needs a float destination.

/// And of what is bright in both pictures. Parameter: the level, 0..255, from which on a channel counts as set.
class AndOperator : public FilterOperator
{
public:
    explicit AndOperator(const Material& material);

protected:
    cvprocess::GpuStdShaders& filter(const Values& values) override;

private:
    std::unique_ptr<RectTexture> mFirst;
    std::unique_ptr<RectTexture> mSecond;
    cvprocess::And mFilter;
};

/// How a filter's source is made of the frame, and how its result is seen.
struct Preparation
{
    glsupport::RectTexture::Format source;
    void (*fill)(const cv::Mat& frame, glsupport::RectTexture& source);
    glsupport::RectTexture::Format result;
    Colours seen;
};

/// BayerRG2RGB or BayerRG2GRAY, of the mosaic that a sensor would see, or DebugUInt2Float, of the luminance in 16 bits.
template<class Filter>
class PreparedOperator : public FilterOperator
{
public:
    explicit PreparedOperator(const Material& material)
        : FilterOperator(material, kPreparation.result), mSource(makeTexture(kPreparation.source))
    {
        mFilter.prepareExecution(*mSource, destination());
    }

protected:
    cvprocess::GpuStdShaders& filter(const Values&) override
    {
        kPreparation.fill(material().frame, *mSource);
        return mFilter;
    }
    Colours coloursOf(const Values&) const override { return kPreparation.seen; }

private:
    static const Preparation kPreparation;

    std::unique_ptr<RectTexture> mSource;
    Filter mFilter;
};

template<>
const Preparation PreparedOperator<cvprocess::BayerRG2RGB>::kPreparation;
template<>
const Preparation PreparedOperator<cvprocess::BayerRG2GRAY>::kPreparation;
template<>
const Preparation PreparedOperator<cvprocess::DebugUInt2Float>::kPreparation;

/// Laplacian of the frame. Parameters: the kernel, the brightness.
class LaplacianOperator : public FilterOperator
{
public:
    explicit LaplacianOperator(const Material& material);

protected:
    cvprocess::GpuStdShaders& filter(const Values& values) override;
    Colours coloursOf(const Values& values) const override;

private:
    cvprocess::Laplacian mFilter{nullptr};
};

/// GRAY2Sobel behind BGR2GRAY. Parameter: which of the three results is seen, as demo::Gradient has them but the
/// strength first.
class SobelOperator : public FilterOperator
{
public:
    explicit SobelOperator(const Material& material);

protected:
    cvprocess::GpuStdShaders& filter(const Values& values) override;
    Colours coloursOf(const Values& values) const override;

private:
    std::unique_ptr<RectTexture> mGrey;
    cvprocess::BGR2GRAY mToGrey;
    cvprocess::GRAY2Sobel mFilter;
};

/// NonMaxSupression of the frame's gradients. Parameter: the brightness.
class ThinningOperator : public FilterOperator
{
public:
    explicit ThinningOperator(const Material& material);

protected:
    cvprocess::GpuStdShaders& filter(const Values& values) override;
    Colours coloursOf(const Values& values) const override;

private:
    std::unique_ptr<RectTexture> mGrey;
    std::unique_ptr<RectTexture> mGradients;
    std::unique_ptr<RectTexture> mScaled;
    cvprocess::BGR2GRAY mToGrey;
    cvprocess::GRAY2Sobel mToGradients;
    cvprocess::NonMaxSupression mFilter{nullptr};
};

} // namespace velmor::viewer
