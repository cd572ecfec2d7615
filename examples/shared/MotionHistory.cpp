#include "examples/shared/MotionHistory.h"

#include "examples/shared/ImageView.h"
#include "math/Vector2.h"

#include <opencv2/core/core_c.h>

#include <cmath>

namespace velmor::demo {

using core::cvdata::Image;

MotionHistory::MotionHistory(const cv::Size& size)
    : mSegment(size.width, size.height), mPicture(cv::Mat::zeros(size, CV_8U))
{
}

void MotionHistory::add(const cv::Mat& frame)
{
    const Image input = imageView(frame);
    Image output = imageView(mPicture);
    mSegment.getMHI(&input, &output);
    if (mIsFirst) {
        // The first frame is compared with black, which makes nearly all of it move.
        cvSetZero(mSegment.getMHIImage());
        mPicture.setTo(0);
        mIsFirst = false;
    }
}

std::optional<cv::Point2d> MotionHistory::centre()
{
    Image image = imageView(mPicture);
    math::Vector2 centre;
    mSegment.getMassCenter(&image, &centre);
    if (std::isnan(centre[0]))
        return std::nullopt;
    return cv::Point2d(centre[0], centre[1]);
}

} // namespace velmor::demo
