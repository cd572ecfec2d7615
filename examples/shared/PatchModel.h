#pragma once

#include "core/cvdata/ColorGMM.h"

#include <opencv2/core.hpp>

#include <array>

namespace velmor::glsupport {
class RectTexture;
}

namespace velmor::demo {

/// Places in a picture for models to learn colours from: of the patches in which the brightness varies least, the
/// darkest, one of middling brightness and the brightest. In a very small picture they may be the same.
/// @param picture  8-bit BGR
std::array<cv::Rect, 3> calmPatches(const cv::Mat& picture);

/// A model of two components of the first two channels, as a shader reads them, of a patch of a texture.
core::cvdata::ColorGMM patchModel(const glsupport::RectTexture& texture, const cv::Rect& patch);

} // namespace velmor::demo
