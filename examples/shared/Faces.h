#pragma once

#include "math/Vector4.h"

#include <opencv2/core.hpp>

namespace velmor::demo {

/// A cascade for faces seen from the front, of the package opencv-data.
constexpr const char* kFaceCascade = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml";

/// The rectangle that FaceDetect gives as x, y, width and height.
cv::Rect faceRectangle(const math::Vector4& face);

} // namespace velmor::demo
