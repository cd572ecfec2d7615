#pragma once

#include <opencv2/core.hpp>

#include <optional>
#include <string>

namespace velmor::demo {

/// The two lines under a picture.
struct Caption
{
    std::string title;
    std::string sentence;
};

/// What the sections of the sheet work with: two real frames and two masks made from them, all of one size.
struct Scene
{
    cv::Mat earlier; ///< 8-bit BGR
    cv::Mat later;   ///< 8-bit BGR
    Caption earlierCaption;
    Caption laterCaption;
    std::string origin; ///< of both, such as "Frames 96 and 100"
    cv::Mat moving;     ///< 8-bit grey, 255 where a pixel changed between the frames
    cv::Mat dark;       ///< 8-bit grey, 255 where the later frame is dark
    cv::Mat history;    ///< 8-bit grey, what moved up to the later frame, the brighter the later; empty of one picture
    std::optional<cv::Point2d> historyCentre; ///< centre of mass of the history; none when nothing moves
};

} // namespace velmor::demo
