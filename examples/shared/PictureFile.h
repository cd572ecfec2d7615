#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace velmor::demo {

/// Writes a picture, 8-bit BGR, in the format that the file's extension names.
/// @throws std::runtime_error  naming the file and the reason when it cannot be written
void savePicture(const cv::Mat& picture, const std::string& file);

/// Writes a picture, 8-bit BGR, as a JPEG file.
/// @param quality  0..100; less than a codec's default makes a smaller file
/// @throws std::runtime_error  naming the file and the reason when it cannot be written
void saveJpeg(const cv::Mat& picture, const std::string& file, int quality);

} // namespace velmor::demo
