#include "tests/outside/Answers.h"

#include <opencv2/core.hpp>

namespace velmor::tests {
namespace {

const std::vector<int> kBytes = {CV_8UC1, CV_8UC3, CV_8UC4};
const std::vector<int> kFloats = {CV_32FC1, CV_32FC3, CV_32FC4};
const std::vector<int> kAny = {CV_8UC1, CV_8UC3, CV_8UC4, CV_32FC1, CV_32FC3, CV_32FC4};

cv::Mat absdiff(const cv::Mat& first, const cv::Mat& second)
{
    cv::Mat result;
    cv::absdiff(first, second, result);
    return result;
}

cv::Mat bitwiseNot(const cv::Mat& source, const cv::Mat&)
{
    cv::Mat result;
    cv::bitwise_not(source, result);
    return result;
}

cv::Mat lessThanOne(const cv::Mat& source, const cv::Mat&)
{
    cv::Mat result;
    cv::subtract(cv::Scalar::all(1), source, result);
    return result;
}

} // namespace

std::vector<Answer> answersOfOpenCv()
{
    return {
        {"cv::absdiff", kAny, absdiff},
        {"cv::bitwise_not", kBytes, bitwiseNot},
        {"cv::subtract", kFloats, lessThanOne},
    };
}

} // namespace velmor::tests
