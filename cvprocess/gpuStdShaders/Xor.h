#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Subtracts the first picture from the second, and keeps the result of a pixel where no channel is negative.
///
/// D is the second source minus the first: `D = B - A`. Where no channel of D is below 0, alpha included, `out = D`;
/// elsewhere out is (0, 0, 0, 0). A difference of exactly 0 is kept.
/// By design this is not an exclusive or, despite its name: a pixel that is set only in the first source comes out as
/// 0. For the exclusive or of two masks, use Subtract.
///
/// Inputs: two rectangle textures of any float or normalised format. Output: r, g, b, a, none below 0.
/// There are no parameters. Each pixel is computed from its own place alone, so there is no border rule.
///
/// Example:
///
///     Xor gained;
///     gained.prepareExecution(before, after, result);
///     gained.execute();
class VELMOR_CVPROCESS_EXPORT Xor : public GpuStdShaders
{
public:
    /// Compiles the program; a context must be current.
    Xor();

    ~Xor() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
