#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace velmor::tests {

/// The pictures of a contact sheet, row by row, found by the thin grey frames around them.
std::vector<cv::Mat> picturesOn(const cv::Mat& sheet);

/// Largest difference of a channel of two pictures of one size.
double largestDifference(const cv::Mat& a, const cv::Mat& b);

} // namespace velmor::tests
