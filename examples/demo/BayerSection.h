#pragma once

namespace velmor::demo {

struct Scene;
class Showcase;

/// Shows what becomes of a mosaic made from the later frame.
void showBayerFilters(const Scene& scene, Showcase& showcase);

} // namespace velmor::demo
