#pragma once

#include "bench/Comparison.h"

namespace velmor::bench {

void addColour(); ///< BGR2GRAY, RGB2GRAY, BGR2HSV, RGB2HSV
void addLogic();  ///< And, Or, Xor, Not, Subtract, Classify

} // namespace velmor::bench
