#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <cstdint>
#include <string>

namespace velmor::core::cvdata {
class ColorGMM;
}

namespace velmor::cvprocess {

/// Keeps the pixels whose colour fits a Gaussian mixture of two components.
///
/// c = (c0, c1) are the first two channels, scaled to 0..255. Each component of the mixture has the inverse covariance
/// S, the determinant det of the covariance, the mean m and the weight w:
///
///     d = (c - m)' S (c - m),   p = exp(-d / 2) / (2 pi sqrt(det)),   density = w1 p1 + w2 p2
///
/// A pixel is kept where the density is above the model's detection threshold. A density equal to it is not enough.
///
/// Input: one rectangle texture with the model's two colour components in r and g. Output: for a kept pixel 1 in all
/// channels (binary output) or its own colour; 0 in all channels elsewhere.
/// Parameter: `mBinaryOutput`, default false. The constructor reads it; a later change has no effect.
/// Each pixel is computed from its own place alone, so there is no border rule.
///
/// Limits: only models of two components run. The shader for one component uses a variable that it does not declare.
/// The one for three declares a variable twice. Strict compilers refuse both, and the process then ends as GlShaderMgr
/// says. A compiler that accepts the shader for three components sums the third density twice and never the second. For
/// other numbers of components there is no shader. All this is by design. For one to nine components use ColorGMM2 with
/// one class.
///
/// Each execute() reads the numbers of the model, and how many components it has. The shader stays the one that the
/// constructor chose.
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

    /// Chooses and compiles the program; a context must be current.
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
