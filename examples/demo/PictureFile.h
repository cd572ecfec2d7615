#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace velmor::demo {

/// Writes a picture, 8-bit BGR, in the format that the file's extension names.
/// @throws std::runtime_error  naming the file and the reason when it cannot be written
void savePicture(const cv::Mat& picture, const std::string& file);

} // namespace velmor::demo
