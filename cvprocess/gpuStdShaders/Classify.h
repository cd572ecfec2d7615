#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Keeps the difference of two pictures where the second is nowhere below the first.
///
/// With D = B - A, the second source less the first: `out = D` where no channel of D is below 0, alpha included, and
/// (0, 0, 0, 0) elsewhere. A difference of exactly 0 is kept.
///
/// Inputs: two rectangle textures of any float or normalised format. Output: r, g, b, a, none below 0.
/// Pixels depend on no neighbour, so there is no border rule. No parameters.
///
/// Example:
///
///     Classify classify;
///     classify.prepareExecution(background, frame, result);
///     classify.execute();
class VELMOR_CVPROCESS_EXPORT Classify : public GpuStdShaders
{
public:
    /// Compiles the program; needs the context.
    Classify();

    ~Classify() override;

private:
    std::string mShaderSource;
};

} // namespace velmor::cvprocess
