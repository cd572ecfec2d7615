#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <cstdint>
#include <string>

namespace velmor::core::cvdata {
class ColorGMM;
}

namespace velmor::cvprocess {

/// Keeps the pixels whose colour a Gaussian mixture of two components accounts for.
///
/// With (c0, c1) the first two channels scaled to 0..255, and per mixture component the inverse covariance S, the
/// determinant det of the covariance, the mean m and the weight w:
///
///     d = (c - m)' S (c - m),   p = exp(-d / 2) / (2 pi sqrt(det)),   density = w1 p1 + w2 p2
///
/// A pixel is kept where the density is above the model's detection threshold; equality is not enough.
///
/// Input: one rectangle texture whose r and g hold the model's two colour components. Output: 1 in all channels for a
/// kept pixel (binary output) or its own colour, and 0 in all channels elsewhere.
/// Parameter: `mBinaryOutput`, default false; it takes effect in the constructor.
/// Pixels depend on no neighbour, so there is no border rule.
///
/// Which models run: those of two components. The shader for one component uses a variable that it does not declare,
/// and the one for three declares a variable twice: strict compilers refuse both, and the process then ends as
/// GlShaderMgr says. Compilers that accept the one for three components sum the third density twice and never the
/// second. Models of other counts have no shader. All this is meant to stay; for one to nine components use ColorGMM2
/// with one class.
///
/// The model's numbers are read in each execute(), its number of components too; the shader stays the one that was
/// chosen in the constructor.
///
/// Example:
///
///     core::cvdata::ColorGMM model;
///     model.train(samples, &sampleMask, 2);
///     ColorGMM::Param param;
///     param.mBinaryOutput = true;
///     ColorGMM filter(&model, &param);
///     filter.prepareExecution(picture, result);
///     filter.execute();
class VELMOR_CVPROCESS_EXPORT ColorGMM : public GpuStdShaders
{
public:
    /// Settings.
    struct Param
    {
        bool mBinaryOutput = false; ///< white for kept pixels, instead of their own colour
    };

    /// Chooses and compiles the program; needs the context.
    /// @param gmm    borrowed: it must outlive the filter's last execute()
    /// @param param  copied; null for the defaults
    ColorGMM(core::cvdata::ColorGMM* gmm, Param* param);

    ~ColorGMM() override;

    /// The filter's own settings.
    Param* params() { return &mParam; }

    void execute() override;

private:
    void lookUpLocations(int mixture);
    void sendMixture(int mixture, std::int32_t detLocation);

    Param mParam;
    std::string mShaderSource;
    std::int32_t mCovLoc[5];    ///< by mixture from 1 on; slot 0 is never looked up
    std::int32_t mMeanLoc[5];   ///< by mixture from 1 on; slot 0 is never looked up
    std::int32_t mWeightLoc[4]; ///< by mixture less 1
    std::int32_t mDetLoc[5];    ///< by mixture from 1 on; slot 0 is never looked up
    core::cvdata::ColorGMM* mGmm;
};

} // namespace velmor::cvprocess
