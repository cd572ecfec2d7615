#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Subtracts the first picture from the second, and keeps the result of a pixel where no channel is negative.
///
/// D is the second source minus the first: `D = B - A`. Where no channel of D is below 0, alpha included, `out = D`;
/// elsewhere out is (0, 0, 0, 0). A difference of exactly 0 is kept.
///
/// Inputs: two rectangle textures of any float or normalised format. Output: r, g, b, a, none below 0.
/// There are no parameters. Each pixel is computed from its own place alone, so there is no border rule.
///
/// Example:
///
///     Classify classify;
///     classify.prepareExecution(background, frame, result);
///     classify.execute();
class VELMOR_CVPROCESS_EXPORT Classify : public GpuStdShaders
{
public:
    /// Compiles the program; a context must be current.
    Classify();

    ~Classify() override;

private:
    std::string mShaderSource;
};

} // namespace velmor::cvprocess
