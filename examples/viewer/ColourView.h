#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <opencv2/core.hpp>

namespace velmor::viewer {

/// The colour in which a texel is seen: weights * (r, g, b) + offset, on 0..1.
struct Colours
{
    cv::Matx33f weights;
    cv::Vec3f offset;
};

/// The texture's own colours, so many times brighter.
Colours colours(double brightness = 1);

/// A channel as grey.
/// @param black, white  the values that are seen so
Colours greyOf(int channel, double black, double white);

/// A filter that makes values visible: from any texture of floats or bytes into a texture of colours.
class ColourView : public cvprocess::GpuStdShaders
{
public:
    ColourView();

    /// Settles what the next pass makes of a texel.
    void setColours(const Colours& newColours) { mColours = newColours; }

    void execute() override;

private:
    Colours mColours = colours();
};

} // namespace velmor::viewer
