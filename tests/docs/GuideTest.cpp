#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

namespace velmor::tests {
namespace {

/// What the guide's program is to write: the absolute difference of each pixel's luminance to those of its eight
/// neighbours, with the border repeated.
cv::Mat expectedEdges(const cv::Mat& picture)
{
    const auto luminance = [&picture](int x, int y) {
        const auto pixel =
            picture.at<cv::Vec3b>(std::clamp(y, 0, picture.rows - 1), std::clamp(x, 0, picture.cols - 1));
        return 0.212671 * pixel[2] + 0.715160 * pixel[1] + 0.072169 * pixel[0];
    };
    cv::Mat edges(picture.size(), CV_8U);
    for (int y = 0; y < picture.rows; ++y)
        for (int x = 0; x < picture.cols; ++x) {
            double sum = 9 * luminance(x, y);
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx)
                    sum -= luminance(x + dx, y + dy);
            edges.at<unsigned char>(y, x) = cv::saturate_cast<unsigned char>(std::abs(sum));
        }
    return edges;
}

TEST(Guide, FirstProgramWritesTheEdges)
{
    const TemporaryFolder folder;
    const std::string result = folder.file("edges.png");
    const std::string command = std::string(VELMOR_GUIDE_PROGRAM) + " " + VELMOR_TEST_PHOTOGRAPH + " " + result;
    ASSERT_EQ(std::system((command + " > " + folder.file("log")).c_str()), 0);

    const cv::Mat edges = cv::imread(result, cv::IMREAD_UNCHANGED);
    const cv::Mat expected = expectedEdges(cv::imread(VELMOR_TEST_PHOTOGRAPH));
    ASSERT_EQ(edges.type(), CV_8U);
    ASSERT_EQ(edges.size(), expected.size());
    EXPECT_LE(cv::norm(edges, expected, cv::NORM_INF), 1.0); // floats may round to the other side
}

} // namespace
} // namespace velmor::tests
