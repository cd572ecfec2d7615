#pragma once

#include "examples/shared/Pictures.h"

#include <vector>

namespace velmor::examples {

/// Where a picture lies in a window: as large as its proportions allow, in the middle. Rows count from the top.
class Placement
{
public:
    Placement(const cv::Size& window, const cv::Size& picture);

    /// The part of the window that the picture covers, and the part under which a rectangle of the picture lies.
    cv::Rect2d covered(const cv::Rect& rectangle) const;
    const cv::Rect& area() const { return mArea; }

    /// The pixel of the picture under a pixel of the window; beside the picture, the nearest one.
    cv::Point pixelAt(const cv::Point& windowPixel) const;

private:
    cv::Size mPicture;
    cv::Rect mArea;
};

/// A piece of a line of text.
struct Piece
{
    std::string text;
    enum Style
    {
        PLAIN,
        STRONG, ///< the name of something, or what is chosen
        QUIET
    } style;
};
using Line = std::vector<Piece>;

/// A line of the list of keys.
struct HelpLine
{
    std::string keys;
    std::string effect;
};

/// Draws into the window of the current OpenGL context. Places are in pixels of the window, rows from the top.
class Screen
{
public:
    explicit Screen(const cv::Size& window); ///< clears it

    /// Draws a texture, its row 0 at the top, as large as the place.
    void texture(RectTexture& texture, const cv::Rect& place, double opacity = 1);

    /// Draws a frame of a pixel's width around a place, with a dark one around it.
    /// @param colour  BGR
    void frame(const cv::Rect2d& place, const cv::Vec3b& colour);

    /// Draws lines of text over the foot of the window; what does not fit is left out.
    void strip(const std::vector<Line>& lines);

    /// Draws the list of keys in the middle, reduced where it would be larger than the window.
    void help(const std::vector<HelpLine>& lines);

private:
    void panel(const cv::Mat& picture, const cv::Point& corner);

    cv::Size mWindow;
};

} // namespace velmor::examples
