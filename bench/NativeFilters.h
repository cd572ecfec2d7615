#pragma once

#include "bench/Comparison.h"

namespace velmor::bench {

void addLogic(); ///< And, Or, Xor, Not, Subtract, Classify

} // namespace velmor::bench
