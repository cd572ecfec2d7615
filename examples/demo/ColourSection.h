#pragma once

namespace velmor::demo {

struct Scene;
class Showcase;

/// Shows what ColourDetector makes of a colour model, and what Moments finds in its mask.
void showColourModel(const Scene& scene, Showcase& showcase);

} // namespace velmor::demo
