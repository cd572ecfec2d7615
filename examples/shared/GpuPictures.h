#pragma once

#include "glsupport/RectTexture.h"

#include <opencv2/core.hpp>

#include <memory>

namespace velmor::demo {

/// A texture of three 8-bit channels, which is opaque whatever a filter makes of alpha.
std::unique_ptr<glsupport::RectTexture> makeTexture(const cv::Size& size);

/// A texture that holds a picture.
/// @param picture  8-bit, grey or BGR
std::unique_ptr<glsupport::RectTexture> makeTexture(const cv::Mat& picture);

/// Copies a picture into a texture of the same size.
void upload(const cv::Mat& picture, glsupport::RectTexture& texture);

/// Copies a texture into a new picture, 8-bit BGR.
cv::Mat download(const glsupport::RectTexture& texture);

} // namespace velmor::demo
