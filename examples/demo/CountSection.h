#pragma once

namespace velmor::demo {

struct Scene;
class Showcase;

/// Shows ColorGMM2, ColorHistShader and PixelCount.
void showCounts(const Scene& scene, Showcase& showcase);

} // namespace velmor::demo
