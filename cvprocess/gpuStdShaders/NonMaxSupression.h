#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Thins edges: keeps a gradient magnitude only where it is the largest along its gradient (Canny, 1986).
///
/// m is the magnitude and d the direction of a pixel. The filter looks up the magnitudes at `d / (1.4142 m)` texels
/// ahead and behind. If one of them is at least m, ties included, the output is 0; otherwise it is `1.4142 m`. Where m
/// is 0 the output is 0.
///
/// Input: one rectangle texture with m in r, and d in g and b as (component + 1) / 2. No filter of this library writes
/// that encoding (GRAY2Sobel writes signed sums), so the caller prepares it.
/// Output: the same value in r, g and b; a has no defined value. For values above 1 / 1.4142 the destination needs a
/// float format, because others clamp.
/// There are no parameters.
/// Border: outside the source the texture's wrap mode decides; a RectTexture repeats its edge pixels.
///
/// Example:
///
///     NonMaxSupression thin(nullptr);
///     thin.prepareExecution(magnitudeAndDirection, edges);
///     thin.execute();
class VELMOR_CVPROCESS_EXPORT NonMaxSupression : public GpuStdShaders
{
public:
    /// Empty: this filter has no settings.
    struct Param
    {
        Param() {}
    };

    /// Compiles the program; a context must be current.
    /// @param param  not read, may be null
    explicit NonMaxSupression(Param* param);

    ~NonMaxSupression() override;

    /// The filter's own record, not the one that the constructor was given.
    Param* params() { return &mParam; }

private:
    Param mParam;
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
