#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace velmor::demo {

/// Draws marks over a picture, as bold on the sheet whatever the picture's size.
class Marks
{
public:
    /// @param picture  8-bit BGR; must outlive the marks
    explicit Marks(cv::Mat& picture);

    void rectangle(const cv::Rect& place);
    void line(const cv::Point2d& from, const cv::Point2d& to);

    /// @param angle  of the first half axis, in degrees, clockwise on the screen
    void ellipse(const cv::Point2d& centre, const cv::Size2d& halfAxes, double angle);

    /// A cross with open centre.
    void cross(const cv::Point2d& centre);

    /// A few letters beside a point.
    void label(const cv::Point2d& point, const std::string& text);

private:
    cv::Mat& mPicture;
    double mUnit; ///< in pixels of the picture, what is about a pixel on the sheet
};

/// A picture turned grey and pale, for marks to stand out.
cv::Mat faded(const cv::Mat& picture);

} // namespace velmor::demo
