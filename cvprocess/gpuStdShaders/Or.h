#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Joins two masks by a saturated sum, channel by channel: `out = clamp(A + B, 0, 1)`.
///
/// The result is not thresholded: two inputs of 0.3 give 0.6. With inputs of 0 and 1 it is the logical or.
///
/// Inputs: two rectangle textures of any float or normalised format. Output: 0..1 in each of r, g, b, a.
/// Pixels depend on no neighbour, so there is no border rule. No parameters.
///
/// Example:
///
///     Or either(nullptr);
///     either.prepareExecution(maskA, maskB, result);
///     either.execute();
class VELMOR_CVPROCESS_EXPORT Or : public GpuStdShaders
{
public:
    /// There is nothing to set.
    struct Param
    {
        Param() {}
    };

    /// Compiles the program; needs the context.
    /// @param param  not read, may be null
    explicit Or(Param* param);

    ~Or() override;

    /// The filter's own record, never the one that was given to the constructor.
    Param* params() { return &mParam; }

private:
    std::string mShaderSrc;
    Param mParam;
};

} // namespace velmor::cvprocess
