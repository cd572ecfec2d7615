#pragma once

#include "glsupport/RectTexture.h"

#include <opencv2/core.hpp>

namespace velmor::viewer {

/// Draws into the window of the current OpenGL context. Places are in pixels of the window, rows from the top.
class Screen
{
public:
    /// Clears the window.
    explicit Screen(const cv::Size& window);

    /// Draws a texture, its row 0 at the top, as large as the place.
    void texture(glsupport::RectTexture& texture, const cv::Rect& place);

    /// Draws a picture, 8-bit BGR, over what is there.
    /// @param opacity  0..1
    void panel(const cv::Mat& picture, const cv::Point& corner, double opacity);

    /// Draws a frame of a pixel's width around a place, with a dark one around it.
    /// @param colour  BGR
    void frame(const cv::Rect2d& place, const cv::Vec3b& colour);

private:
    void quad(glsupport::RectTexture& texture, const cv::Rect& place, double opacity);
};

} // namespace velmor::viewer
