#include "imageio/ImageIo.h"
#include "tests/gstreamer/Found.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace velmor::tests {
namespace {

const cv::Size kSize(45, 31);
const cv::Vec3b kGrey(90, 90, 90);

cv::Mat ground()
{
    return plain(kSize, kGrey);
}

/// Of which nothing moves in the first frame either, as it is no more than 20 from black.
cv::Mat dark()
{
    return plain(kSize, {15, 16, 17});
}

cv::Mat with(cv::Mat picture, const cv::Rect& part, const cv::Vec3b& colour)
{
    picture(part) = cv::Scalar(colour);
    return picture;
}

/// What an element says of a frame.
struct Said
{
    Owned<GstBuffer> buffer;
    unsigned count = 0;
    cv::Rect box;
    std::shared_ptr<GstStructure> numbers;
};

Said say(Harness& harness, const cv::Mat& colours, GstVideoFormat format)
{
    Said result;
    result.buffer = pass(harness, colours, format);
    if (!result.buffer)
        return result;
    g_object_get(harness.element("tested").get(), "count", &result.count, nullptr);
    const std::vector<Found> found = regionsOf(result.buffer.get(), "velmor-motion");
    EXPECT_EQ(result.count > 0 ? 1U : 0U, found.size());
    if (!found.empty()) {
        result.box = found[0].box;
        result.numbers = found[0].numbers;
    }
    return result;
}

TEST(Motion, CountsWhatMovedInTheLastFrame)
{
    const cv::Rect first(7, 4, 11, 9), second(30, 17, 6, 8);
    for (const GstVideoFormat format : kColourFormats)
        for (const std::string output : {"history", "overlay", "picture"}) {
            SCOPED_TRACE(gst_video_format_to_string(format) + (' ' + output));
            Harness harness("velmormotion name=tested output=" + output);
            expectPictures(harness, format, kSize);
            // The frame before the first one is black.
            EXPECT_EQ(static_cast<unsigned>(kSize.area()), say(harness, ground(), format).count);
            EXPECT_EQ(0U, say(harness, ground(), format).count);
            const cv::Mat one = with(ground(), first, {200, 200, 200});
            const Said appeared = say(harness, one, format);
            EXPECT_EQ(99U, appeared.count);
            EXPECT_EQ(first, appeared.box);
            EXPECT_EQ(99, numberOf(appeared.numbers.get(), "number-of-pixels"));
            // What moved before still glows, and counts no more.
            const Said next = say(harness, with(one.clone(), second, {10, 10, 10}), format);
            EXPECT_EQ(48U, next.count);
            EXPECT_EQ(second, next.box);
        }
}

TEST(Motion, KnowsRedFromBlueInEachFormat)
{
    // 100 more of red make the grey value 30 larger, 100 more of blue 11, and more than 20 is motion.
    const cv::Rect redder(3, 2, 5, 4), bluer(20, 20, 7, 6);
    for (const GstVideoFormat format : kColourFormats) {
        SCOPED_TRACE(gst_video_format_to_string(format));
        Harness harness("velmormotion name=tested");
        expectPictures(harness, format, kSize);
        say(harness, ground(), format);
        const cv::Mat changed = with(with(ground(), redder, {190, 90, 90}), bluer, {90, 90, 190});
        const Said moved = say(harness, changed, format);
        EXPECT_EQ(20U, moved.count);
        EXPECT_EQ(redder, moved.box);
    }
}

TEST(Motion, FindsWhatDiffersWhereACameraPansOverAPhotograph)
{
    const cv::Mat whole = imageio::load(VELMOR_TEST_PHOTOGRAPH, core::cvdata::Image::RGB).mat().clone();
    const cv::Size size(400, 300);
    Harness harness("velmormotion name=tested");
    expectPictures(harness, GST_VIDEO_FORMAT_BGRA, size);
    cv::Mat before = cv::Mat::zeros(size, CV_8UC1);
    for (int i = 0; i < 12; ++i) {
        const cv::Mat colours = whole(cv::Rect({7 * i, 3 * i}, size)).clone();
        cv::Mat grey, difference;
        cv::cvtColor(colours, grey, cv::COLOR_RGB2GRAY);
        cv::absdiff(grey, before, difference);
        const cv::Mat moves = difference > 20;
        const Said moved = say(harness, colours, GST_VIDEO_FORMAT_BGRA);
        EXPECT_EQ(static_cast<unsigned>(cv::countNonZero(moves)), moved.count);
        EXPECT_EQ(cv::boundingRect(moves), moved.box);
        const cv::Mat history = shown(harness, moved.buffer.get(), CV_8UC1);
        EXPECT_EQ(0, cv::countNonZero(moves & (history != 255)));
        before = grey;
    }
}

TEST(Motion, ShowsWhatMovesNowAt255)
{
    Harness harness("velmormotion name=tested");
    expectPictures(harness, GST_VIDEO_FORMAT_BGR, kSize);
    const cv::Mat first = shown(harness, say(harness, ground(), GST_VIDEO_FORMAT_BGR).buffer.get(), CV_8UC1);
    EXPECT_EQ(kSize.area(), cv::countNonZero(first == 255));
    const cv::Rect part(12, 9, 20, 3);
    const Said moved = say(harness, with(ground(), part, {0, 0, 0}), GST_VIDEO_FORMAT_BGR);
    const cv::Mat second = shown(harness, moved.buffer.get(), CV_8UC1);
    EXPECT_EQ(part.area(), cv::countNonZero(second(part) == 255));
    const Owned<GstCaps> caps(gst_pad_get_current_caps(harness.get()->sinkpad));
    EXPECT_STREQ("GRAY8", gst_structure_get_string(gst_caps_get_structure(caps.get(), 0), "format"));
}

/// Lets the process compute for a while: by that the operator's clock goes, and no other.
void compute(double seconds)
{
    const std::clock_t end = std::clock() + static_cast<std::clock_t>(seconds * CLOCKS_PER_SEC);
    while (std::clock() < end) {
    }
}

TEST(Motion, FadesWithTheTimeThatTheProcessComputes)
{
    Harness harness("velmormotion name=tested");
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, kSize);
    say(harness, ground(), GST_VIDEO_FORMAT_RGB);
    compute(0.1); // of 0.4 s
    const Said fading = say(harness, ground(), GST_VIDEO_FORMAT_RGB);
    EXPECT_EQ(0U, fading.count);
    const cv::Mat grey = shown(harness, fading.buffer.get(), CV_8UC1);
    EXPECT_LE(grey.at<uchar>(3, 3), 192); // 255 * 3 / 4, rounded up
    EXPECT_GE(grey.at<uchar>(3, 3), 64);
    compute(0.41);
    const Said faded = say(harness, ground(), GST_VIDEO_FORMAT_RGB);
    EXPECT_EQ(0, cv::countNonZero(shown(harness, faded.buffer.get(), CV_8UC1)));
}

TEST(Motion, TellsTheCentreOfWhatMoved)
{
    const cv::Size size(1200, 40); // more than is looked at at a time
    const cv::Mat colours = plain(size, {0, 0, 0});
    Harness harness("velmormotion name=tested");
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, size);
    EXPECT_EQ(0U, say(harness, colours, GST_VIDEO_FORMAT_RGB).count);
    const cv::Rect first(120, 2, 20, 5), second(290, 25, 10, 10); // of 100 pixels each
    const cv::Vec3b white(255, 255, 255);
    const Said moved = say(harness, with(with(colours, first, white), second, white), GST_VIDEO_FORMAT_RGB);
    ASSERT_EQ(first | second, moved.box);
    EXPECT_EQ(200U, moved.count);
    EXPECT_DOUBLE_EQ((129.5 + 294.5) / 2, numberOf(moved.numbers.get(), "x"));
    EXPECT_DOUBLE_EQ((4 + 29.5) / 2, numberOf(moved.numbers.get(), "y"));
}

TEST(Motion, SendsAMessage)
{
    Harness harness("velmormotion name=tested output=picture");
    Bus bus(harness);
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, kSize);
    say(harness, ground(), GST_VIDEO_FORMAT_RGB);
    ASSERT_TRUE(bus.next());
    const cv::Rect part(10, 6, 9, 5);
    ASSERT_TRUE(pass(harness, with(ground(), part, {255, 255, 255}), GST_VIDEO_FORMAT_RGB, 5 * GST_SECOND));
    const auto message = bus.next();
    ASSERT_TRUE(message);
    EXPECT_STREQ("velmormotion", gst_structure_get_name(message.get()));
    EXPECT_EQ(45, numberOf(message.get(), "count"));
    EXPECT_EQ(5e9, numberOf(message.get(), "stream-time"));
    const GValue* const regions = gst_structure_get_value(message.get(), "regions");
    ASSERT_EQ(1U, gst_value_list_get_size(regions));
    const GstStructure* const region = gst_value_get_structure(gst_value_list_get_value(regions, 0));
    EXPECT_EQ(10, numberOf(region, "left"));
    EXPECT_EQ(6, numberOf(region, "top"));
    EXPECT_EQ(9, numberOf(region, "width"));
    EXPECT_EQ(5, numberOf(region, "height"));
}

TEST(Motion, DrawsABoxAndAGlow)
{
    for (const GstVideoFormat format : kColourFormats) {
        SCOPED_TRACE(gst_video_format_to_string(format));
        Harness harness("velmormotion name=tested output=overlay");
        expectPictures(harness, format, kSize);
        say(harness, dark(), format);
        const cv::Rect part(10, 6, 19, 15);
        const cv::Mat colours = with(dark(), part, {200, 10, 30});
        const Said moved = say(harness, colours, format);
        const cv::Mat before = inFormat(colours, format), after = shown(harness, moved.buffer.get(), before.type());
        const cv::Rect around = part + cv::Point(-1, -1) + cv::Size(2, 2);
        for (int y = 0; y < after.rows; ++y)
            for (int x = 0; x < after.cols; ++x) {
                const int edge = std::min(std::min(std::abs(x - part.x), std::abs(x - part.x - part.width + 1)),
                                          std::min(std::abs(y - part.y), std::abs(y - part.y - part.height + 1)));
                const uchar* const drawn = after.ptr(y, x);
                const uchar* const source = before.ptr(y, x);
                SCOPED_TRACE(std::to_string(x) + ' ' + std::to_string(y));
                if (!around.contains({x, y})) { // untouched
                    ASSERT_EQ(0, std::memcmp(drawn, source, before.elemSize()));
                } else if (edge > 1) { // moved: green is as bright as can be, the rest is as it was
                    ASSERT_EQ(255, drawn[1]);
                    ASSERT_EQ(source[0], drawn[0]);
                    ASSERT_EQ(source[2], drawn[2]);
                }
            }
        const uchar* const line = after.ptr(part.y, part.x + 5);
        EXPECT_EQ(0, line[0]);
        EXPECT_EQ(255, line[1]);
        EXPECT_EQ(0, line[2]);
    }
}

TEST(Motion, BeginsAnewAfterAFlush)
{
    Harness harness("velmormotion name=tested");
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, kSize);
    say(harness, ground(), GST_VIDEO_FORMAT_RGB);
    EXPECT_EQ(0U, say(harness, ground(), GST_VIDEO_FORMAT_RGB).count);
    ASSERT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_flush_start()));
    ASSERT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_flush_stop(TRUE)));
    GstSegment segment;
    gst_segment_init(&segment, GST_FORMAT_TIME);
    ASSERT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_segment(&segment)));
    EXPECT_EQ(static_cast<unsigned>(kSize.area()), say(harness, ground(), GST_VIDEO_FORMAT_RGB).count);
    EXPECT_EQ(0U, say(harness, ground(), GST_VIDEO_FORMAT_RGB).count);
}

TEST(Motion, BeginsAnewWithAnotherSizeAlone)
{
    Harness harness("velmormotion name=tested");
    const Owned<GstElement> element = harness.element("tested");
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, kSize);
    EXPECT_EQ(static_cast<unsigned>(kSize.area()), say(harness, ground(), GST_VIDEO_FORMAT_RGB).count);
    expectPictures(harness, GST_VIDEO_FORMAT_BGRx, kSize); // the same pictures in another format
    EXPECT_EQ(0U, say(harness, ground(), GST_VIDEO_FORMAT_BGRx).count);
    for (const char* const output : {"picture", "history", "overlay", "history"}) {
        gst_util_set_object_arg(G_OBJECT(element.get()), "output", output);
        EXPECT_EQ(0U, say(harness, ground(), GST_VIDEO_FORMAT_BGRx).count) << output;
    }
    const cv::Size other(20, 70);
    expectPictures(harness, GST_VIDEO_FORMAT_BGRx, other);
    EXPECT_EQ(1400U, say(harness, plain(other, kGrey), GST_VIDEO_FORMAT_BGRx).count);
}

TEST(Motion, TakesPicturesOfAnySize)
{
    for (const cv::Size size : {cv::Size(1, 1), {2, 2}, {1, 70}, {200, 1}, {33, 65}})
        for (const std::string output : {"history", "overlay", "picture"}) {
            SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height) + ' ' + output);
            Harness harness("velmormotion name=tested output=" + output);
            expectPictures(harness, GST_VIDEO_FORMAT_RGB, size);
            const Said all = say(harness, plain(size, kGrey), GST_VIDEO_FORMAT_RGB);
            EXPECT_EQ(static_cast<unsigned>(size.area()), all.count);
            EXPECT_EQ(cv::Rect({0, 0}, size), all.box);
            cv::Mat next = plain(size, kGrey);
            const cv::Point corner(size.width - 1, size.height - 1);
            next.at<cv::Vec3b>(corner) = {255, 255, 255};
            const Said one = say(harness, next, GST_VIDEO_FORMAT_RGB);
            EXPECT_EQ(1U, one.count);
            EXPECT_EQ(cv::Rect(corner, cv::Size(1, 1)), one.box);
        }
}

TEST(Motion, SaysThatAFrameIsTooLarge)
{
    // 2^29 pixels, and a single row of 2^27.
    for (const cv::Size size : {cv::Size(1 << 15, 1 << 14), {1 << 27, 1}}) {
        Harness harness("velmormotion name=tested");
        Bus bus(harness);
        expectPictures(harness, GST_VIDEO_FORMAT_RGB, size);
        EXPECT_EQ("gst-stream-error-quark " + std::to_string(GST_STREAM_ERROR_FORMAT) + ": frames of " +
                      std::to_string(size.width) + " x " + std::to_string(size.height) +
                      " are too large: expected fewer than 2^29 pixels in rows of fewer than 2^27",
                  bus.error());
    }
}

} // namespace
} // namespace velmor::tests
