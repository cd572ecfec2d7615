#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Turns a colour picture into hue, saturation and value.
///
/// The hexcone model (Smith, Color gamut transform pairs, 1978) on (R, G, B) = (b, g, r) of the texel, with MAX and MIN
/// their largest and smallest: `V = MAX`, `S = (MAX - MIN) / MAX`, 0 for black, and the hue in degrees
///
///     0                                  where MAX = MIN
///     60 (G - B) / (MAX - MIN)           where MAX = R, else
///     120 + 60 (B - R) / (MAX - MIN)     where MAX = G, else
///     240 + 60 (R - G) / (MAX - MIN)
///
/// plus 360 where that is below 0. This is the one to use where red and blue of the texture are exchanged.
///
/// Input: one rectangle texture of at least three colour channels on 0..1. Output: V in r, S in g, hue / 360 in b, 1 in
/// a, all on 0..1. A colour model over the first two channels behind this filter therefore sees (V, S).
/// Pixels depend on no neighbour, so there is no border rule. No parameters.
///
/// Limits: a hue just below 360 may be rounded to 1, which is the red of 0. Into 8 bits each hue above 359.3 is.
///
/// Example:
///
///     RGB2HSV toHsv;
///     toHsv.prepareExecution(colour, result);
///     toHsv.execute();
class VELMOR_CVPROCESS_EXPORT RGB2HSV : public GpuStdShaders
{
public:
    /// Compiles the program; needs the context.
    RGB2HSV();

    ~RGB2HSV() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
