#pragma once

#include "bench/Comparison.h"

namespace velmor::bench {

void addLogic(); ///< And, Or, Xor, Not, Subtract, Classify
void addBayer(); ///< BayerRG2RGB, BayerRG2GRAY
void addViews(); ///< FlipV, DebugUInt2Float

} // namespace velmor::bench
