#include "examples/shared/Marks.h"

#include "examples/shared/Lettering.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace velmor::demo {
namespace {

const cv::Scalar kColour(0, 60, 230);
constexpr int kShift = 4; ///< OpenCV draws at 1/16 of a pixel so

cv::Point fine(const cv::Point2d& point)
{
    constexpr double kScale = 1 << kShift;
    return {cvRound(point.x * kScale), cvRound(point.y * kScale)};
}

} // namespace

Marks::Marks(cv::Mat& picture) : mPicture(picture), mUnit(std::max(picture.cols, picture.rows) / 446.0) {}

void Marks::rectangle(const cv::Rect& place)
{
    cv::rectangle(mPicture, place, kColour, std::max(1, cvRound(2 * mUnit)));
}

void Marks::line(const cv::Point2d& from, const cv::Point2d& to)
{
    cv::line(mPicture, fine(from), fine(to), kColour, std::max(1, cvRound(mUnit)), cv::LINE_AA, kShift);
}

void Marks::ellipse(const cv::Point2d& centre, const cv::Size2d& halfAxes, double angle)
{
    const cv::Point axes = fine({halfAxes.width, halfAxes.height});
    cv::ellipse(mPicture, fine(centre), cv::Size(axes), angle, 0, 360, kColour, std::max(1, cvRound(1.5 * mUnit)),
                cv::LINE_AA, kShift);
}

void Marks::cross(const cv::Point2d& centre)
{
    for (const cv::Point2d& arm : {cv::Point2d(1, 0), cv::Point2d(-1, 0), cv::Point2d(0, 1), cv::Point2d(0, -1)})
        cv::line(mPicture, fine(centre + arm * (4 * mUnit)), fine(centre + arm * (14 * mUnit)), kColour,
                 std::max(1, cvRound(2 * mUnit)), cv::LINE_AA, kShift);
}

void Marks::label(const cv::Point2d& point, const std::string& text)
{
    const cv::Point baseline(point + cv::Point2d(8, -8) * mUnit);
    drawText(mPicture, text, baseline, {9 * mUnit, 3.5 * mUnit, cv::Scalar::all(255)});
    drawText(mPicture, text, baseline, {9 * mUnit, 1.4 * mUnit, cv::Scalar(120, 20, 0)});
}

cv::Mat faded(const cv::Mat& picture)
{
    cv::Mat grey;
    cv::cvtColor(picture, grey, cv::COLOR_BGR2GRAY);
    cv::cvtColor(grey, grey, cv::COLOR_GRAY2BGR);
    return grey * 0.5 + cv::Scalar::all(110);
}

} // namespace velmor::demo
