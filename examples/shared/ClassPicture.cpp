#include "examples/shared/ClassPicture.h"

namespace velmor::demo {

const cv::Vec3b kClassColours[kClasses] = {{170, 80, 20}, {90, 170, 60}, {60, 170, 250}};

cv::Mat classPicture(const cv::Mat& classes)
{
    cv::Mat result(classes.size(), CV_8UC3, cv::Scalar::all(0));
    for (std::size_t i = 0; i < kClasses; ++i)
        result.setTo(kClassColours[i], classes == static_cast<double>(i));
    return result;
}

} // namespace velmor::demo
