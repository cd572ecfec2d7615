#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Joins two masks: adds them channel by channel and clamps the sum, `out = clamp(A + B, 0, 1)`.
///
/// There is no threshold: two inputs of 0.3 give 0.6. For inputs of 0 and 1 the result is the logical or.
///
/// Inputs: two rectangle textures of any float or normalised format. Output: 0..1 in each of r, g, b, a.
/// There are no parameters. Each pixel is computed from its own place alone, so there is no border rule.
///
/// Example:
///
///     Or either(nullptr);
///     either.prepareExecution(maskA, maskB, result);
///     either.execute();
class VELMOR_CVPROCESS_EXPORT Or : public GpuStdShaders
{
public:
    /// Empty: this filter has no settings.
    struct Param
    {
        Param() {}
    };

    /// Compiles the program; a context must be current.
    /// @param param  not read, may be null
    explicit Or(Param* param);

    ~Or() override;

    /// The filter's own record, not the one that the constructor was given.
    Param* params() { return &mParam; }

private:
    std::string mShaderSrc;
    Param mParam;
};

} // namespace velmor::cvprocess
