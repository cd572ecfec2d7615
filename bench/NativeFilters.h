#pragma once

#include "bench/Comparison.h"

namespace velmor::bench {

void addEdges(); ///< GRAY2Sobel, Laplacian, NonMaxSupression
void addLogic(); ///< And, Or, Xor, Not, Subtract, Classify

} // namespace velmor::bench
