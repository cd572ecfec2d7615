#pragma once

namespace velmor::demo {

struct Scene;
class Showcase;

/// Shows the conversions to grey and to hue, saturation and value.
void showColourFilters(const Scene& scene, Showcase& showcase);

} // namespace velmor::demo
