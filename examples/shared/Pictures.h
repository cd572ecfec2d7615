#pragma once

#include "core/cvdata/Image.h"
#include "glsupport/RectTexture.h"

#include <opencv2/core.hpp>

#include <memory>
#include <string>

namespace velmor::examples {

using core::cvdata::Image;
using glsupport::RectTexture;

// Pictures are matrices of OpenCV, 8-bit, grey or BGR, unless it is said otherwise.

/// The library's image over the pixels of a picture, without a copy; the picture must outlive it.
Image imageView(const cv::Mat& picture);

/// A copy of a BGR picture whose first two channels are red and green: the colours that a model learns.
Image rgbImage(const cv::Mat& picture);

/// A texture, empty or with a picture. One of RGB8 is opaque whatever a filter makes of alpha.
std::unique_ptr<RectTexture> makeTexture(const cv::Size& size, RectTexture::Format format = RectTexture::RGB8);
std::unique_ptr<RectTexture> makeTexture(const cv::Mat& picture);

/// Copies a picture into a texture of the same size, and a texture into a new picture, BGR.
void upload(const cv::Mat& picture, RectTexture& texture);
cv::Mat download(const RectTexture& texture);

/// Copies a texture of four floats into a matrix of CV_32FC4: r, g, b, a; a channel of such a matrix, as CV_32F.
cv::Mat downloadFloats(const RectTexture& texture);
cv::Mat channelOf(const cv::Mat& floats, int channel);

/// Pictures, in BGR, of a channel and of such a matrix: 0 is black and 1 is white, and so is what lies beyond them.
cv::Mat greyPicture(const cv::Mat& values);
cv::Mat colourPicture(const cv::Mat& floats);

/// A picture scaled to fit into a box, in BGR, and its size: the largest of its proportions that fits; at least 1 x 1.
cv::Mat fitted(const cv::Mat& picture, const cv::Size& box);
cv::Size fittedSize(const cv::Size& picture, const cv::Size& box);

/// Enlarged so many times or more, a picture shows its pixels as squares.
constexpr int kVisiblePixels = 4;

/// Writes a picture in the format that the file's extension names.
/// @throws std::runtime_error  naming the file and the reason when it cannot be written
void savePicture(const cv::Mat& picture, const std::string& file);

} // namespace velmor::examples
