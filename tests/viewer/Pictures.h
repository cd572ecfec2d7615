#pragma once

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <random>

namespace velmor::tests {

const cv::Size kSize(320, 240);
const cv::Rect kYellow(30, 40, 90, 60);  ///< red and green alike
const cv::Rect kGreen(200, 130, 80, 70); ///< another colour by far
const cv::Rect kNear(30, 130, 40, 40);   ///< five levels from the first colour: like it, but less likely
const cv::Rect kDot(290, 30, 1, 1);      ///< a pixel of the first colour
const cv::Scalar kGround(180, 70, 120);  ///< the largest part, BGR

/// A picture with patches of colours, two of which vary by up to three levels, on a ground with rows of fine detail.
inline cv::Mat patchedPicture()
{
    cv::Mat picture(kSize, CV_8UC3, kGround);
    std::mt19937 random(5);
    const auto fill = [&](const cv::Rect& place, const cv::Vec3b& colour, int levels) {
        std::uniform_int_distribution<int> more(0, levels);
        for (int y = place.y; y < place.br().y; ++y)
            for (int x = place.x; x < place.br().x; ++x)
                for (int channel = 0; channel < 3; ++channel)
                    picture.at<cv::Vec3b>(y, x)[channel] = static_cast<unsigned char>(colour[channel] + more(random));
    };
    fill(kYellow, {20, 200, 200}, 3);
    fill(kGreen, {60, 200, 30}, 3);
    fill(kNear, {20, 207, 207}, 0);
    fill(kDot, {20, 201, 201}, 0);
    fill({0, 0, kSize.width, 12}, {0, 0, 0}, 150);
    return picture;
}

/// A picture of a filter that works on each pixel by itself.
template<class Rule>
cv::Mat eachPixel(const cv::Mat& picture, Rule rule)
{
    cv::Mat result(picture.size(), CV_32FC3);
    for (int y = 0; y < picture.rows; ++y)
        for (int x = 0; x < picture.cols; ++x)
            result.at<cv::Vec3f>(y, x) = rule(cv::Vec3f(picture.at<cv::Vec3b>(y, x)));
    return result;
}

inline cv::Mat negativeOf(const cv::Mat& picture)
{
    return eachPixel(picture, [](const cv::Vec3f& colour) { return cv::Vec3f(255, 255, 255) - colour; });
}

/// How far each pixel is from the eight, or four, around it, so many times brighter; places outside are those of the
/// edge.
inline cv::Mat neighbourDifference(const cv::Mat& picture, int neighbours, float brightness = 1)
{
    const float around = neighbours == 8 ? -1.0F : 0.0F;
    const cv::Mat kernel =
        (cv::Mat_<float>(3, 3) << around, -1, around, -1, static_cast<float>(neighbours), -1, around, -1, around);
    cv::Mat result;
    cv::filter2D(picture, result, CV_32F, kernel, {-1, -1}, 0, cv::BORDER_REPLICATE);
    result = cv::abs(result) * brightness;
    return cv::min(result, 255);
}

} // namespace velmor::tests
