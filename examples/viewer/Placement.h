#pragma once

#include <opencv2/core.hpp>

namespace velmor::viewer {

/// Where a picture lies in a window: as large as its proportions allow, in the middle. In both, rows count from the
/// top.
class Placement
{
public:
    Placement(const cv::Size& window, const cv::Size& picture);

    /// The part of the window that the picture covers.
    const cv::Rect& area() const { return mArea; }

    /// The pixel of the picture under a pixel of the window; beside the picture, the nearest one.
    cv::Point pixelAt(const cv::Point& windowPixel) const;

    /// The part of the window under which a rectangle of the picture lies.
    cv::Rect2d covered(const cv::Rect& rectangle) const;

private:
    cv::Size mPicture;
    cv::Rect mArea;
};

/// The rectangle of two opposite pixels and all between them.
cv::Rect spanned(const cv::Point& a, const cv::Point& b);

} // namespace velmor::viewer
