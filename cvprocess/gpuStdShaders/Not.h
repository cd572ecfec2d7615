#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Complements a picture, channel by channel: `out = 1 - A`.
///
/// Alpha is complemented too: an opaque input gives a transparent output.
///
/// Input: one rectangle texture of any float or normalised format. Output: r, g, b, a; 0..1 for inputs of 0..1.
/// There are no parameters. Each pixel is computed from its own place alone, so there is no border rule.
///
/// Example:
///
///     Not invert(nullptr);
///     invert.prepareExecution(mask, result);
///     invert.execute();
class VELMOR_CVPROCESS_EXPORT Not : public GpuStdShaders
{
public:
    /// Empty: this filter has no settings.
    struct Param
    {
        Param() {}
    };

    /// Compiles the program; a context must be current.
    /// @param param  not read, may be null
    explicit Not(Param* param);

    ~Not() override;

    /// The filter's own record, not the one that the constructor was given.
    Param* params() { return &mParam; }

private:
    std::string mShaderSrc;
    Param mParam;
};

} // namespace velmor::cvprocess
