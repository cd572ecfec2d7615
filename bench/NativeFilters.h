#pragma once

#include "bench/Comparison.h"

namespace velmor::bench {

void addThreads();    ///< every filter with one thread and with all
void addArithmetic(); ///< Subtract, Or and Not beside OpenCV
void addBayer();      ///< BayerRG2RGB, BayerRG2GRAY
void addColour();     ///< BGR2GRAY, RGB2GRAY, BGR2HSV, RGB2HSV
void addEdges();      ///< GRAY2Sobel, Laplacian, NonMaxSupression
void addLogic();      ///< And, Or, Xor, Not, Subtract, Classify
void addMixtures();   ///< ColorGMM, ColorGMM2, ColorHistShader, PixelCount
void addViews();      ///< FlipV, DebugUInt2Float

} // namespace velmor::bench
