#pragma once

#include "core/cvdata/RectTexture.h"

#include <opencv2/core.hpp>

#include <memory>

namespace velmor::demo {

/// A texture of three 8-bit channels, which is opaque whatever a filter makes of alpha.
std::unique_ptr<core::cvdata::RectTexture> makeTexture(const cv::Size& size);

/// A texture that holds a picture.
/// @param picture  8-bit, grey or BGR
std::unique_ptr<core::cvdata::RectTexture> makeTexture(const cv::Mat& picture);

/// Copies a picture into a texture of the same size.
void upload(const cv::Mat& picture, core::cvdata::RectTexture& texture);

/// Copies a texture into a new picture, 8-bit BGR.
cv::Mat download(const core::cvdata::RectTexture& texture);

} // namespace velmor::demo
