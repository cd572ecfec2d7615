#pragma once

#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "core/cvdata/Image.h"
#include "cvprocess/gpuStdShaders/And.h"
#include "glsupport/RectTexture.h"

#include <iostream>
#include <vector>

// What the examples of GPU filters take for granted. Nothing here is ever defined.

namespace velmor {

extern glsupport::RectTexture source, source1, source2, destination;
extern glsupport::RectTexture picture, colour, grey, raw, counts, mask, maskA, maskB, magnitudeAndDirection;
extern glsupport::RectTexture background, frame, frameBefore, frameNow, before, after;
extern glsupport::RectTexture result, classes, edges, flipped, gradients, sums;
extern core::cvdata::Image samples, sampleMask;
extern core::cvdata::ColorGMM skin, grass, road;
extern cvprocess::And filter;

} // namespace velmor
