#include "examples/shared/Faces.h"

namespace velmor::demo {

cv::Rect faceRectangle(const math::Vector4& face)
{
    return {cvRound(face[0]), cvRound(face[1]), cvRound(face[2]), cvRound(face[3])};
}

} // namespace velmor::demo
