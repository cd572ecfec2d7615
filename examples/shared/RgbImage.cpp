#include "examples/shared/RgbImage.h"

#include <opencv2/imgproc.hpp>

namespace velmor::demo {

using core::cvdata::Image;

Image rgbImage(const cv::Mat& picture)
{
    Image image(static_cast<unsigned>(picture.cols), static_cast<unsigned>(picture.rows), Image::RGB);
    cv::Mat pixels = image.mat();
    cv::cvtColor(picture, pixels, cv::COLOR_BGR2RGB);
    return image;
}

} // namespace velmor::demo
