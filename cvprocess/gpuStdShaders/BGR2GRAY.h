#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Turns a colour picture into grey by its luminance.
///
/// `grey = 0.212671 r + 0.715160 g + 0.072169 b`, written to all four channels. The weights are those of ITU-R BT.709.
/// By design BGR2GRAY and RGB2GRAY give the same result: both weight the red channel of the texture by 0.212671. This
/// is right for every texture whose red is red. A RectTexture is one, whatever the layout of the image that was
/// uploaded.
///
/// Input: one rectangle texture of at least three colour channels. Output: grey in r, g, b, a; 0..1 for inputs of 0..1.
/// There are no parameters. Each pixel is computed from its own place alone, so there is no border rule.
///
/// Example:
///
///     BGR2GRAY grey;
///     grey.prepareExecution(colour, result);
///     grey.execute();
class VELMOR_CVPROCESS_EXPORT BGR2GRAY : public GpuStdShaders
{
public:
    /// Compiles the program; a context must be current.
    BGR2GRAY();

    ~BGR2GRAY() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
