#include "tests/examples/ExampleTest.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace velmor::tests {
namespace {

class FirstFilter : public ExampleTest
{
protected:
    FirstFilter() : ExampleTest("first_filter") {}
};

/// |8 c - sum of the eight neighbours| by OpenCV, clamped to bytes.
cv::Mat edgesOf(const cv::Mat& picture)
{
    const cv::Mat kernel = (cv::Mat_<float>(3, 3) << -1, -1, -1, -1, 8, -1, -1, -1, -1);
    cv::Mat sums, edges;
    cv::filter2D(picture, sums, CV_16S, kernel, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    cv::convertScaleAbs(sums, edges);
    return edges;
}

TEST_F(FirstFilter, WritesTheEdgesOfAPhotograph)
{
    expectSuccess(run({VELMOR_TEST_PHOTOGRAPH, "edges.png"}));
    const cv::Mat edges = cv::imread(path("edges.png").string());
    const cv::Mat expected = edgesOf(cv::imread(VELMOR_TEST_PHOTOGRAPH));
    ASSERT_EQ(edges.size(), expected.size());
    EXPECT_EQ(cv::norm(edges, expected, cv::NORM_INF), 0); // sums of bytes are whole numbers, so rounding agrees
}

TEST_F(FirstFilter, SaysWhatIsWrong)
{
    expectRefusal({}, "expected a picture to read and a picture to write");
    expectRefusal({"nothing.png", "edges.png"}, "load(): cannot load 'nothing.png': No such file or directory");
    write("text.png", "no picture");
    expectRefusal({"text.png", "edges.png"}, "load(): cannot load 'text.png': it holds no picture of a known format");
    expectRefusal({VELMOR_TEST_PHOTOGRAPH, "no/folder.png"},
                  "save(): cannot save 'no/folder.png': No such file or directory");
}

} // namespace
} // namespace velmor::tests
