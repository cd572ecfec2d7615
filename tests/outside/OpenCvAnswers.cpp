#include "tests/outside/Answers.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace velmor::tests {
namespace {

const std::vector<int> kColoursInBytes = {CV_8UC3, CV_8UC4};
const std::vector<int> kColoursInFloats = {CV_32FC3, CV_32FC4};
const std::vector<int> kColours = {CV_8UC3, CV_8UC4, CV_32FC3, CV_32FC4};
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

/// In doubles from bytes, because OpenCV rounds what it makes bytes of before it is done.
cv::Mat weighed(const cv::Mat& source, const cv::Mat&)
{
    cv::Mat numbers, result;
    source.convertTo(numbers, source.depth() == CV_8U ? CV_64F : CV_32F);
    const cv::Mat weights = (cv::Mat_<double>(1, 4) << 0.212671, 0.715160, 0.072169, 0.0);
    cv::transform(numbers, result, weights.colRange(0, source.channels()));
    return result;
}

Answer converted(const char* name, const std::vector<int>& types, int code)
{
    return {name, types, [code](const cv::Mat& source, const cv::Mat&) {
                cv::Mat result;
                cv::cvtColor(source, result, code);
                return result;
            }};
}

/// Derivatives by y and by x, and their length.
cv::Mat sobel(const cv::Mat& source, const cv::Mat&)
{
    std::vector<cv::Mat> planes(3);
    cv::Sobel(source, planes[0], CV_32F, 0, 1, 3, 1, 0, cv::BORDER_REPLICATE);
    cv::Sobel(source, planes[1], CV_32F, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE);
    cv::magnitude(planes[0], planes[1], planes[2]);
    cv::Mat result;
    cv::merge(planes, result);
    return result;
}

/// Absolute values of sums: of bytes in bytes, of floats in floats.
cv::Mat absolute(const cv::Mat& sums)
{
    cv::Mat result;
    if (sums.depth() == CV_32F)
        result = cv::abs(sums);
    else
        cv::convertScaleAbs(sums, result);
    return result;
}

int depthOfSums(const cv::Mat& source)
{
    return source.depth() == CV_8U ? CV_16S : CV_32F;
}

Answer filtered(const char* name, const cv::Mat& kernel)
{
    return {name, kAny, [kernel](const cv::Mat& source, const cv::Mat&) {
                cv::Mat sums;
                cv::filter2D(source, sums, depthOfSums(source), kernel, {-1, -1}, 0, cv::BORDER_REPLICATE);
                return absolute(sums);
            }};
}

cv::Mat laplacian(const cv::Mat& source, const cv::Mat&)
{
    cv::Mat sums;
    cv::Laplacian(source, sums, depthOfSums(source), 1, 1, 0, cv::BORDER_REPLICATE);
    return absolute(sums);
}

cv::Mat flipped(const cv::Mat& source, const cv::Mat&)
{
    cv::Mat result;
    cv::flip(source, result, 0);
    return result;
}

Answer demosaiced(const char* name, int code)
{
    return {name, {CV_8UC1}, [code](const cv::Mat& source, const cv::Mat&) {
                cv::Mat result;
                cv::demosaicing(source, result, code);
                return result;
            }};
}

/// Counts of as many bins for each channel, as one row: bin (i, j, k) at (i * bins + j) * bins + k. Of even bins the
/// edges are the first and the end, which is in none; else all edges.
cv::Mat counted(const cv::Mat& source, int bins, const std::vector<float>& edges)
{
    const int channels[] = {0, 1, 2};
    const int sizes[] = {bins, bins, bins};
    const float* ranges[] = {edges.data(), edges.data(), edges.data()};
    cv::Mat counts;
    cv::calcHist(&source, 1, channels, cv::Mat(), counts, 3, sizes, ranges, edges.size() == 2);
    return cv::Mat(1, static_cast<int>(counts.total()), CV_32FC1, counts.data).clone();
}

cv::Mat counted8(const cv::Mat& source, const cv::Mat&)
{
    return counted(source, 8, {0, 256});
}

cv::Mat counted10(const cv::Mat& source, const cv::Mat&)
{
    std::vector<float> edges;
    for (int i = 0; i < 10; ++i)
        edges.push_back(25.5f * static_cast<float>(i));
    edges.push_back(256); // 255 is in the last bin
    return counted(source, 10, edges);
}

} // namespace

std::vector<Answer> answersOfOpenCv()
{
    const cv::Mat kernel0 = (cv::Mat_<float>(3, 3) << -1, -1, -1, -1, 8, -1, -1, -1, -1);
    const cv::Mat kernel2 = (cv::Mat_<float>(3, 3) << -1, 2, -1, 2, -4, 2, -1, 2, -1);
    return {
        {"cv::absdiff", kAny, absdiff},
        {"cv::bitwise_not", kBytes, bitwiseNot},
        {"cv::subtract", kFloats, lessThanOne},
        {"cv::transform", kColours, weighed},
        converted("COLOR_RGB2GRAY", kColours, cv::COLOR_RGB2GRAY),
        converted("COLOR_RGB2HSV", kColoursInFloats, cv::COLOR_RGB2HSV),
        converted("COLOR_RGB2HSV_FULL", kColoursInBytes, cv::COLOR_RGB2HSV_FULL),
        {"cv::Sobel", {CV_8UC1, CV_32FC1}, sobel},
        filtered("cv::filter2D.0", kernel0),
        {"cv::Laplacian", kAny, laplacian},
        filtered("cv::filter2D.2", kernel2),
        {"cv::flip", kAny, flipped},
        demosaiced("COLOR_BayerRGGB2RGB", cv::COLOR_BayerRGGB2RGB),
        demosaiced("COLOR_BayerGRBG2RGB", cv::COLOR_BayerGRBG2RGB),
        demosaiced("COLOR_BayerGBRG2RGB", cv::COLOR_BayerGBRG2RGB),
        demosaiced("COLOR_BayerBGGR2RGB", cv::COLOR_BayerBGGR2RGB),
        {"cv::calcHist.8", kColoursInBytes, counted8},
        {"cv::calcHist.10", kColoursInBytes, counted10},
    };
}

} // namespace velmor::tests
