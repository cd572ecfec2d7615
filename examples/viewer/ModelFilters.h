#pragma once

#include "core/cvdata/ColorGMM.h"
#include "cvprocess/gpuStdShaders/ColorGMM.h"
#include "cvprocess/gpuStdShaders/ColorGMM2.h"
#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "examples/viewer/FilterOperator.h"

#include <array>
#include <memory>
#include <string>

namespace velmor::viewer {

/// A model that accepts a colour from so many times its usual likelihood on.
core::cvdata::ColorGMM withThreshold(const core::cvdata::ColorGMM& model, double factor);

/// ColorGMM with the model of the patch. Parameters: what is seen (0: a mask, 1: the pixels' own colours), the
/// threshold.
class MixtureOperator : public FilterOperator
{
public:
    explicit MixtureOperator(const Material& material);

protected:
    cvprocess::GpuStdShaders& filter(const Values& values) override;

private:
    core::cvdata::ColorGMM mModel;
    std::unique_ptr<cvprocess::ColorGMM> mFilters[2]; ///< one for each kind of output
};

/// ColorGMM2 with models of the patch, of a dark and of a bright part of the frame.
class ClassesOperator : public FilterOperator
{
public:
    explicit ClassesOperator(const Material& material);

protected:
    cvprocess::GpuStdShaders& filter(const Values& values) override;
    Outcome outcome() override;

private:
    std::array<core::cvdata::ColorGMM, 3> mModels; ///< they stay in their places, which the filter has the addresses of
    std::unique_ptr<cvprocess::ColorGMM2> mFilter;
    std::unique_ptr<RectTexture> mPicture;
};

/// ColorHistShader, as a chart over the frame. Parameter: bins of each colour; as many are counted as have place in a
/// row of the frame.
class ColourHistOperator : public FilterOperator
{
public:
    explicit ColourHistOperator(const Material& material);

protected:
    cvprocess::GpuStdShaders& filter(const Values& values) override;
    void addRegion(cvprocess::GpuStdShaders& filter, std::size_t index) override;
    Outcome outcome() override;

private:
    std::unique_ptr<cvprocess::ColorHistShader> mFilter;
    std::unique_ptr<RectTexture> mPicture;
};

/// PixelCount of the mask that ColorGMM makes with the model of the patch. Parameter: how many tiles at most.
class CountOperator : public Operator
{
public:
    explicit CountOperator(const Material& material);

    Result run(const Values& values) override;

private:
    glsupport::RectTexture mMask;
    glsupport::RectTexture mSums;
    core::cvdata::ColorGMM mModel;
    const Material& mMaterial;
    std::unique_ptr<cvprocess::ColorGMM> mToMask;
    std::unique_ptr<cvprocess::PixelCount> mFilter; ///< made anew for another number of tiles
    unsigned mTiles = 0;                            ///< that it was made for
};

} // namespace velmor::viewer
