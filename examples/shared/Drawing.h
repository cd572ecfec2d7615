#pragma once

#include "core/cvdata/Blobs.h"
#include "core/cvdata/ColourHist2d.h"
#include "math/Vector4.h"

#include <opencv2/core.hpp>

#include <array>
#include <string>

namespace velmor::examples {

// All pictures are 8-bit BGR.

/// Draws marks over a picture, as bold on the sheet whatever the picture's size. The picture must outlive the marks.
class Marks
{
public:
    explicit Marks(cv::Mat& picture);

    void rectangle(const cv::Rect& place);
    void cross(const cv::Point2d& centre);                         ///< with open centre
    void blob(const core::cvdata::Blobs::BlobInfo& blob);          ///< its ellipse and its axes
    void label(const cv::Point2d& point, const std::string& text); ///< a few letters beside a point

private:
    cv::Mat& mPicture;
    double mUnit; ///< in pixels of the picture, what is about a pixel on the sheet
};

/// A picture turned grey and pale, for marks to stand out.
cv::Mat faded(const cv::Mat& picture);

/// The rectangle that FaceDetect gives as x, y, width and height.
cv::Rect faceRectangle(const math::Vector4& face);

/// The classes of ColorGMM2, each in its colour.
/// @param classes  CV_32F, numbers of classes
cv::Mat classPicture(const cv::Mat& classes);
constexpr std::size_t kClasses = 3;
extern const std::array<cv::Vec3b, kClasses> kClassColours;

/// Bars for the fullest bins of a histogram of blue, green and red, each in its own colour; the largest share, 0..1.
cv::Mat histogramPicture(const core::cvdata::ColourHist2d& histogram);
double largestShare(const core::cvdata::ColourHist2d& histogram);

} // namespace velmor::examples
