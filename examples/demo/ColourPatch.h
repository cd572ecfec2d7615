#pragma once

#include <opencv2/core.hpp>

namespace velmor::demo {

struct Scene;

/// A small square of the later frame that is a good sample of a colour: not dark, of one colour, and with red and green
/// alike. It is as large as the frame where that is smaller.
cv::Rect colourPatch(const Scene& scene);

} // namespace velmor::demo
