#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Complements a picture, channel by channel: `out = 1 - A`.
///
/// Alpha is complemented too: an opaque input gives a transparent output.
///
/// Input: one rectangle texture of any float or normalised format. Output: r, g, b, a; 0..1 for inputs of 0..1.
/// Pixels depend on no neighbour, so there is no border rule. No parameters.
///
/// Example:
///
///     Not invert(nullptr);
///     invert.prepareExecution(mask, result);
///     invert.execute();
class VELMOR_CVPROCESS_EXPORT Not : public GpuStdShaders
{
public:
    /// There is nothing to set.
    struct Param
    {
        Param() {}
    };

    /// Compiles the program; needs the context.
    /// @param param  not read, may be null
    explicit Not(Param* param);

    ~Not() override;

    /// The filter's own record, never the one that was given to the constructor.
    Param* params() { return &mParam; }

private:
    std::string mShaderSrc;
    Param mParam;
};

} // namespace velmor::cvprocess
