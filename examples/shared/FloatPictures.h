#pragma once

#include "glsupport/RectTexture.h"

#include <opencv2/core.hpp>

#include <memory>

namespace velmor::demo {

/// A texture of four floats, for values that are signed or above 1.
std::unique_ptr<glsupport::RectTexture> makeFloatTexture(const cv::Size& size);

/// Copies such a texture into a matrix of CV_32FC4: r, g, b, a.
cv::Mat downloadFloats(const glsupport::RectTexture& texture);

/// A channel of such a matrix, as CV_32F.
cv::Mat channelOf(const cv::Mat& floats, int channel);

/// A grey picture of values, 8-bit BGR: 0 is black and 1 is white, and so is what is beyond them.
/// @param values  CV_32F
cv::Mat greyPicture(const cv::Mat& values);

/// Likewise a picture of the colours of such a matrix.
cv::Mat colourPicture(const cv::Mat& floats);

} // namespace velmor::demo
