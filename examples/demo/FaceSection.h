#pragma once

namespace velmor::demo {

struct Scene;
class Showcase;

/// Shows the faces that FaceDetect finds in a photograph.
void showFaces(const Scene& scene, Showcase& showcase);

} // namespace velmor::demo
