#include "examples/demo/ColourPatch.h"

#include "examples/demo/Scene.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace velmor::demo {
namespace {

constexpr int kSide = 40;       ///< enough for a colour; training takes long with more
constexpr double kVariety = 10; ///< levels of deviation that are welcome: a flat patch makes a narrow model
constexpr double kWeight = 4;   ///< how much more it counts that red and green are alike

/// Of each square that fits into a picture of one channel, at its upper left corner: the average.
cv::Mat averages(const cv::Mat& picture, const cv::Size& square)
{
    cv::Mat result;
    cv::boxFilter(picture, result, CV_32F, square, {0, 0});
    return result(cv::Rect(cv::Point(0, 0), picture.size() - square + cv::Size(1, 1)));
}

/// Likewise the standard deviation, or kVariety where it is less.
cv::Mat deviations(const cv::Mat& picture, const cv::Size& square, const cv::Mat& average)
{
    cv::Mat result;
    cv::sqrBoxFilter(picture, result, CV_32F, square, {0, 0});
    result = result(cv::Rect(cv::Point(0, 0), average.size())) - average.mul(average);
    cv::sqrt(cv::max(result, 0), result);
    return cv::max(result, kVariety);
}

} // namespace

cv::Rect colourPatch(const Scene& scene)
{
    const cv::Size square(std::min(kSide, scene.later.cols), std::min(kSide, scene.later.rows));
    cv::Mat red, green;
    cv::extractChannel(scene.later, red, 2);
    cv::extractChannel(scene.later, green, 1);
    const cv::Mat redAverage = averages(red, square);
    const cv::Mat greenAverage = averages(green, square);
    cv::Mat faults = cv::abs(redAverage - greenAverage) * kWeight;
    faults += deviations(red, square, redAverage) + deviations(green, square, greenAverage);
    faults += averages(scene.dark, square); // black is of one colour, but of none in particular

    cv::Point best;
    cv::minMaxLoc(faults, nullptr, nullptr, &best);
    return {best, square};
}

} // namespace velmor::demo
