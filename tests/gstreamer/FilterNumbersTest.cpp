#include "tests/gstreamer/Harness.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <array>

namespace velmor::tests {
namespace {

std::vector<double> sharesIn(const GValue& value)
{
    std::vector<double> result;
    for (guint i = 0; i < gst_value_array_get_size(&value); ++i)
        result.push_back(g_value_get_double(gst_value_array_get_value(&value, i)));
    return result;
}

std::vector<double> histogramOf(GstElement* element)
{
    GValue value = G_VALUE_INIT;
    g_value_init(&value, GST_TYPE_ARRAY);
    g_object_get_property(G_OBJECT(element), "histogram", &value);
    std::vector<double> result = sharesIn(value);
    g_value_unset(&value);
    return result;
}

std::uint64_t countOf(GstElement* element)
{
    guint64 result = 0;
    g_object_get(element, "count", &result, nullptr);
    return result;
}

/// The shares of cells, counted one pixel at a time.
std::vector<double> countedCells(const cv::Mat& picture, std::size_t bins, const std::array<int, 3>& redGreenBlue)
{
    std::vector<double> result(bins * bins * bins);
    for (int y = 0; y < picture.rows; ++y)
        for (int x = 0; x < picture.cols; ++x) {
            std::size_t cell = 0;
            for (int i = 2; i >= 0; --i) {
                const std::size_t value =
                    picture.ptr(y)[x * picture.channels() + redGreenBlue[static_cast<std::size_t>(i)]];
                cell = cell * bins + std::min(value * bins / 255, bins - 1);
            }
            result[cell] += 1;
        }
    for (double& each : result)
        each /= picture.rows * picture.cols;
    return result;
}

TEST(FilterNumbers, CountPixelsAndLeaveTheFrameAlone)
{
    Harness harness("velmorfilter name=filter operator=PixelCount");
    const Owned<GstElement> filter = harness.element("filter");
    Ear ear(filter.get());
    harness.setCaps("video/x-raw,format=GRAY8", {33, 17});
    cv::Mat mask(17, 33, CV_8UC1, cv::Scalar(254));
    mask(cv::Rect(2, 3, 5, 7)).setTo(255);
    Owned<GstBuffer> buffer = bufferOf(mask, GST_VIDEO_FORMAT_GRAY8, 40);
    GST_BUFFER_PTS(buffer.get()) = 3 * GST_SECOND;
    GST_BUFFER_DURATION(buffer.get()) = 40 * GST_MSECOND;
    const GstBuffer* const sent = buffer.get(); // cppcheck-suppress mismatchingContainers // which are none
    const Owned<GstBuffer> result = harness.filter(std::move(buffer));
    EXPECT_EQ(sent, result.get());
    EXPECT_EQ(0, cv::norm(shown(harness, result.get(), CV_8UC1), mask, cv::NORM_INF));
    EXPECT_EQ(35, countOf(filter.get()));

    const Owned<GstMessage> message = ear.next(GST_MESSAGE_ELEMENT);
    ASSERT_TRUE(message);
    const GstStructure* const said = gst_message_get_structure(message.get());
    EXPECT_STREQ("velmorfilter", gst_structure_get_name(said));
    EXPECT_STREQ("PixelCount", gst_structure_get_string(said, "operator"));
    for (const auto& [name, wanted] : {std::pair("count", guint64{35}),
                                       {"timestamp", 3 * GST_SECOND},
                                       {"stream-time", 3 * GST_SECOND},
                                       {"running-time", 3 * GST_SECOND},
                                       {"duration", 40 * GST_MSECOND}}) {
        guint64 number = 0;
        EXPECT_TRUE(gst_structure_get_uint64(said, name, &number)) << name;
        EXPECT_EQ(wanted, number) << name;
    }
}

TEST(FilterNumbers, CountThePartThatACropNames)
{
    Harness harness("velmorfilter name=filter operator=PixelCount");
    harness.setCaps("video/x-raw,format=GRAY8", {4, 5});
    cv::Mat mask(17, 33, CV_8UC1, cv::Scalar(255));
    mask(cv::Rect(2, 3, 2, 2)).setTo(0);
    harness.filter(bufferOf(mask, GST_VIDEO_FORMAT_GRAY8, 40, {1, 2, 4, 5}));
    EXPECT_EQ(16, countOf(harness.element("filter").get()));
}

TEST(FilterNumbers, SayNothingWhereMessagesAreOff)
{
    Harness harness("velmorfilter name=filter operator=PixelCount post-messages=false");
    const Owned<GstElement> filter = harness.element("filter");
    Ear ear(filter.get());
    harness.setCaps("video/x-raw,format=GRAY8", {4, 4});
    harness.filter(bufferOf(cv::Mat(4, 4, CV_8UC1, cv::Scalar(255)), GST_VIDEO_FORMAT_GRAY8, 4));
    EXPECT_EQ(16, countOf(filter.get()));
    EXPECT_FALSE(ear.now(GST_MESSAGE_ELEMENT));
}

TEST(FilterNumbers, AreSharesOfColoursWithRedFirst)
{
    for (const auto& [format, type, redGreenBlue] :
         {std::tuple(GST_VIDEO_FORMAT_RGB, CV_8UC3, std::array<int, 3>{0, 1, 2}),
          {GST_VIDEO_FORMAT_BGR, CV_8UC3, {2, 1, 0}},
          {GST_VIDEO_FORMAT_BGRA, CV_8UC4, {2, 1, 0}}}) {
        SCOPED_TRACE(gst_video_format_to_string(format));
        Harness harness("velmorfilter name=filter operator=ColorHistShader bins=3");
        const Owned<GstElement> filter = harness.element("filter");
        Ear ear(filter.get());
        harness.setCaps(std::string("video/x-raw,format=") + gst_video_format_to_string(format), {33, 17});
        cv::Mat picture(17, 33, type);
        cv::RNG(5).fill(picture, cv::RNG::UNIFORM, 0, 256);
        harness.filter(bufferOf(picture, format, 136));
        const std::vector<double> expected = countedCells(picture, 3, redGreenBlue);
        EXPECT_EQ(expected, histogramOf(filter.get()));
        const Owned<GstMessage> message = ear.next(GST_MESSAGE_ELEMENT);
        ASSERT_TRUE(message);
        const GValue* const cells = gst_structure_get_value(gst_message_get_structure(message.get()), "histogram");
        ASSERT_TRUE(cells);
        EXPECT_EQ(expected, sharesIn(*cells));
        g_object_set(filter.get(), "bins", 2, nullptr);
        harness.filter(bufferOf(picture, format, 136));
        EXPECT_EQ(countedCells(picture, 2, redGreenBlue), histogramOf(filter.get()));
    }
}

} // namespace
} // namespace velmor::tests
