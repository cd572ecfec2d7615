#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Turns a colour picture into grey by luminance.
///
/// `grey = 0.212671 r + 0.715160 g + 0.072169 b`, the luminance weights of ITU-R BT.709, written to all four channels.
/// Both BGR2GRAY and RGB2GRAY weight the stored red channel by 0.212671: they give the same result, and this is
/// meant. A texture whose red is red (RectTexture, whatever the layout of the image) needs no thought about it.
///
/// Input: one rectangle texture of at least three colour channels. Output: grey in r, g, b, a; 0..1 for inputs of 0..1.
/// Pixels depend on no neighbour, so there is no border rule. No parameters.
///
/// Example:
///
///     BGR2GRAY grey;
///     grey.prepareExecution(colour, result);
///     grey.execute();
class VELMOR_CVPROCESS_EXPORT BGR2GRAY : public GpuStdShaders
{
public:
    /// Compiles the program; needs the context.
    BGR2GRAY();

    ~BGR2GRAY() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
