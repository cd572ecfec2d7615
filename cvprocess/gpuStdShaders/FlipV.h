#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Turns a picture upside down.
///
/// Row y of the output is row `height - 1 - y` of the input. Columns keep their order, and all four channels are
/// copied. A destination of another size shows the whole source, stretched. Regions of interest are ignored.
///
/// Input: one rectangle texture of any float or normalised format. Output: r, g, b, a.
/// There are no parameters. Border: no place outside the source is read.
///
/// Example:
///
///     FlipV flip;
///     flip.prepareExecution(picture, flipped);
///     flip.execute();
class VELMOR_CVPROCESS_EXPORT FlipV : public GpuStdShaders
{
public:
    /// Compiles the program; a context must be current.
    FlipV();

    ~FlipV() override;

    /// Builds one quad over the whole destination that shows the source upside down.
    void prepareDisplayList() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
