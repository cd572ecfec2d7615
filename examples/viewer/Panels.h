#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace velmor::viewer {

/// A piece of a line of text.
struct Piece
{
    enum Style
    {
        PLAIN,
        STRONG, ///< the name of something, or what is chosen
        QUIET
    };

    std::string text;
    Style style;
};

using Line = std::vector<Piece>;

/// A strip of lines, of a given width; what does not fit is left out.
/// @return  8-bit BGR
cv::Mat stripPicture(const std::vector<Line>& lines, int width);

/// The list of keys, reduced where it would be larger than the window.
/// @return  8-bit BGR
cv::Mat helpPicture(const cv::Size& window);

} // namespace velmor::viewer
