#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <sstream>
#include <string>
#include <vector>

namespace velmor::core::cvdata {
class ColorGMM;
}

namespace velmor::cvprocess {

/// Classifies every pixel among up to eleven colour classes, each a Gaussian mixture of up to nine components.
///
/// With (c0, c1) the first two channels scaled to 0..255, and per mixture component the inverse covariance S, the
/// determinant det of the covariance, the mean m and the weight w, a class has the density
///
///     sum of w exp(-(c - m)' S (c - m) / 2) / (2 pi sqrt(det))
///
/// With several classes the pixel gets the index of the class of the largest density, the first one on a tie, whatever
/// the thresholds. With one class it is white where the density is above the model's detection threshold.
///
/// Input: one rectangle texture whose r and g hold the models' two colour components. Output: with several classes the
/// index in r, while g, b and a have no defined value: use a float destination, since others clamp it to 1. With one
/// class 1 in all channels of a detected pixel; elsewhere nothing is written, and what that gives is the driver's (0 in
/// all channels where the dialect of the shader is adapted).
/// Pixels depend on no neighbour, so there is no border rule. No parameters.
///
/// Limits, each an assertion: at least one model, at least one component in each, two colour dimensions, fewer than ten
/// components, fewer than twelve models. The generated shader is of the classic dialect (variables at file scope, an
/// int assigned to a float, a mat2 set by four floats), which strict drivers refuse.
///
/// The models' numbers are read in each execute(); how many classes and components there are is settled in the
/// constructor.
///
/// Example:
///
///     std::vector<core::cvdata::ColorGMM*> models = {&skin, &grass, &road};
///     ColorGMM2 filter(models);
///     filter.prepareExecution(picture, classes); // classes: RectTexture::R32F
///     filter.execute();
class VELMOR_CVPROCESS_EXPORT ColorGMM2 : public GpuStdShaders
{
public:
    /// Generates and compiles the program; needs the context.
    /// @param models  copied; the models are borrowed and must outlive the filter's last execute()
    explicit ColorGMM2(std::vector<core::cvdata::ColorGMM*>& models);

    ~ColorGMM2() override;

    void execute() override;

private:
    std::string uniformName(std::size_t model, const char* member);
    std::string uniformName(std::size_t model, const char* member, int mixture);

    std::stringstream mShaderStream;
    std::stringstream mNameStream; ///< where names of uniforms are composed
    std::vector<core::cvdata::ColorGMM*> gmms;
};

} // namespace velmor::cvprocess
