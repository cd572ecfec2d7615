#pragma once

namespace velmor::demo {

struct Scene;
class Showcase;

/// Shows Classify, FlipV and DebugUInt2Float.
void showViews(const Scene& scene, Showcase& showcase);

} // namespace velmor::demo
