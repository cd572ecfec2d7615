#pragma once

namespace velmor::demo {

struct Scene;
class Showcase;

/// Shows the frames and masks that the operators work on.
void showInputs(const Scene& scene, Showcase& showcase);

} // namespace velmor::demo
