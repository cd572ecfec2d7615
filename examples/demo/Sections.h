#pragma once

namespace velmor::examples {

struct Scene;
class Showcase;

// The sections of the sheet. Each shows some operators on the scene.

void showInputs(const Scene& scene, Showcase& showcase);
void showLogicFilters(const Scene& scene, Showcase& showcase);
void showColourFilters(const Scene& scene, Showcase& showcase);
void showBayerFilters(const Scene& scene, Showcase& showcase);
void showEdgeFilters(const Scene& scene, Showcase& showcase);
void showViews(const Scene& scene, Showcase& showcase);
void showMixtures(const Scene& scene, Showcase& showcase);
void showCounts(const Scene& scene, Showcase& showcase);
void showColourModel(const Scene& scene, Showcase& showcase);
void showMovement(const Scene& scene, Showcase& showcase);
void showFaces(const Scene& scene, Showcase& showcase);

} // namespace velmor::examples
