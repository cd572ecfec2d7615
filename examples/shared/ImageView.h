#pragma once

#include "core/cvdata/Image.h"

#include <opencv2/core.hpp>

namespace velmor::demo {

/// The library's image over the pixels of OpenCV's matrix, without a copy; the matrix must outlive it.
/// @param picture  8-bit, grey or BGR
inline core::cvdata::Image imageView(const cv::Mat& picture)
{
    using core::cvdata::Image;
    return Image(static_cast<unsigned>(picture.cols), static_cast<unsigned>(picture.rows),
                 picture.channels() == 1 ? Image::GREYSCALE : Image::BGR, picture.data,
                 static_cast<unsigned>(picture.step));
}

} // namespace velmor::demo
