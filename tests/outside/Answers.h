#pragma once

#include <opencv2/core/mat.hpp>

#include <functional>
#include <string>
#include <vector>

namespace velmor::tests {

/// What one way to compute an operator makes of a picture, or of two.
struct Answer
{
    std::string name;       ///< of the folder that it goes to
    std::vector<int> types; ///< of the pictures that it takes
    std::function<cv::Mat(const cv::Mat& first, const cv::Mat& second)> compute;
};

/// What the filters in main memory make of pictures.
std::vector<Answer> answersOfVelmor();

/// What OpenCV makes of them, with as little done to its results as can be: the script that compares does the rest.
std::vector<Answer> answersOfOpenCv();

} // namespace velmor::tests
