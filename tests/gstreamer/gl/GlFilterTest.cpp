#include "tests/gstreamer/gl/GlHarness.h"
#include "tests/gstreamer/gl/GlReference.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <map>
#include <vector>

namespace velmor::tests {
namespace {

/// The operators that need nothing but a picture.
const char* const kOperators[] = {"Not",         "BGR2GRAY",     "RGB2GRAY",   "BGR2HSV",          "RGB2HSV",
                                  "BayerRG2RGB", "BayerRG2GRAY", "GRAY2Sobel", "NonMaxSupression", "Laplacian",
                                  "FlipV"};

void expectPixelsOfEachOperator(GlHarness& harness, const cv::Mat& shown, const cv::Mat& picture)
{
    std::map<std::string, cv::Mat> expected;
    {
        Elsewhere elsewhere;
        for (const char* const name : kOperators)
            expected[name] = elsewhere.filter(name, picture);
    }
    for (const char* const name : kOperators) {
        SCOPED_TRACE(name);
        harness.setByText("operator", name);
        harness.set("scale", 1.0);
        harness.set("offset", 0.0);
        for (int frame = 0; frame < 3; ++frame) // whose textures are others
            expectShown(harness.show(shown), expected[name]);
        harness.set("scale", 0.125);
        harness.set("offset", 0.5);
        expectShown(harness.show(shown), expected[name] * 0.125 + cv::Scalar::all(0.5));
    }
}

TEST(GlFilter, GivesThePixelsThatEachFilterGivesElsewhere)
{
    const cv::Mat picture = randomPixels({61, 37}, 1);
    GlHarness harness("velmorglfilter name=filter");
    expectPixelsOfEachOperator(harness, picture, picture);
}

// glupload gives textures of two dimensions, which are copied; another filter gives rectangles, which are not.
TEST(GlFilter, GivesTheSamePixelsOfRectangles)
{
    const cv::Mat picture = randomPixels({61, 37}, 1);
    cv::Mat upsideDown;
    cv::flip(picture, upsideDown, 0);
    GlHarness harness("velmorglfilter operator=FlipV ! velmorglfilter name=filter");
    expectPixelsOfEachOperator(harness, upsideDown, picture);
}

TEST(GlFilter, ComplementsColoursAndMakesThemOpaque)
{
    const cv::Mat picture = randomPixels({33, 17}, 3);
    cv::Mat expected;
    cv::bitwise_not(picture, expected);
    cv::mixChannels(cv::Mat(picture.size(), CV_8U, 255), expected, {0, 3});
    GlHarness harness("velmorglfilter name=filter operator=Not");
    EXPECT_EQ(0, cv::norm(harness.show(picture), expected, cv::NORM_INF));
}

TEST(GlFilter, FollowsEachChangeOfSize)
{
    GlHarness harness("velmorglfilter name=filter operator=FlipV");
    const cv::Size sizes[] = {{1, 1}, {641, 3}, {1, 7}, {7, 1}, {33, 17}, {17, 33}, {640, 480}, {1, 1}};
    for (const cv::Size& size : sizes) {
        const cv::Mat picture = randomPixels(size, 4) | cv::Scalar(0, 0, 0, 255);
        cv::Mat expected;
        cv::flip(picture, expected, 0);
        for (int frame = 0; frame < 2; ++frame)
            ASSERT_EQ(0, cv::norm(harness.show(picture), expected, cv::NORM_INF)) << size;
    }
}

TEST(GlFilter, FollowsEachChangeOfTextures)
{
    GlHarness harness("velmorglfilter operator=FlipV ! velmorglfilter name=filter operator=FlipV");
    for (int rate = 1; rate < 12; ++rate) {
        harness.begin({33, 17}, rate);
        for (unsigned frame = 0; frame < 3; ++frame) {
            const cv::Mat picture = randomPixels({33, 17}, 10 + frame) | cv::Scalar(0, 0, 0, 255);
            ASSERT_EQ(0, cv::norm(harness.show(picture), picture, cv::NORM_INF)) << rate << ", " << frame;
        }
    }
}

TEST(GlFilter, FollowsEachChangeOfAProperty)
{
    const cv::Mat picture = randomPixels({20, 10}, 5);
    const std::size_t changes = 200, eachOperatorFor = 10;
    std::vector<cv::Mat> expected;
    {
        Elsewhere elsewhere;
        for (const char* const name : kOperators)
            expected.push_back(elsewhere.filter(name, picture));
    }
    GlHarness harness("velmorglfilter name=filter");
    for (std::size_t change = 0; change < changes; ++change) {
        const std::size_t what = change / eachOperatorFor % expected.size();
        const double scale = change % 3 == 0 ? 1 : 0.25, offset = change % 5 == 0 ? 0 : -0.125;
        harness.setByText("operator", kOperators[what]);
        harness.set("scale", scale);
        harness.set("offset", offset);
        expectShown(harness.show(picture), expected[what] * scale + cv::Scalar::all(offset));
        ASSERT_FALSE(testing::Test::HasFatalFailure()) << "after change " << change;
    }
}

TEST(GlFilter, TakesTheParametersOfItsOperator)
{
    const cv::Mat picture = randomPixels({20, 10}, 6);
    std::vector<cv::Mat> expected;
    {
        Elsewhere elsewhere;
        for (int kernel = 0; kernel < 3; ++kernel)
            expected.push_back(elsewhere.filter("Laplacian", picture, {{"kernel", kernel}}));
    }
    GlHarness harness("velmorglfilter name=filter operator=Laplacian");
    for (const int kernel : {0, 1, 2, 1}) {
        harness.set("kernel", kernel);
        expectShown(harness.show(picture), expected[static_cast<std::size_t>(kernel)]);
    }
}

} // namespace
} // namespace velmor::tests
