#pragma once

#include "core/cvdata/Image.h"
#include "gstreamer/Frames.h"

namespace velmor::gstreamer {

/// An image over the pixels of a picture of bytes, without a copy.
core::cvdata::Image imageOver(const cv::Mat& picture, core::cvdata::Image::ChannelLayout layout);

/// The three colours of a picture of three or four channels in an order: where they lie, if they lie so, otherwise a
/// copy.
/// @param scratch  for the copy, so that its memory is taken once
cv::Mat coloursOf(const cv::Mat& picture, const Format& format, bool blueFirst, cv::Mat& scratch);

} // namespace velmor::gstreamer
