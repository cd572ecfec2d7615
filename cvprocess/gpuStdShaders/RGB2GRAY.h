#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Turns a colour picture into grey by its luminance.
///
/// `grey = 0.212671 r + 0.715160 g + 0.072169 b`, written to all four channels. The weights are those of ITU-R BT.709.
/// By design RGB2GRAY and BGR2GRAY give the same result: both weight the red channel of the texture by 0.212671. This
/// is right for every texture whose red is red. A RectTexture is one, whatever the layout of the image that was
/// uploaded.
///
/// Input: one rectangle texture of at least three colour channels. Output: grey in r, g, b, a; 0..1 for inputs of 0..1.
/// There are no parameters. Each pixel is computed from its own place alone, so there is no border rule.
///
/// Example:
///
///     RGB2GRAY grey;
///     grey.prepareExecution(colour, result);
///     grey.execute();
class VELMOR_CVPROCESS_EXPORT RGB2GRAY : public GpuStdShaders
{
public:
    /// Compiles the program; a context must be current.
    RGB2GRAY();

    ~RGB2GRAY() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
