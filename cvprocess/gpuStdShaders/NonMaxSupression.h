#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Thins edges: keeps a gradient magnitude where it is the largest along its gradient (Canny, 1986).
///
/// With m the magnitude and d the direction of a pixel, the magnitudes at `d / (1.4142 m)` texels ahead and behind are
/// looked up. Where one of them is at least m, ties included, the output is 0, elsewhere `1.4142 m`. Where m is 0 the
/// output is 0.
///
/// Input: one rectangle texture with m in r, and d in g and b as (component + 1) / 2. No filter of this library writes
/// that encoding (GRAY2Sobel writes signed sums): the caller prepares it. Output: the same value in r, g and b; a has
/// no defined value. Values above 1 / 1.4142 need a float destination, others clamp. Border: places outside take what
/// the texture's wrap mode gives, the edge pixel for RectTexture. No parameters.
///
/// Example:
///
///     NonMaxSupression thin(nullptr);
///     thin.prepareExecution(magnitudeAndDirection, edges);
///     thin.execute();
class VELMOR_CVPROCESS_EXPORT NonMaxSupression : public GpuStdShaders
{
public:
    /// There is nothing to set.
    struct Param
    {
        Param() {}
    };

    /// Compiles the program; needs the context.
    /// @param param  not read, may be null
    explicit NonMaxSupression(Param* param);

    ~NonMaxSupression() override;

    /// The filter's own record, never the one that was given to the constructor.
    Param* params() { return &mParam; }

private:
    Param mParam;
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
