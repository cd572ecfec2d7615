#pragma once

#include "bench/Comparison.h"

namespace velmor::bench {

void addThreads(); ///< every filter with one thread and with all

void addArithmetic(); ///< Subtract, Or and Not beside OpenCV
void addLogic();      ///< And, Or, Xor, Not, Subtract, Classify

} // namespace velmor::bench
