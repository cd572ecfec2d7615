#pragma once

#include "bench/Comparison.h"

namespace velmor::bench {

void addLogic();    ///< And, Or, Xor, Not, Subtract, Classify
void addMixtures(); ///< ColorGMM, ColorGMM2, colorHistShader, pixelCount

} // namespace velmor::bench
