#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Computes the absolute difference of two pictures, channel by channel: `out = |A - B|`.
///
/// The order of the sources does not matter. Alpha is subtracted too: two opaque inputs give a transparent output.
///
/// Inputs: two rectangle textures of any float or normalised format. Output: r, g, b, a; 0..1 for inputs of 0..1.
/// There are no parameters. Each pixel is computed from its own place alone, so there is no border rule.
///
/// Example:
///
///     Subtract change;
///     change.prepareExecution(frameBefore, frameNow, result);
///     change.execute();
class VELMOR_CVPROCESS_EXPORT Subtract : public GpuStdShaders
{
public:
    /// Compiles the program; a context must be current.
    Subtract();

    ~Subtract() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
