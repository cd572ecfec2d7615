#pragma once

namespace velmor::demo {

struct Scene;
class Showcase;

/// Shows GRAY2Sobel, NonMaxSupression and Laplacian.
void showEdgeFilters(const Scene& scene, Showcase& showcase);

} // namespace velmor::demo
