#pragma once

#include <opencv2/core/mat.hpp>

namespace velmor::gstreamer {

// What is drawn into frames of any format: bright lines with dark edges, green where there are colours, so that they
// show on any picture. A fourth channel becomes opaque there.

/// Draws a box around the pixels of a rectangle.
void drawBox(cv::Mat& picture, const cv::Rect& box);

/// Draws an ellipse.
/// @param axes   half the lengths of the longer and the shorter axis, in pixels
/// @param angle  of the longer axis, in degrees, positive towards growing rows
void drawEllipse(cv::Mat& picture, const cv::Point2d& centre, const cv::Size2d& axes, double angle);

/// Makes the green of a picture of three or four channels at least as bright as a mask of its size.
void drawGlow(cv::Mat& picture, const cv::Mat& mask);

} // namespace velmor::gstreamer
