#include "core/cvdata/ColorGMM.h"
#include "math/Vector2.h"
#include "tests/gstreamer/Found.h"
#include "tests/gstreamer/Pipeline.h"
#include "tests/support/TemporaryFolder.h"

#include <gst/controller/gstdirectcontrolbinding.h>
#include <gst/controller/gstinterpolationcontrolsource.h>
#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <cmath>
#include <cstring>

namespace velmor::tests {
namespace {

using core::cvdata::ColorGMM;
using core::cvdata::GM;

// The detector compares both of a colour's first two numbers, red and green, with the mean's first one. Cyan is yellow
// where red and blue are exchanged.
const cv::Vec3b kYellow(200, 200, 0), kCyan(0, 200, 200), kBlack(0, 0, 0);

/// A file of a model that takes yellow alone for its colour.
std::string yellowModel(const TemporaryFolder& folder)
{
    math::SquareMatrix covariance(2);
    covariance[0][0] = covariance[1][1] = 25;
    ColorGMM model;
    model.mixture.push_back(GM::fromCovariance(covariance, math::Vector2(200, 200), 1));
    model.save(folder.file("yellow.yml"));
    return folder.file("yellow.yml");
}

class Colour : public testing::Test
{
protected:
    std::string launch(const std::string& properties = "") const
    {
        return "velmorcolour name=tested model=" + mModel + ' ' + properties;
    }

    const TemporaryFolder mFolder;
    const std::string mModel = yellowModel(mFolder);
};

/// Two yellow rectangles, and a cyan one.
const cv::Rect kFirst(5, 4, 21, 11), kSecond(33, 20, 10, 15), kOther(50, 3, 10, 10);

cv::Mat scene()
{
    cv::Mat result = plain({67, 41}, kBlack);
    result(kFirst) = cv::Scalar(kYellow);
    result(kSecond) = cv::Scalar(kYellow);
    result(kOther) = cv::Scalar(kCyan);
    return result;
}

cv::Mat maskOf(const cv::Mat& colours)
{
    cv::Mat result = cv::Mat::zeros(colours.size(), CV_8UC1);
    for (int y = 0; y < colours.rows; ++y)
        for (int x = 0; x < colours.cols; ++x)
            if (colours.at<cv::Vec3b>(y, x) == kYellow)
                result.at<uchar>(y, x) = 255;
    return result;
}

std::vector<cv::Rect> boxesOf(const std::vector<Found>& found)
{
    std::vector<cv::Rect> result;
    for (const Found& each : found)
        result.push_back(each.box);
    return result;
}

/// What the numbers of a filled rectangle are: those of the polygon through the centres of its outermost pixels.
void expectRectangle(const GstStructure* numbers, const cv::Rect& box)
{
    const double width = box.width - 1, height = box.height - 1;
    EXPECT_STREQ("velmor-blob", gst_structure_get_name(numbers));
    EXPECT_EQ(box.x, numberOf(numbers, "left"));
    EXPECT_EQ(box.y, numberOf(numbers, "top"));
    EXPECT_EQ(box.width, numberOf(numbers, "width"));
    EXPECT_EQ(box.height, numberOf(numbers, "height"));
    EXPECT_EQ(width * height, numberOf(numbers, "area"));
    EXPECT_EQ(4, numberOf(numbers, "number-of-points"));
    const double tolerance = 1e-9; // sums of whole numbers and a few quotients, in doubles
    EXPECT_NEAR(box.x + width / 2, numberOf(numbers, "x"), tolerance);
    EXPECT_NEAR(box.y + height / 2, numberOf(numbers, "y"), tolerance);
    EXPECT_NEAR(width * width / 12, numberOf(numbers, "covariance-xx"), tolerance);
    EXPECT_NEAR(height * height / 12, numberOf(numbers, "covariance-yy"), tolerance);
    EXPECT_NEAR(0, numberOf(numbers, "covariance-xy"), tolerance);
    EXPECT_NEAR(std::max(width, height) / std::sqrt(3), numberOf(numbers, "major-axis"), tolerance);
    EXPECT_NEAR(std::min(width, height) / std::sqrt(3), numberOf(numbers, "minor-axis"), tolerance);
    EXPECT_NEAR(width > height ? 0 : 90, std::abs(numberOf(numbers, "angle")), tolerance);
}

TEST_F(Colour, MarksItsColourInEachFormat)
{
    for (const GstVideoFormat format : kColourFormats) {
        SCOPED_TRACE(gst_video_format_to_string(format));
        Harness harness(launch());
        expectPictures(harness, format, scene().size());
        const Owned<GstBuffer> result = pass(harness, scene(), format);
        ASSERT_TRUE(result);
        EXPECT_EQ(0, cv::norm(shown(harness, result.get(), CV_8UC1), maskOf(scene()), cv::NORM_INF));
        const Owned<GstCaps> caps(gst_pad_get_current_caps(harness.get()->sinkpad));
        EXPECT_STREQ("GRAY8", gst_structure_get_string(gst_caps_get_structure(caps.get(), 0), "format"));
    }
}

TEST_F(Colour, DescribesEachRegion)
{
    for (const std::string output : {"mask", "overlay", "picture"}) {
        SCOPED_TRACE(output);
        Harness harness(launch("output=" + output));
        expectPictures(harness, GST_VIDEO_FORMAT_RGB, scene().size());
        const Owned<GstBuffer> result = pass(harness, scene(), GST_VIDEO_FORMAT_RGB);
        ASSERT_TRUE(result);
        const std::vector<Found> found = regionsOf(result.get(), "velmor-blob");
        ASSERT_EQ((std::vector<cv::Rect>{kFirst, kSecond}), boxesOf(found));
        expectRectangle(found[0].numbers.get(), kFirst);
        expectRectangle(found[1].numbers.get(), kSecond);
    }
}

TEST_F(Colour, TellsTheAngleAndTheCovarianceOfASlantedRegion)
{
    // A band that falls to the right by one row a column: growing rows are positive angles, and its x and y vary alike,
    // which the covariance has with the other sign, by design.
    cv::Mat colours = plain({40, 40}, kBlack);
    for (int i = 0; i < 20; ++i)
        for (int k = 0; k < 6; ++k)
            colours.at<cv::Vec3b>(8 + i, 5 + i + k) = kYellow;
    Harness harness(launch());
    expectPictures(harness, GST_VIDEO_FORMAT_BGRx, colours.size());
    const Owned<GstBuffer> result = pass(harness, colours, GST_VIDEO_FORMAT_BGRx);
    const std::vector<Found> found = regionsOf(result.get(), "velmor-blob");
    ASSERT_EQ(1U, found.size());
    const double angle = numberOf(found[0].numbers.get(), "angle");
    EXPECT_GT(angle, 30);
    EXPECT_LT(angle, 60);
    EXPECT_LT(numberOf(found[0].numbers.get(), "covariance-xy"), 0);
}

TEST_F(Colour, SendsAMessageWithTheTimesOfTheStream)
{
    Harness harness(launch());
    Bus bus(harness);
    expectPictures(harness, GST_VIDEO_FORMAT_BGR, scene().size());
    ASSERT_TRUE(pass(harness, scene(), GST_VIDEO_FORMAT_BGR, 3 * GST_SECOND));
    const auto message = bus.next();
    ASSERT_TRUE(message);
    EXPECT_STREQ("velmorcolour", gst_structure_get_name(message.get()));
    EXPECT_EQ(2, numberOf(message.get(), "count"));
    for (const char* const time : {"timestamp", "stream-time", "running-time"})
        EXPECT_EQ(3e9, numberOf(message.get(), time)) << time;
    EXPECT_EQ(40e6, numberOf(message.get(), "duration"));
    const GValue* const blobs = gst_structure_get_value(message.get(), "blobs");
    ASSERT_TRUE(GST_VALUE_HOLDS_LIST(blobs));
    ASSERT_EQ(2U, gst_value_list_get_size(blobs));
    expectRectangle(gst_value_get_structure(gst_value_list_get_value(blobs, 0)), kFirst);
    expectRectangle(gst_value_get_structure(gst_value_list_get_value(blobs, 1)), kSecond);

    ASSERT_TRUE(pass(harness, plain(scene().size(), kCyan), GST_VIDEO_FORMAT_BGR));
    const auto empty = bus.next();
    ASSERT_TRUE(empty);
    EXPECT_EQ(0, numberOf(empty.get(), "count"));
    EXPECT_EQ(0U, gst_value_list_get_size(gst_structure_get_value(empty.get(), "blobs")));
    EXPECT_FALSE(bus.next());
}

TEST_F(Colour, IsSilentOnTheBusWhenToldTo)
{
    Harness harness(launch("post-messages=false output=picture"));
    Bus bus(harness);
    expectPictures(harness, GST_VIDEO_FORMAT_BGR, scene().size());
    const Owned<GstBuffer> result = pass(harness, scene(), GST_VIDEO_FORMAT_BGR);
    EXPECT_EQ(2U, regionsOf(result.get(), "velmor-blob").size());
    EXPECT_FALSE(bus.next());
}

TEST_F(Colour, HasTheLastFrameAsProperties)
{
    Harness harness(launch());
    const Owned<GstElement> element = harness.element("tested");
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, scene().size());
    ASSERT_TRUE(pass(harness, scene(), GST_VIDEO_FORMAT_RGB));
    guint count = 0;
    GValue blobs = G_VALUE_INIT;
    g_value_init(&blobs, GST_TYPE_ARRAY);
    g_object_get(element.get(), "count", &count, nullptr);
    g_object_get_property(G_OBJECT(element.get()), "blobs", &blobs);
    EXPECT_EQ(2U, count);
    ASSERT_EQ(2U, gst_value_array_get_size(&blobs));
    expectRectangle(gst_value_get_structure(gst_value_array_get_value(&blobs, 1)), kSecond);
    g_value_unset(&blobs);
}

TEST_F(Colour, ChoosesRegionsBySizeAndNumber)
{
    Harness harness(launch("least-area=130"));
    const Owned<GstElement> element = harness.element("tested");
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, scene().size());
    // Their polygons have 20 x 10 and 9 x 14 pixels.
    const auto found = [&] {
        return boxesOf(regionsOf(pass(harness, scene(), GST_VIDEO_FORMAT_RGB).get(), "velmor-blob"));
    };
    EXPECT_EQ((std::vector<cv::Rect>{kFirst}), found());
    g_object_set(element.get(), "least-area", 125.5, nullptr);
    EXPECT_EQ((std::vector<cv::Rect>{kFirst, kSecond}), found());
    g_object_set(element.get(), "most-regions", 1, nullptr);
    EXPECT_EQ(1U, found().size());
    g_object_set(element.get(), "most-regions", 0, nullptr);
    EXPECT_EQ(0U, found().size());
}

TEST_F(Colour, FollowsAControllerByTheTimesOfTheStream)
{
    Harness harness(launch());
    const Owned<GstElement> element = harness.element("tested");
    GstControlSource* const source = gst_interpolation_control_source_new();
    g_object_set(source, "mode", GST_INTERPOLATION_MODE_NONE, nullptr);
    auto* const values = GST_TIMED_VALUE_CONTROL_SOURCE(source);
    for (int i = 0; i < 3; ++i) // 0, then 150, between both regions, then 300 pixels
        gst_timed_value_control_source_set(values, static_cast<GstClockTime>(i) * GST_SECOND, 150.0 * i);
    GstControlBinding* const binding =
        gst_direct_control_binding_new_absolute(GST_OBJECT(element.get()), "least-area", source);
    ASSERT_TRUE(gst_object_add_control_binding(GST_OBJECT(element.get()), binding));
    gst_object_unref(source);
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, scene().size());
    for (const unsigned seconds : {0U, 1U, 2U}) {
        const Owned<GstBuffer> result = pass(harness, scene(), GST_VIDEO_FORMAT_RGB, seconds * GST_SECOND);
        EXPECT_EQ(2 - seconds, regionsOf(result.get(), "velmor-blob").size());
    }
}

TEST_F(Colour, ClearsWhatIsNarrowWithMorphology)
{
    cv::Mat colours = plain({30, 20}, kBlack);
    const cv::Rect kept(4, 4, 9, 8);
    colours(kept) = cv::Scalar(kYellow);
    const cv::Mat expected = maskOf(colours);
    colours(cv::Rect(18, 2, 2, 15)) = cv::Scalar(kYellow);
    Harness harness(launch("morphology=on"));
    expectPictures(harness, GST_VIDEO_FORMAT_RGBA, colours.size());
    const Owned<GstBuffer> result = pass(harness, colours, GST_VIDEO_FORMAT_RGBA);
    EXPECT_EQ(0, cv::norm(shown(harness, result.get(), CV_8UC1), expected, cv::NORM_INF));
    g_object_set(harness.element("tested").get(), "morphology", 0, nullptr);
    const Owned<GstBuffer> whole = pass(harness, colours, GST_VIDEO_FORMAT_RGBA);
    EXPECT_EQ(0, cv::norm(shown(harness, whole.get(), CV_8UC1), maskOf(colours), cv::NORM_INF));
}

TEST_F(Colour, DrawsEllipsesInEachFormat)
{
    // The ellipse of the first rectangle has half axes of 20 / sqrt(3) and 10 / sqrt(3) around (15, 9).
    for (const GstVideoFormat format : kColourFormats) {
        SCOPED_TRACE(gst_video_format_to_string(format));
        Harness harness(launch("output=overlay"));
        expectPictures(harness, format, scene().size());
        const Owned<GstBuffer> result = pass(harness, scene(), format);
        ASSERT_TRUE(result);
        const cv::Mat before = inFormat(scene(), format);
        const cv::Mat after = shown(harness, result.get(), before.type());
        const uchar* const drawn = after.ptr(9, 15 + 12); // right of the rectangle, on the ellipse
        EXPECT_EQ(0, drawn[0]);
        EXPECT_EQ(255, drawn[1]);
        EXPECT_EQ(0, drawn[2]);
        if (after.channels() == 4) {
            EXPECT_EQ(255, drawn[3]);
        }
        for (int y = 0; y < after.rows; ++y)
            for (int x = 0; x < after.cols; ++x) {
                const auto distance = [x, y](double cx, double cy, double a, double b) {
                    return std::hypot((x - cx) / a, (y - cy) / b);
                };
                const double toFirst = distance(15, 9, 20 / std::sqrt(3), 10 / std::sqrt(3));
                const double toSecond = distance(37.5, 27, 9 / std::sqrt(3), 14 / std::sqrt(3));
                const double farAway = 0.6; // in half axes: lines are three pixels wide, of axes of five and more
                if (std::abs(toFirst - 1) > farAway && std::abs(toSecond - 1) > farAway) {
                    ASSERT_EQ(0, std::memcmp(after.ptr(y, x), before.ptr(y, x), before.elemSize())) << x << ' ' << y;
                }
            }
    }
}

TEST_F(Colour, LeavesPixelsWhereTheyAre)
{
    Harness harness(launch("output=picture"));
    expectPictures(harness, GST_VIDEO_FORMAT_RGBA, scene().size());
    const cv::Mat picture = inFormat(scene(), GST_VIDEO_FORMAT_RGBA);
    Owned<GstBuffer> buffer = bufferOf(picture, GST_VIDEO_FORMAT_RGBA, 300);
    // Somebody else holds the buffer, as behind a tee: it gets no regions, and its pixels are not copied.
    const Owned<GstBuffer> held(gst_buffer_ref(buffer.get()));
    const Owned<GstBuffer> result = harness.filter(std::move(buffer));
    ASSERT_TRUE(result);
    EXPECT_EQ(gst_buffer_peek_memory(held.get(), 0), gst_buffer_peek_memory(result.get(), 0));
    EXPECT_EQ(0U, regionsOf(held.get(), "velmor-blob").size());
    EXPECT_EQ(2U, regionsOf(result.get(), "velmor-blob").size());
    EXPECT_EQ(0, cv::norm(shown(harness, result.get(), CV_8UC4), picture, cv::NORM_INF));
}

TEST_F(Colour, DrawsIntoACopyOfWhatOthersHold)
{
    Harness harness(launch("output=overlay"));
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, scene().size());
    Owned<GstBuffer> buffer = bufferOf(scene(), GST_VIDEO_FORMAT_RGB, 204);
    const Owned<GstBuffer> held(gst_buffer_ref(buffer.get()));
    const Owned<GstBuffer> result = harness.filter(std::move(buffer));
    ASSERT_TRUE(result);
    EXPECT_EQ(0, cv::norm(shown(harness, held.get(), CV_8UC3), scene(), cv::NORM_INF));
    EXPECT_NE(0, cv::norm(shown(harness, result.get(), CV_8UC3), scene(), cv::NORM_INF));
}

TEST_F(Colour, KeepsWhatTheFrameHas)
{
    for (const std::string output : {"mask", "overlay", "picture"}) {
        SCOPED_TRACE(output);
        Harness harness(launch("output=" + output));
        expectPictures(harness, GST_VIDEO_FORMAT_RGB, scene().size());
        Owned<GstBuffer> buffer = bufferOf(scene(), GST_VIDEO_FORMAT_RGB, 204);
        gst_buffer_add_video_region_of_interest_meta(buffer.get(), "upstream", 1, 2, 3, 4);
        gst_buffer_add_video_time_code_meta_full(buffer.get(), 25, 1, nullptr, GST_VIDEO_TIME_CODE_FLAGS_NONE, 1, 2, 3,
                                                 4, 0);
        GST_BUFFER_PTS(buffer.get()) = 7 * GST_SECOND;
        const Owned<GstBuffer> result = harness.filter(std::move(buffer));
        ASSERT_TRUE(result);
        EXPECT_EQ((std::vector<cv::Rect>{{1, 2, 3, 4}}), boxesOf(regionsOf(result.get(), "upstream")));
        EXPECT_EQ(2U, regionsOf(result.get(), "velmor-blob").size());
        const GstVideoTimeCodeMeta* const code = gst_buffer_get_video_time_code_meta(result.get());
        ASSERT_TRUE(code);
        EXPECT_EQ(3U, code->tc.seconds);
        EXPECT_EQ(7 * GST_SECOND, GST_BUFFER_PTS(result.get()));
    }
}

TEST_F(Colour, LooksAtTheCropAlone)
{
    const cv::Rect part(20, 2, 30, 36); // with the end of the first rectangle, and the second one
    for (const std::string output : {"mask", "overlay", "picture"}) {
        SCOPED_TRACE(output);
        Harness harness(launch("output=" + output));
        expectPictures(harness, GST_VIDEO_FORMAT_BGR, part.size());
        Owned<GstBuffer> buffer = bufferOf(inFormat(scene(), GST_VIDEO_FORMAT_BGR), GST_VIDEO_FORMAT_BGR, 204);
        GstVideoCropMeta* const crop = gst_buffer_add_video_crop_meta(buffer.get());
        crop->x = static_cast<guint>(part.x);
        crop->y = static_cast<guint>(part.y);
        crop->width = static_cast<guint>(part.width);
        crop->height = static_cast<guint>(part.height);
        const Owned<GstBuffer> result = harness.filter(std::move(buffer));
        ASSERT_TRUE(result);
        // Beside the crop's edge are no pixels: the first rectangle's outermost column counts as background there.
        const std::vector<cv::Rect> boxes = boxesOf(regionsOf(result.get(), "velmor-blob"));
        ASSERT_EQ(1U, boxes.size());
        EXPECT_EQ(output == "mask" ? kSecond - part.tl() : kSecond, boxes[0]); // of the mask, or within the whole frame
        if (output == "mask") {
            EXPECT_FALSE(gst_buffer_get_video_crop_meta(result.get()));
            EXPECT_EQ(0, cv::norm(shown(harness, result.get(), CV_8UC1), maskOf(scene()(part)), cv::NORM_INF));
        } else {
            EXPECT_TRUE(gst_buffer_get_video_crop_meta(result.get()));
        }
    }
}

TEST_F(Colour, TellsOthersWhereRegionsAreWithinACrop)
{
    const cv::Rect part(20, 2, 30, 36);
    Harness harness(launch("output=picture") + " ! velmorfilter operator=BGR2GRAY"); // whose result is the part alone
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, part.size());
    const Owned<GstBuffer> result = harness.filter(bufferOf(scene(), GST_VIDEO_FORMAT_RGB, 204, part));
    ASSERT_TRUE(result);
    const std::vector<Found> found = regionsOf(result.get(), "velmor-blob");
    ASSERT_EQ((std::vector<cv::Rect>{kSecond - part.tl()}), boxesOf(found));
    expectRectangle(found[0].numbers.get(), kSecond - part.tl());
}

TEST_F(Colour, RefusesFramesThatAreNotWhatTheirCapsSay)
{
    Owned<GstBuffer> cut = bufferOf(scene(), GST_VIDEO_FORMAT_RGB, 204);
    gst_buffer_set_size(cut.get(), 41 * 204 - 10);
    for (GstBuffer* const each : {gst_buffer_new_allocate(nullptr, 100, nullptr), cut.release()}) {
        Harness harness(launch());
        Bus bus(harness);
        expectPictures(harness, GST_VIDEO_FORMAT_RGB, scene().size());
        EXPECT_EQ(GST_FLOW_ERROR, gst_harness_push(harness.get(), each));
        EXPECT_EQ("gst-stream-error-quark 1: a frame cannot be searched: it is smaller than its caps or its "
                  "GstVideoMeta say, or cropped otherwise",
                  bus.error());
    }
}

/// Whether an element takes frames with a crop, and with rows as a GstVideoMeta has them.
bool takesMetas(Harness& harness)
{
    const Owned<GstCaps> caps(gst_caps_from_string("video/x-raw,format=RGB,width=67,height=41,framerate=25/1"));
    GstQuery* const query = gst_query_new_allocation(caps.get(), FALSE);
    EXPECT_TRUE(gst_pad_peer_query(harness.get()->srcpad, query));
    const bool result = gst_query_find_allocation_meta(query, GST_VIDEO_CROP_META_API_TYPE, nullptr);
    EXPECT_EQ(result, gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr));
    gst_query_unref(query);
    return result;
}

TEST_F(Colour, TakesCropsWhereItOrWhoComesNextDoes)
{
    for (const std::string output : {"mask", "overlay", "picture"})
        for (const bool isTakenNext : {false, true}) {
            SCOPED_TRACE(output + (isTakenNext ? ", taken next" : ""));
            Harness harness(launch("output=" + output));
            if (isTakenNext) {
                gst_harness_add_propose_allocation_meta(harness.get(), GST_VIDEO_CROP_META_API_TYPE, nullptr);
                gst_harness_add_propose_allocation_meta(harness.get(), GST_VIDEO_META_API_TYPE, nullptr);
            }
            expectPictures(harness, GST_VIDEO_FORMAT_RGB, scene().size());
            EXPECT_EQ(output == "mask" || isTakenNext, takesMetas(harness));
        }
}

TEST_F(Colour, WorksBehindVideocrop)
{
    for (const std::string output : {"mask", "picture"}) {
        SCOPED_TRACE(output);
        Harness harness("videocrop left=20 top=2 right=17 bottom=3 ! " + launch("output=" + output));
        expectPictures(harness, GST_VIDEO_FORMAT_BGRx, scene().size());
        const Owned<GstBuffer> result = pass(harness, scene(), GST_VIDEO_FORMAT_BGRx);
        ASSERT_TRUE(result);
        EXPECT_EQ((std::vector<cv::Rect>{kSecond - cv::Point(20, 2)}), boxesOf(regionsOf(result.get(), "velmor-blob")));
        EXPECT_FALSE(gst_buffer_get_video_crop_meta(result.get())); // of which the harness knows nothing
        const cv::Mat part = scene()(cv::Rect(20, 2, 30, 36));
        const bool isMask = output == "mask";
        EXPECT_EQ(0, cv::norm(shown(harness, result.get(), isMask ? CV_8UC1 : CV_8UC4),
                              isMask ? maskOf(part) : inFormat(part, GST_VIDEO_FORMAT_BGRx), cv::NORM_INF));
    }
}

TEST_F(Colour, HandsNoCropsOnThatOnlyMasksTook)
{
    const cv::Rect part(20, 0, 47, 41);
    Harness harness("videocrop left=20 ! " + launch("output=mask"));
    const Owned<GstElement> element = harness.element("tested");
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, scene().size());
    EXPECT_TRUE(pass(harness, scene(), GST_VIDEO_FORMAT_RGB));
    gst_util_set_object_arg(G_OBJECT(element.get()), "output", "picture");
    for (int i = 0; i < 3; ++i) {
        const Owned<GstBuffer> result = pass(harness, scene(), GST_VIDEO_FORMAT_RGB);
        ASSERT_TRUE(result);
        EXPECT_FALSE(gst_buffer_get_video_crop_meta(result.get()));
        EXPECT_EQ(0, cv::norm(shown(harness, result.get(), CV_8UC3), scene()(part), cv::NORM_INF));
        EXPECT_EQ((std::vector<cv::Rect>{kSecond - part.tl()}), boxesOf(regionsOf(result.get(), "velmor-blob")));
    }
}

TEST_F(Colour, TakesPicturesOfAnySize)
{
    for (const cv::Size size : {cv::Size(1, 1), {2, 2}, {1, 50}, {50, 1}, {3, 3}, {5, 2}})
        for (const std::string output : {"mask", "overlay", "picture"})
            for (const std::string morphology : {"off", "on"}) {
                SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height) + ' ' + output);
                Harness harness(launch("least-area=0 output=" + output + " morphology=" + morphology));
                expectPictures(harness, GST_VIDEO_FORMAT_RGB, size);
                const Owned<GstBuffer> result = pass(harness, plain(size, kYellow), GST_VIDEO_FORMAT_RGB);
                ASSERT_TRUE(result);
                // Of 3 x 3 pixels the middle is left within the border, which has no area.
                EXPECT_EQ(0U, regionsOf(result.get(), "velmor-blob").size());
                if (output == "mask") {
                    EXPECT_EQ(size.area(), cv::countNonZero(shown(harness, result.get(), CV_8UC1) == 255));
                }
            }
}

TEST_F(Colour, TellsOfThousandsOfRegions)
{
    constexpr int across = 120, down = 70;
    cv::Mat colours = plain({across * 5, down * 5}, kBlack);
    for (int y = 0; y < down; ++y)
        for (int x = 0; x < across; ++x)
            colours(cv::Rect(5 * x + 1, 5 * y + 1, 3, 3)) = cv::Scalar(kYellow);
    Harness harness(launch("least-area=1"));
    Bus bus(harness);
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, colours.size());
    const Owned<GstBuffer> result = pass(harness, colours, GST_VIDEO_FORMAT_RGB);
    ASSERT_TRUE(result);
    EXPECT_EQ(static_cast<std::size_t>(across * down), regionsOf(result.get(), "velmor-blob").size());
    const auto message = bus.next();
    ASSERT_TRUE(message);
    EXPECT_EQ(across * down, numberOf(message.get(), "count"));
}

TEST_F(Colour, ChangesItsOutputWhileItRuns)
{
    Harness harness(launch("output=mask"));
    const Owned<GstElement> element = harness.element("tested");
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, scene().size());
    const char* const outputs[] = {"mask", "overlay", "picture"};
    for (int i = 0; i < 1000; ++i) {
        const std::string output = outputs[(i * 7 + i / 5) % 3];
        gst_util_set_object_arg(G_OBJECT(element.get()), "output", output.c_str());
        const Owned<GstBuffer> result = pass(harness, scene(), GST_VIDEO_FORMAT_RGB);
        ASSERT_TRUE(result);
        ASSERT_EQ(2U, regionsOf(result.get(), "velmor-blob").size());
        const Owned<GstCaps> caps(gst_pad_get_current_caps(harness.get()->sinkpad));
        const char* const format = gst_structure_get_string(gst_caps_get_structure(caps.get(), 0), "format");
        ASSERT_STREQ(output == "mask" ? "GRAY8" : "RGB", format) << i;
        const cv::Mat out = shown(harness, result.get(), output == "mask" ? CV_8UC1 : CV_8UC3);
        if (output == "mask") {
            ASSERT_EQ(0, cv::norm(out, maskOf(scene()), cv::NORM_INF)) << i;
        } else {
            ASSERT_EQ(output == "picture", cv::norm(out, scene(), cv::NORM_INF) == 0) << i;
        }
    }
}

TEST_F(Colour, TellsOfItsRegionsWhileFramesPass)
{
    Pipeline pipeline({"velmorcolour", launch("output=picture"), 1, "BGR", ""},
                      "videotestsrc pattern=ball foreground-color=0xffc8c800", "fakesink name=sink sync=false");
    pipeline.go(GST_STATE_PLAYING);
    const Owned<GstElement> element = pipeline.element("tested");
    guint seen = 0;
    for (int reading = 0; reading < 1000; ++reading) {
        GValue blobs = G_VALUE_INIT;
        g_value_init(&blobs, GST_TYPE_ARRAY);
        g_object_get_property(G_OBJECT(element.get()), "blobs", &blobs);
        for (guint i = 0; i < gst_value_array_get_size(&blobs); ++i, ++seen)
            EXPECT_GT(numberOf(gst_value_get_structure(gst_value_array_get_value(&blobs, i)), "area"), 0);
        g_value_unset(&blobs);
        if (reading % 20 == 0) {
            ASSERT_TRUE(pipeline.getsFrames(1)) << reading << ' ' << pipeline.error();
        }
    }
    EXPECT_GT(seen, 0);
    EXPECT_EQ("", pipeline.error());
}

TEST_F(Colour, FollowsNewSizesAndFormats)
{
    Harness harness(launch());
    for (const GstVideoFormat format : kColourFormats)
        for (const int width : {67, 60, 64}) {
            const cv::Mat colours = scene().colRange(0, width).clone();
            expectPictures(harness, format, colours.size());
            const Owned<GstBuffer> result = pass(harness, colours, format);
            ASSERT_TRUE(result);
            EXPECT_EQ(0, cv::norm(shown(harness, result.get(), CV_8UC1), maskOf(colours), cv::NORM_INF));
        }
}

TEST_F(Colour, RefusesGreysWhenCapsAreSettled)
{
    Harness harness(launch());
    const Owned<GstCaps> taken(gst_pad_peer_query_caps(harness.get()->srcpad, nullptr));
    const Owned<GstCaps> greys(gst_caps_from_string("video/x-raw,format=GRAY8"));
    EXPECT_FALSE(gst_caps_can_intersect(taken.get(), greys.get()));
    const Owned<GstCaps> bgrx(gst_caps_from_string("video/x-raw,format=BGRx"));
    EXPECT_TRUE(gst_caps_can_intersect(taken.get(), bgrx.get()));
}

TEST_F(Colour, SaysWhatIsWrongWithItsModel)
{
    const std::string notFound = "gst-resource-error-quark " + std::to_string(GST_RESOURCE_ERROR_NOT_FOUND);
    const std::string read = "gst-resource-error-quark " + std::to_string(GST_RESOURCE_ERROR_READ);
    EXPECT_EQ(notFound + ": the property model names no file", refusalOf("velmorcolour"));
    const std::string missing = mFolder.file("missing.yml");
    EXPECT_EQ(notFound + ": ColorGMM::load(): cannot load '" + missing + "': No such file or directory",
              refusalOf("velmorcolour model=" + missing));
    const std::string broken = mFolder.write("broken.yml", "nothing");
    EXPECT_EQ(0U, refusalOf("velmorcolour model=" + broken).find(read + ": ColorGMM::load(): cannot load '" + broken));

    math::SquareMatrix covariance(3);
    for (unsigned i = 0; i < 3; ++i)
        covariance[i][i] = 1;
    math::Vector mean(3);
    ColorGMM model;
    model.mixture.push_back(GM::fromCovariance(covariance, mean, 1));
    const std::string wide = mFolder.file("wide.yml");
    model.save(wide);
    EXPECT_EQ(read + ": velmorcolour: expected a model of 2 colour components in '" + wide + "', got one of 3",
              refusalOf("velmorcolour model=" + wide));
}

} // namespace
} // namespace velmor::tests
