#pragma once

#include "core/cvdata/Blobs.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "core/cvdata/Image.h"
#include "math/Vector2.h"
#include "math/Vector4.h"

#include <iostream>
#include <vector>

// What the examples of records and CPU operators take for granted. Nothing here is ever defined.

namespace velmor {

extern core::cvdata::Image photograph, skinMask, frame, mask, history;
extern core::cvdata::ColorGMM skin;

} // namespace velmor
