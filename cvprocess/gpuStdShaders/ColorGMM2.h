#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <sstream>
#include <string>
#include <vector>

namespace velmor::core::cvdata {
class ColorGMM;
}

namespace velmor::cvprocess {

/// Finds the colour class of every pixel: up to eleven classes, each a Gaussian mixture of up to nine components.
///
/// c = (c0, c1) are the first two channels, scaled to 0..255. Each component of a mixture has the inverse covariance S,
/// the determinant det of the covariance, the mean m and the weight w. The density of a class is
///
///     sum of w exp(-(c - m)' S (c - m) / 2) / (2 pi sqrt(det))
///
/// With several classes a pixel gets the index of the class with the largest density, the first one on a tie. The
/// thresholds play no part. With one class it is white where the density is above the model's detection threshold.
///
/// Input: one rectangle texture with the models' two colour components in r and g.
/// Output with several classes: the index in r; g, b and a have no defined value. Use a float destination, because
/// others clamp the index to 1.
/// Output with one class: 1 in all channels of a detected pixel. Elsewhere the shader writes nothing, and the driver
/// decides what is there: 0 in all channels where the dialect of the shader is adapted.
/// There are no parameters. Each pixel is computed from its own place alone, so there is no border rule.
///
/// Limits, each an assertion: at least one model, at least one component in each, two colour dimensions, fewer than ten
/// components, fewer than twelve models. The generated shader is written in the classic dialect (variables at file
/// scope, an int assigned to a float, a mat2 set by four floats), which strict drivers refuse.
///
/// Each execute() reads the numbers of the models. The constructor fixes how many classes and components there are.
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
    /// Generates and compiles the program; a context must be current.
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
