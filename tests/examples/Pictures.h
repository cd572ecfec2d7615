#pragma once

#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "core/cvdata/Image.h"
#include "native/Subtract.h"

#include <opencv2/core.hpp>

#include <iostream>
#include <vector>

// What the examples of filters on pictures in main memory take for granted. Nothing here is ever defined.

namespace velmor {

extern cv::Mat photograph, picture, frame, grey, raw, counts, mask, skinMask, motionMask;
extern cv::Mat frameBefore, frameNow, background, magnitudeAndDirection;
extern cv::Mat difference, change, brighter, foreground, movingSkin, skinOrMotion, everythingElse;
extern cv::Mat colour, gradients, edges, flipped, result;
extern core::cvdata::Image samples, sampleMask;
extern core::cvdata::ColorGMM skin, grass, road;

} // namespace velmor
