#pragma once

namespace velmor::demo {

struct Scene;
class Showcase;

/// Shows And, Or, Xor, Not and Subtract.
void showLogicFilters(const Scene& scene, Showcase& showcase);

} // namespace velmor::demo
