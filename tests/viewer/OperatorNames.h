#pragma once

#include <iterator>

namespace velmor::tests {

/// The operators in the order in which the viewer has them.
constexpr const char* kOperatorNames[] = {
    "Not",
    "Subtract",
    "And",
    "Or",
    "Xor",
    "Classify",
    "BGR2GRAY",
    "RGB2GRAY",
    "BGR2HSV",
    "RGB2HSV",
    "BayerRG2RGB",
    "BayerRG2GRAY",
    "GRAY2Sobel",
    "NonMaxSupression",
    "Laplacian",
    "FlipV",
    "DebugUInt2Float",
    "ColorGMM",
    "ColorGMM2",
    "ColorHistShader",
    "PixelCount",
    "ColourDetector",
    "ColourHist2D",
    "Moments",
    "MotionSegment",
    "FaceDetect",
};
static_assert(std::size(kOperatorNames) == 26);

} // namespace velmor::tests
