#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace velmor::examples {

// Frames and differences of two are 8-bit BGR; masks are 8-bit, grey or BGR, and a pixel is set where any channel is.

/// Pixels that changed for sure: a channel of the difference is above the noise of a camera, and neighbours too.
cv::Mat movingPixels(const cv::Mat& difference);

/// Pixels that are no brighter than a third of the average of the frame.
cv::Mat darkPixels(const cv::Mat& frame);

/// Share of the pixels of a mask that are set, 0..1.
double shareSet(const cv::Mat& mask);

std::string shareFound(const cv::Mat& mask);          ///< how much of a mask is set, in words
std::string movementFound(const cv::Mat& difference); ///< how much moves in a difference, and where
std::string brightnessFound(const cv::Mat& picture);

std::string sizeText(const cv::Size& size);                ///< "768 x 576"
std::string pointText(const cv::Point& point);             ///< "(12, 34)"
std::string countText(int count, const std::string& noun); ///< "1 frame", "2 frames"
std::string decimalText(double number, int digits);        ///< with so many digits behind the point
std::string percentText(double share);                     ///< "3.4 %" for 0.034

} // namespace velmor::examples
