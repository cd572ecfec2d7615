#include "gstreamer/Images.h"

#include <opencv2/imgproc.hpp>

namespace velmor::gstreamer {

core::cvdata::Image imageOver(const cv::Mat& picture, core::cvdata::Image::ChannelLayout layout)
{
    return {static_cast<unsigned>(picture.cols), static_cast<unsigned>(picture.rows), layout, picture.data,
            static_cast<unsigned>(picture.step)};
}

cv::Mat coloursOf(const cv::Mat& picture, const Format& format, bool blueFirst, cv::Mat& scratch)
{
    const bool swaps = format.isBlueFirst != blueFirst;
    if (picture.channels() == 4)
        cv::cvtColor(picture, scratch, swaps ? cv::COLOR_BGRA2RGB : cv::COLOR_BGRA2BGR);
    else if (swaps)
        cv::cvtColor(picture, scratch, cv::COLOR_BGR2RGB);
    else
        return picture;
    return scratch;
}

} // namespace velmor::gstreamer
