#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace velmor::examples {

/// How text looks.
struct LetterStyle
{
    double capHeight;  ///< height of a capital in pixels
    double stroke;     ///< width of a line in pixels
    cv::Scalar colour; ///< BGR
};

/// Writes one line of text, with smooth edges.
/// @param page      8-bit BGR; what does not fit on it is cut off
/// @param baseline  left end of the line on which the letters stand
void drawText(cv::Mat& page, const std::string& text, const cv::Point& baseline, const LetterStyle& style);

int textWidth(const std::string& text, const LetterStyle& style); ///< in pixels

/// The text, or as much of its beginning as fits into a width, with three dots behind.
std::string shortened(const std::string& text, int width, const LetterStyle& style);

} // namespace velmor::examples
