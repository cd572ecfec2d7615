#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace velmor::tests {

// What the sheet and the summary of a run are to say of GPU filters, computed from the frames by OpenCV or in plain
// C++. All take the pictures of the sheet by their Place.

void expectColourFilters(const std::vector<cv::Mat>& shown, const std::string& summary, const cv::Mat& frame);
void expectBayerFilters(const std::vector<cv::Mat>& shown, const std::string& summary, const cv::Mat& frame);
void expectEdgeFilters(const std::vector<cv::Mat>& shown, const std::string& summary, const cv::Mat& frame);
void expectViews(const std::vector<cv::Mat>& shown, const std::string& summary, const cv::Mat& earlier,
                 const cv::Mat& later);
void expectMixtures(const std::vector<cv::Mat>& shown, const std::string& summary);
void expectCounts(const std::vector<cv::Mat>& shown, const std::string& summary, const cv::Mat& frame);

} // namespace velmor::tests
