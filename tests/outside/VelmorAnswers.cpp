#include "tests/outside/Answers.h"

#include "native/BGR2GRAY.h"
#include "native/BGR2HSV.h"
#include "native/BayerRG2RGB.h"
#include "native/ColorHistShader.h"
#include "native/FlipV.h"
#include "native/GRAY2Sobel.h"
#include "native/Laplacian.h"
#include "native/Not.h"
#include "native/Subtract.h"

#include "core/cvdata/ColourHist2d.h"
#include "math/Vector.h"

#include <algorithm>
#include <string>

namespace velmor::tests {
namespace {

const std::vector<int> kOneChannel = {CV_8UC1, CV_32FC1};
const std::vector<int> kColours = {CV_8UC3, CV_8UC4, CV_32FC3, CV_32FC4};
const std::vector<int> kAny = {CV_8UC1, CV_8UC3, CV_8UC4, CV_32FC1, CV_32FC3, CV_32FC4};

/// What a filter makes of pictures, in bytes or in floats.
template<typename Filter>
Answer made(const std::string& name, const std::vector<int>& types, int depth, const Filter& filter)
{
    return {name + (depth == CV_8U ? ".bytes" : ".floats"), types,
            [filter, depth](const cv::Mat& first, const cv::Mat& second) {
                cv::Mat result;
                if (filter.sources() == 2)
                    filter.execute(first, second, result, depth);
                else
                    filter.execute(first, result, depth);
                return result;
            }};
}

/// A histogram of as many bins for each channel, as one row: bin (i, j, k) at i + bins * (j + bins * k).
cv::Mat histogram(const cv::Mat& source, int bins, const cv::Rect& region)
{
    const auto number = static_cast<unsigned char>(bins);
    core::cvdata::ColourHist2d counted(number, number, number);
    native::colorHistShader(source, region, counted);
    const int cells = bins * bins * bins;
    cv::Mat row(1, cells, CV_64FC1);
    for (int i = 0; i < cells; ++i)
        row.at<double>(i) = counted.data()[static_cast<unsigned>(i)];
    return row;
}

Answer histograms(int bins)
{
    return {"colorHistShader." + std::to_string(bins), kColours, [bins](const cv::Mat& source, const cv::Mat&) {
                return histogram(source, bins, cv::Rect({0, 0}, source.size()));
            }};
}

/// Of the middle half of a picture: rows and columns from a quarter on, at least one.
Answer histogramsOfPart(int bins)
{
    return {"colorHistShader." + std::to_string(bins) + ".part", kColours,
            [bins](const cv::Mat& source, const cv::Mat&) {
                return histogram(
                    source, bins,
                    {source.cols / 4, source.rows / 4, std::max(source.cols / 2, 1), std::max(source.rows / 2, 1)});
            }};
}

} // namespace

std::vector<Answer> answersOfVelmor()
{
    std::vector<Answer> answers;
    const auto add = [&](const std::string& name, const std::vector<int>& types, const std::vector<int>& depths,
                         const auto& filter) {
        for (const int depth : depths)
            answers.push_back(made(name, types, depth, filter));
    };
    const std::vector<int> both = {CV_8U, CV_32F};
    add("Subtract", kAny, both, native::Subtract());
    add("Not", kAny, both, native::Not());
    add("BGR2GRAY", kColours, both, native::BGR2GRAY());
    add("BGR2HSV", kColours, both, native::BGR2HSV());
    add("GRAY2Sobel", kOneChannel, {CV_32F}, native::GRAY2Sobel());
    for (const int kernel : {0, 1, 2})
        add("Laplacian." + std::to_string(kernel), kAny, both, native::Laplacian(kernel));
    add("FlipV", kAny, both, native::FlipV());
    add("BayerRG2RGB", kOneChannel, both, native::BayerRG2RGB());
    for (const int bins : {8, 10}) {
        answers.push_back(histograms(bins));
        answers.push_back(histogramsOfPart(bins));
    }
    return answers;
}

} // namespace velmor::tests
