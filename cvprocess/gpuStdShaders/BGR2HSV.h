#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Turns a colour picture into hue, saturation and value.
///
/// The model is the hexcone (Smith, Color gamut transform pairs, 1978). (R, G, B) are the channels (r, g, b) of the
/// texel, MAX is their largest and MIN their smallest. Then `V = MAX`, `S = (MAX - MIN) / MAX`, or 0 for black, and the
/// hue in degrees is
///
///     0                                  where MAX = MIN
///     60 (G - B) / (MAX - MIN)           where MAX = R, else
///     120 + 60 (B - R) / (MAX - MIN)     where MAX = G, else
///     240 + 60 (R - G) / (MAX - MIN)
///
/// plus 360 where that is below 0. Use this filter after RectTexture and BayerRG2RGB, whose red is red.
///
/// Input: one rectangle texture of at least three colour channels on 0..1. Output: V in r, S in g, hue / 360 in b, 1 in
/// a, all on 0..1. So a colour model that follows this filter sees (V, S) as its first two channels.
/// There are no parameters. Each pixel is computed from its own place alone, so there is no border rule.
///
/// Limits: a hue just below 360 may be rounded to 1, which is the same red as 0. In 8 bits this happens to every hue
/// above 359.3.
///
/// Example:
///
///     BGR2HSV toHsv;
///     toHsv.prepareExecution(colour, result);
///     toHsv.execute();
class VELMOR_CVPROCESS_EXPORT BGR2HSV : public GpuStdShaders
{
public:
    /// Compiles the program; a context must be current.
    BGR2HSV();

    ~BGR2HSV() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
