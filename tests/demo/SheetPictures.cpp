#include "tests/demo/SheetPictures.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace velmor::tests {

std::vector<cv::Mat> picturesOn(const cv::Mat& sheet)
{
    constexpr int kLeastSide = 100; ///< letters and parts of pictures are smaller, or no rectangles
    const cv::Scalar frameColour(205, 203, 201);
    cv::Mat mask;
    cv::inRange(sheet, frameColour, frameColour, mask);
    std::vector<std::vector<cv::Point>> contours;
    cv::findContours(mask, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);

    std::vector<cv::Rect> places;
    for (const auto& contour : contours) {
        const cv::Rect place = cv::boundingRect(contour);
        const bool rectangular = contour.size() == 2 * static_cast<std::size_t>(place.width + place.height) - 4;
        if (rectangular && place.width >= kLeastSide && place.height >= kLeastSide)
            places.push_back({place.x + 1, place.y + 1, place.width - 2, place.height - 2});
    }
    std::sort(places.begin(), places.end(),
              [](const cv::Rect& a, const cv::Rect& b) { return a.y != b.y ? a.y < b.y : a.x < b.x; });
    std::vector<cv::Mat> pictures;
    for (const cv::Rect& place : places)
        pictures.push_back(sheet(place));
    return pictures;
}

double largestDifference(const cv::Mat& a, const cv::Mat& b)
{
    return cv::norm(a, b, cv::NORM_INF);
}

cv::Mat reduced(const cv::Mat& picture, const cv::Size& size)
{
    cv::Mat result;
    cv::resize(picture, result, size, 0, 0, cv::INTER_AREA);
    return result;
}

cv::Mat differenceOf(const cv::Mat& a, const cv::Mat& b)
{
    cv::Mat result;
    cv::absdiff(a, b, result);
    return result;
}

double averageLevel(const cv::Mat& picture)
{
    const cv::Scalar mean = cv::mean(picture);
    return (mean[0] + mean[1] + mean[2]) / 3;
}

} // namespace velmor::tests
