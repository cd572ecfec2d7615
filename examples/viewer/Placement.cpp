#include "examples/viewer/Placement.h"

#include "examples/shared/PictureFit.h"

#include <algorithm>
#include <cmath>

namespace velmor::viewer {
namespace {

/// The place of a window's pixel in the picture, along one direction.
int placeOf(int windowPixel, int areaStart, int areaExtent, int pictureExtent)
{
    const double place = (windowPixel - areaStart + 0.5) * pictureExtent / areaExtent;
    return std::clamp(static_cast<int>(std::floor(place)), 0, pictureExtent - 1);
}

} // namespace

Placement::Placement(const cv::Size& window, const cv::Size& picture) : mPicture(picture)
{
    const cv::Size size = demo::fittedSize(picture, window);
    mArea = {cv::Point((window.width - size.width) / 2, (window.height - size.height) / 2), size};
}

cv::Point Placement::pixelAt(const cv::Point& windowPixel) const
{
    return {placeOf(windowPixel.x, mArea.x, mArea.width, mPicture.width),
            placeOf(windowPixel.y, mArea.y, mArea.height, mPicture.height)};
}

cv::Rect2d Placement::covered(const cv::Rect& rectangle) const
{
    const double across = static_cast<double>(mArea.width) / mPicture.width;
    const double down = static_cast<double>(mArea.height) / mPicture.height;
    return {mArea.x + rectangle.x * across, mArea.y + rectangle.y * down, rectangle.width * across,
            rectangle.height * down};
}

cv::Rect spanned(const cv::Point& a, const cv::Point& b)
{
    const cv::Point first(std::min(a.x, b.x), std::min(a.y, b.y));
    const cv::Point last(std::max(a.x, b.x), std::max(a.y, b.y));
    return {first, last + cv::Point(1, 1)};
}

} // namespace velmor::viewer
