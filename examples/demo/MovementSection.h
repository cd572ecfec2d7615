#pragma once

namespace velmor::demo {

struct Scene;
class Showcase;

/// Shows MotionSegment, and what ColourHist2D counts in the frame and in what moved.
void showMovement(const Scene& scene, Showcase& showcase);

} // namespace velmor::demo
