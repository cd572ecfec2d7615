#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <opencv2/core.hpp>

namespace velmor::examples {

/// The colour in which a texel is seen: weights * (r, g, b) + offset, on 0..1.
struct Colours
{
    cv::Matx33f weights;
    cv::Vec3f offset;
};

/// The texture's own colours, so many times brighter, or a channel as grey, with the values that are black and white.
Colours colours(double brightness = 1);
Colours greyOf(int channel, double black, double white);

/// A filter that makes values visible: from any texture of floats or bytes into a texture of colours.
class ColourView : public cvprocess::GpuStdShaders
{
public:
    ColourView();
    void setColours(const Colours& newColours) { mColours = newColours; }
    void execute() override;

private:
    Colours mColours = colours();
};

} // namespace velmor::examples
