#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Keeps the difference of two pictures where the second is nowhere below the first.
///
/// With D = B - A, the second source less the first: `out = D` where no channel of D is below 0, alpha included, and
/// (0, 0, 0, 0) elsewhere. Despite its name this is not an exclusive or: a pixel that is set in the first source alone
/// comes out as 0. For the exclusive or of two masks, use Subtract.
///
/// Inputs: two rectangle textures of any float or normalised format. Output: r, g, b, a, none below 0.
/// Pixels depend on no neighbour, so there is no border rule. No parameters.
///
/// Example:
///
///     Xor gained;
///     gained.prepareExecution(before, after, result);
///     gained.execute();
class VELMOR_CVPROCESS_EXPORT Xor : public GpuStdShaders
{
public:
    /// Compiles the program; needs the context.
    Xor();

    ~Xor() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
