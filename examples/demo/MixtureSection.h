#pragma once

namespace velmor::demo {

struct Scene;
class Showcase;

/// Shows ColorGMM with the colours of a patch of the later frame.
void showMixtures(const Scene& scene, Showcase& showcase);

} // namespace velmor::demo
