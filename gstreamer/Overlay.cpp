#include "gstreamer/Overlay.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace velmor::gstreamer {
namespace {

cv::Scalar bright(const cv::Mat& picture)
{
    return picture.channels() == 1 ? cv::Scalar(255) : cv::Scalar(0, 255, 0, 255);
}

cv::Scalar dark()
{
    return {0, 0, 0, 255};
}

} // namespace

void drawBox(cv::Mat& picture, const cv::Rect& box)
{
    // By lines of one pixel: thicker ones reach further at some corners than at others.
    const cv::Point one(1, 1);
    const cv::Size two(2, 2);
    cv::rectangle(picture, box - one + two, dark());
    cv::rectangle(picture, box + one - two, dark()); // which may be empty
    cv::rectangle(picture, box, bright(picture));
}

void drawEllipse(cv::Mat& picture, const cv::Point2d& centre, const cv::Size2d& axes, double angle)
{
    constexpr int bits = 4; // of fractions of pixels
    const auto fixed = [](double number) {
        return cvRound(number * (1 << bits));
    };
    const cv::Point at(fixed(centre.x), fixed(centre.y));
    const cv::Size half(fixed(axes.width), fixed(axes.height));
    cv::ellipse(picture, at, half, angle, 0, 360, dark(), 3, cv::LINE_8, bits);
    cv::ellipse(picture, at, half, angle, 0, 360, bright(picture), 1, cv::LINE_8, bits);
}

void drawGlow(cv::Mat& picture, const cv::Mat& mask)
{
    constexpr int green = 1; // in all formats with colours
    cv::Mat channel;
    cv::extractChannel(picture, channel, green);
    cv::max(channel, mask, channel);
    cv::insertChannel(channel, picture, green);
}

} // namespace velmor::gstreamer
