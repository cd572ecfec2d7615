#include "examples/shared/Mosaic.h"

namespace velmor::demo {

cv::Mat mosaicOf(const cv::Mat& frame)
{
    cv::Mat mosaic(frame.size(), CV_8UC3, cv::Scalar::all(0));
    for (int y = 0; y < frame.rows; ++y)
        for (int x = 0; x < frame.cols; ++x) {
            const int channel = 2 - x % 2 - y % 2;
            mosaic.at<cv::Vec3b>(y, x)[channel] = frame.at<cv::Vec3b>(y, x)[channel];
        }
    return mosaic;
}

cv::Mat rawOf(const cv::Mat& mosaic)
{
    cv::Mat raw;
    cv::transform(mosaic, raw, cv::Matx13f(1, 1, 1));
    return raw;
}

} // namespace velmor::demo
