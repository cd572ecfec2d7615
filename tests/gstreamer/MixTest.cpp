#include "tests/gstreamer/Harness.h"

#include <gst/controller/gstdirectcontrolbinding.h>
#include <gst/controller/gstinterpolationcontrolsource.h>
#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <atomic>
#include <functional>
#include <tuple>

namespace velmor::tests {
namespace {

struct HarnessTeardown
{
    void operator()(GstHarness* harness) const { gst_harness_teardown(harness); }
};
using OwnedHarness = std::unique_ptr<GstHarness, HarnessTeardown>;

/// The text of the first error on a bus, within 20 seconds.
std::string errorOn(GstBus* bus)
{
    const Owned<GstMessage> message = messageOn(bus, GST_MESSAGE_ERROR);
    return message ? textOf(message.get()) : "none";
}

void countFrame(GstElement*, GstBuffer*, GstPad*, std::atomic<int>* frames)
{
    ++*frames;
}

/// velmormix with its two sources in the test's hands.
class Mix
{
public:
    explicit Mix(const std::string& operation = "Subtract") : mElement(gst_element_factory_make("velmormix", nullptr))
    {
        gst_util_set_object_arg(G_OBJECT(mElement.get()), "operator", operation.c_str());
        mBus = gst_bus_new();
        gst_element_set_bus(mElement.get(), mBus);
        mFirst.reset(gst_harness_new_with_element(mElement.get(), "sink_0", "src"));
        mSecond.reset(gst_harness_new_with_element(mElement.get(), "sink_1", nullptr));
    }
    ~Mix()
    {
        mSecond.reset();
        mFirst.reset();
        gst_element_set_bus(mElement.get(), nullptr);
        gst_object_unref(mBus);
    }
    Mix(const Mix&) = delete;
    Mix& operator=(const Mix&) = delete;

    GstElement* element() { return mElement.get(); }
    GstHarness* first() { return mFirst.get(); }
    GstHarness* second() { return mSecond.get(); }

    void setCaps(const std::string& caps)
    {
        gst_harness_set_src_caps_str(first(), caps.c_str());
        gst_harness_set_src_caps_str(second(), caps.c_str());
    }

    /// Sends a pair of pictures in.
    void push(Owned<GstBuffer> a, Owned<GstBuffer> b)
    {
        EXPECT_EQ(GST_FLOW_OK, gst_harness_push(first(), a.release()));
        EXPECT_EQ(GST_FLOW_OK, gst_harness_push(second(), b.release()));
    }

    /// Sends a pair of pictures in, and takes what comes out.
    Owned<GstBuffer> mix(Owned<GstBuffer> a, Owned<GstBuffer> b)
    {
        push(std::move(a), std::move(b));
        return Owned<GstBuffer>(gst_harness_pull(first()));
    }

    /// The text of the first error that the element tells of.
    std::string error() { return errorOn(mBus); }

private:
    Owned<GstElement> mElement;
    GstBus* mBus = nullptr;
    OwnedHarness mFirst;
    OwnedHarness mSecond;
};

std::string capsOf(const std::string& format, const cv::Size& size, int rate = 25)
{
    return "video/x-raw,format=" + format + ",width=" + std::to_string(size.width) +
           ",height=" + std::to_string(size.height) + ",framerate=" + std::to_string(rate) + "/1";
}

/// A frame of a stream, by its number.
Owned<GstBuffer> at(guint64 number, Owned<GstBuffer> frame, guint64 rate = 25)
{
    GST_BUFFER_PTS(frame.get()) = number * GST_SECOND / rate;
    GST_BUFFER_DURATION(frame.get()) = GST_SECOND / rate;
    return frame;
}

Owned<GstBuffer> greyAt(guint64 number, int level, const cv::Size& size = {4, 3}, guint64 rate = 25)
{
    return at(number, bufferOf(cv::Mat(size, CV_8UC1, cv::Scalar(level)), GST_VIDEO_FORMAT_GRAY8, 4 * size.width),
              rate);
}

/// The level of a grey frame.
int levelOf(const Owned<GstBuffer>& frame)
{
    guint8 level = 0;
    return frame && gst_buffer_extract(frame.get(), 0, &level, 1) == 1 ? level : -1;
}

cv::Mat noise(const cv::Size& size, int type)
{
    cv::Mat result(size, type);
    cv::randu(result, 0, 256);
    // Zeros and equal values are what the rules turn on.
    cv::Mat few(size, CV_8UC1);
    cv::randu(few, 0, 4);
    result.setTo(cv::Scalar::all(0), few == 0);
    return result;
}

/// What an operator makes of two pixels, byte by byte.
using Rule = std::function<void(const uchar* a, const uchar* b, uchar* result, int channels)>;

Rule perByte(const std::function<int(int, int)>& rule)
{
    return [rule](const uchar* a, const uchar* b, uchar* result, int channels) {
        for (int i = 0; i < channels; ++i)
            result[i] = static_cast<uchar>(rule(a[i], b[i]));
    };
}

void gain(const uchar* a, const uchar* b, uchar* result, int channels)
{
    bool falls = false;
    for (int i = 0; i < channels; ++i)
        falls = falls || b[i] < a[i];
    for (int i = 0; i < channels; ++i)
        result[i] = static_cast<uchar>(falls ? 0 : b[i] - a[i]);
}

const std::vector<std::pair<std::string, Rule>>& rules()
{
    static const std::vector<std::pair<std::string, Rule>> kRules = {
        {"Subtract", perByte([](int a, int b) { return std::abs(a - b); })},
        {"And", perByte([](int a, int b) { return a > 0 && b > 0 ? 255 : 0; })},
        {"Or", perByte([](int a, int b) { return std::min(a + b, 255); })},
        {"Xor", gain},
        {"Classify", gain},
    };
    return kRules;
}

cv::Mat expected(const Rule& rule, const cv::Mat& a, const cv::Mat& b, int channelsThatCount)
{
    cv::Mat result = cv::Mat::zeros(a.size(), a.type());
    for (int y = 0; y < a.rows; ++y)
        for (int x = 0; x < a.cols; ++x) {
            const std::size_t place = static_cast<std::size_t>(x) * a.elemSize();
            rule(a.ptr(y) + place, b.ptr(y) + place, result.ptr(y) + place, channelsThatCount);
        }
    return result;
}

/// Sets the fourth channel to 0 where it says nothing.
cv::Mat whatCounts(cv::Mat picture, int channelsThatCount)
{
    if (channelsThatCount < picture.channels())
        cv::bitwise_and(picture, cv::Scalar(255, 255, 255, 0), picture);
    return picture;
}

TEST(Mix, ComputesEachOperatorInEachFormat)
{
    struct Case
    {
        const char* name;
        GstVideoFormat format;
        int type;
        int channelsThatCount;
    };
    const Case cases[] = {
        {"GRAY8", GST_VIDEO_FORMAT_GRAY8, CV_8UC1, 1}, {"RGB", GST_VIDEO_FORMAT_RGB, CV_8UC3, 3},
        {"BGR", GST_VIDEO_FORMAT_BGR, CV_8UC3, 3},     {"RGBA", GST_VIDEO_FORMAT_RGBA, CV_8UC4, 4},
        {"BGRA", GST_VIDEO_FORMAT_BGRA, CV_8UC4, 4},   {"RGBx", GST_VIDEO_FORMAT_RGBx, CV_8UC4, 3},
        {"BGRx", GST_VIDEO_FORMAT_BGRx, CV_8UC4, 3},
    };
    const cv::Size size(33, 17);
    for (const auto& [name, rule] : rules())
        for (const Case& each : cases) {
            SCOPED_TRACE(name + " of " + each.name);
            Mix mix(name);
            mix.setCaps(capsOf(each.name, size));
            const cv::Mat a = noise(size, each.type);
            const cv::Mat b = noise(size, each.type);
            // Two strides, neither of them that of GStreamer's own frames.
            const Owned<GstBuffer> result =
                mix.mix(at(0, bufferOf(a, each.format, 140)), at(0, bufferOf(b, each.format, 148)));
            ASSERT_TRUE(result);
            EXPECT_EQ(0, GST_BUFFER_PTS(result.get()));
            EXPECT_EQ(GST_SECOND / 25, GST_BUFFER_DURATION(result.get()));
            EXPECT_EQ(0, cv::norm(whatCounts(shown(mix.first(), result.get(), each.type), each.channelsThatCount),
                                  expected(rule, a, b, each.channelsThatCount), cv::NORM_INF));
        }
}

TEST(Mix, OffersTheOperatorsThatTheTestKnows)
{
    Mix mix;
    GParamSpec* const property = g_object_class_find_property(G_OBJECT_GET_CLASS(mix.element()), "operator");
    ASSERT_TRUE(G_IS_PARAM_SPEC_ENUM(property));
    const GEnumClass* const choices = G_PARAM_SPEC_ENUM(property)->enum_class;
    ASSERT_EQ(rules().size(), choices->n_values);
    for (std::size_t i = 0; i < rules().size(); ++i)
        EXPECT_EQ(rules()[i].first, choices->values[i].value_nick);
}

TEST(Mix, TakesTheFirstSourceFromSink0WhoeverComesFirst)
{
    const Owned<GstElement> element(gst_element_factory_make("velmormix", nullptr));
    gst_util_set_object_arg(G_OBJECT(element.get()), "operator", "Xor");
    const OwnedHarness second(gst_harness_new_with_element(element.get(), "sink_1", "src"));
    const OwnedHarness first(gst_harness_new_with_element(element.get(), "sink_0", nullptr));
    gst_harness_set_src_caps_str(second.get(), capsOf("GRAY8", {4, 3}).c_str());
    gst_harness_set_src_caps_str(first.get(), capsOf("GRAY8", {4, 3}).c_str());
    gst_harness_push(second.get(), greyAt(0, 90).release());
    gst_harness_push(first.get(), greyAt(0, 20).release());
    EXPECT_EQ(70, levelOf(Owned<GstBuffer>(gst_harness_pull(second.get())))); // the other way round it is 0
}

TEST(Mix, HasTwoSourcesAtMost)
{
    const Owned<GstElement> element(gst_element_factory_make("velmormix", nullptr));
    EXPECT_EQ(nullptr, gst_element_request_pad_simple(element.get(), "sink_2"));
    EXPECT_EQ(nullptr, gst_element_request_pad_simple(element.get(), "sink_00"));
    GstPad* const second = gst_element_request_pad_simple(element.get(), "sink_1");
    ASSERT_NE(nullptr, second);
    GstPad* const first = gst_element_request_pad_simple(element.get(), "sink_%u");
    ASSERT_NE(nullptr, first);
    EXPECT_STREQ("sink_0", GST_PAD_NAME(first));
    EXPECT_EQ(nullptr, gst_element_request_pad_simple(element.get(), "sink_%u"));
    gst_element_release_request_pad(element.get(), first);
    gst_object_unref(first);
    GstPad* const again = gst_element_request_pad_simple(element.get(), "sink_%u");
    ASSERT_NE(nullptr, again);
    EXPECT_STREQ("sink_0", GST_PAD_NAME(again));
    for (GstPad* const each : {second, again}) {
        gst_element_release_request_pad(element.get(), each);
        gst_object_unref(each);
    }
}

TEST(Mix, TakesThePartThatACropNames)
{
    Mix mix;
    const cv::Mat a = noise({33, 17}, CV_8UC3);
    const cv::Mat b = noise({20, 9}, CV_8UC3);
    mix.setCaps(capsOf("RGB", b.size()));
    Owned<GstBuffer> cropped = at(0, bufferOf(a, GST_VIDEO_FORMAT_RGB, 104));
    GstVideoCropMeta* const crop = gst_buffer_add_video_crop_meta(cropped.get());
    crop->x = 5;
    crop->y = 3;
    crop->width = 20;
    crop->height = 9;
    const Owned<GstBuffer> result = mix.mix(std::move(cropped), at(0, bufferOf(b, GST_VIDEO_FORMAT_RGB, 60)));
    ASSERT_TRUE(result);
    cv::Mat difference;
    cv::absdiff(a(cv::Rect(5, 3, 20, 9)), b, difference);
    EXPECT_EQ(0, cv::norm(shown(mix.first(), result.get(), CV_8UC3), difference, cv::NORM_INF));
    EXPECT_EQ(nullptr, gst_buffer_get_video_crop_meta(result.get()));
}

TEST(Mix, MovesRegionsWithTheCropOfTheFirstSource)
{
    const cv::Rect part(5, 3, 20, 10);
    Mix mix;
    mix.setCaps(capsOf("GRAY8", part.size()));
    Owned<GstBuffer> cropped = at(0, bufferOf(cv::Mat(17, 33, CV_8UC1), GST_VIDEO_FORMAT_GRAY8, 36, part));
    gst_buffer_add_video_region_of_interest_meta(cropped.get(), "seen", 7, 5, 4, 4);
    gst_buffer_add_video_region_of_interest_meta(cropped.get(), "beside", 1, 1, 3, 2);
    const Owned<GstBuffer> result = mix.mix(std::move(cropped), greyAt(0, 8, part.size()));
    ASSERT_TRUE(result);
    gpointer place = nullptr;
    const auto* const region = reinterpret_cast<GstVideoRegionOfInterestMeta*>(
        gst_buffer_iterate_meta_filtered(result.get(), &place, GST_VIDEO_REGION_OF_INTEREST_META_API_TYPE));
    ASSERT_TRUE(region);
    EXPECT_EQ(std::tuple(2U, 2U, 4U, 4U), std::tuple(region->x, region->y, region->w, region->h));
    EXPECT_FALSE(gst_buffer_iterate_meta_filtered(result.get(), &place, GST_VIDEO_REGION_OF_INTEREST_META_API_TYPE));
}

TEST(Mix, AsksForStridesAndCrops)
{
    Mix mix;
    mix.setCaps(capsOf("GRAY8", {4, 3}));
    const Owned<GstBuffer> result = mix.mix(greyAt(0, 1), greyAt(0, 2));
    const Owned<GstCaps> caps(gst_pad_get_current_caps(mix.second()->srcpad));
    GstQuery* const query = gst_query_new_allocation(caps.get(), FALSE);
    // What is serialised waits for the stream, which goes on with the next pair of frames.
    gst_harness_push(mix.first(), greyAt(1, 1).release());
    EXPECT_TRUE(gst_pad_peer_query(mix.second()->srcpad, query));
    EXPECT_TRUE(gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr));
    EXPECT_TRUE(gst_query_find_allocation_meta(query, GST_VIDEO_CROP_META_API_TYPE, nullptr));
    gst_query_unref(query);
}

TEST(Mix, KeepsWhatIsToldOfTheFirstSource)
{
    Mix mix;
    mix.setCaps(capsOf("GRAY8", {4, 3}));
    Owned<GstBuffer> a = greyAt(0, 1);
    gst_buffer_add_video_region_of_interest_meta(a.get(), "face", 1, 1, 2, 2);
    gst_buffer_add_video_time_code_meta_full(a.get(), 25, 1, nullptr, GST_VIDEO_TIME_CODE_FLAGS_NONE, 1, 2, 3, 4, 0);
    Owned<GstBuffer> b = greyAt(0, 2);
    gst_buffer_add_video_region_of_interest_meta(b.get(), "hand", 0, 0, 1, 1);
    const Owned<GstBuffer> result = mix.mix(std::move(a), std::move(b));
    ASSERT_TRUE(result);
    gpointer place = nullptr;
    const auto* const region = reinterpret_cast<GstVideoRegionOfInterestMeta*>(
        gst_buffer_iterate_meta_filtered(result.get(), &place, GST_VIDEO_REGION_OF_INTEREST_META_API_TYPE));
    ASSERT_NE(nullptr, region);
    EXPECT_EQ(g_quark_from_string("face"), region->roi_type);
    EXPECT_EQ(2, region->w);
    EXPECT_EQ(nullptr,
              gst_buffer_iterate_meta_filtered(result.get(), &place, GST_VIDEO_REGION_OF_INTEREST_META_API_TYPE));
    const GstVideoTimeCodeMeta* const code = gst_buffer_get_video_time_code_meta(result.get());
    ASSERT_NE(nullptr, code);
    EXPECT_EQ(3, code->tc.seconds);
}

TEST(Mix, KeepsNothingThatDependsOnColours)
{
    const gchar* none[] = {nullptr};
    const gchar* colours[] = {GST_META_TAG_VIDEO_COLORSPACE_STR, nullptr};
    static const bool isRegistered = gst_meta_register_custom("of-the-scene", none, nullptr, nullptr, nullptr) &&
                                     gst_meta_register_custom("of-its-colours", colours, nullptr, nullptr, nullptr);
    ASSERT_TRUE(isRegistered);
    Mix mix;
    mix.setCaps(capsOf("GRAY8", {4, 3}));
    Owned<GstBuffer> a = greyAt(0, 1);
    gst_buffer_add_custom_meta(a.get(), "of-the-scene");
    gst_buffer_add_custom_meta(a.get(), "of-its-colours");
    const Owned<GstBuffer> result = mix.mix(std::move(a), greyAt(0, 2));
    ASSERT_TRUE(result);
    EXPECT_TRUE(gst_buffer_get_custom_meta(result.get(), "of-the-scene"));
    EXPECT_FALSE(gst_buffer_get_custom_meta(result.get(), "of-its-colours"));
}

TEST(Mix, RefusesASecondSourceThatDiffers)
{
    for (const std::string& other : {capsOf("GRAY8", {5, 3}), capsOf("GRAY8", {4, 2}), capsOf("RGB", {4, 3})}) {
        Mix mix;
        gst_harness_set_src_caps_str(mix.first(), capsOf("GRAY8", {4, 3}).c_str());
        const Owned<GstCaps> caps(gst_caps_from_string(other.c_str()));
        EXPECT_FALSE(gst_pad_peer_query_accept_caps(mix.second()->srcpad, caps.get())) << other;
        const Owned<GstCaps> same(gst_caps_from_string(capsOf("GRAY8", {4, 3}, 50).c_str()));
        EXPECT_TRUE(gst_pad_peer_query_accept_caps(mix.second()->srcpad, same.get()));
    }
}

TEST(Mix, AsksASourceForWhatTheOtherHas)
{
    Mix mix;
    gst_harness_set_src_caps_str(mix.second(), capsOf("BGR", {40, 30}).c_str());
    const Owned<GstCaps> caps(gst_pad_peer_query_caps(mix.first()->srcpad, nullptr));
    ASSERT_EQ(1, gst_caps_get_size(caps.get()));
    GstStructure* const structure = gst_caps_get_structure(caps.get(), 0);
    EXPECT_STREQ("BGR", gst_structure_get_string(structure, "format"));
    int width = 0;
    int height = 0;
    EXPECT_TRUE(gst_structure_get(structure, "width", G_TYPE_INT, &width, "height", G_TYPE_INT, &height, nullptr));
    EXPECT_EQ(40, width);
    EXPECT_EQ(30, height);
    EXPECT_FALSE(gst_value_is_fixed(gst_structure_get_value(structure, "framerate")));
}

TEST(Mix, RefusesFormatsThatItDoesNotKnow)
{
    Mix mix;
    for (const std::string& caps :
         {capsOf("I420", {4, 4}), capsOf("GRAY16_LE", {4, 4}), std::string("video/x-bayer,format=rggb")}) {
        const Owned<GstCaps> each(gst_caps_from_string(caps.c_str()));
        EXPECT_FALSE(gst_pad_peer_query_accept_caps(mix.first()->srcpad, each.get())) << caps;
    }
}

TEST(Mix, UsesEachFrameAsLongAsItIsShown)
{
    Mix mix;
    gst_harness_set_src_caps_str(mix.first(), capsOf("GRAY8", {4, 3}, 50).c_str());
    gst_harness_set_src_caps_str(mix.second(), capsOf("GRAY8", {4, 3}, 25).c_str());
    gst_harness_push(mix.second(), greyAt(0, 100).release());
    for (int i = 0; i < 6; ++i) {
        const guint64 number = static_cast<guint64>(i);
        gst_harness_push(mix.first(), greyAt(number, i, {4, 3}, 50).release());
        if (i % 2 == 1) // whether the second source's frame is still shown is known when the next one is there
            gst_harness_push(mix.second(), greyAt(number / 2 + 1, 100 + 50 * (i / 2 + 1)).release());
        const Owned<GstBuffer> result(gst_harness_pull(mix.first()));
        ASSERT_TRUE(result);
        EXPECT_EQ(100 + 50 * (i / 2) - i, levelOf(result)) << i;
        EXPECT_EQ(number * GST_SECOND / 50, GST_BUFFER_PTS(result.get()));
    }
}

TEST(Mix, EndsWithTheSourceThatEndsFirst)
{
    Mix mix;
    mix.setCaps(capsOf("GRAY8", {4, 3}));
    for (guint64 i = 0; i < 3; ++i)
        EXPECT_EQ(1, levelOf(mix.mix(greyAt(i, 7), greyAt(i, 8))));
    EXPECT_TRUE(gst_harness_push_event(mix.second(), gst_event_new_eos()));
    gst_harness_push(mix.first(), greyAt(3, 7).release()); // has no partner
    bool hasEnded = false;
    for (int waited = 0; !hasEnded && waited < 20000; ++waited) {
        g_usleep(1000);
        while (GstEvent* const event = gst_harness_try_pull_event(mix.first())) {
            hasEnded = hasEnded || GST_EVENT_TYPE(event) == GST_EVENT_EOS;
            gst_event_unref(event);
        }
    }
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(3, gst_harness_buffers_received(mix.first()));
}

TEST(Mix, TellsOfAMissingSource)
{
    const Owned<GstElement> pipeline(gst_parse_launch(
        "videotestsrc num-buffers=3 ! video/x-raw,format=RGB,width=8,height=6 ! velmormix ! fakesink", nullptr));
    ASSERT_TRUE(pipeline);
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    EXPECT_EQ("There is only one source: link another one to velmormix.", errorOn(GST_ELEMENT_BUS(pipeline.get())));
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
}

TEST(Mix, GoesOnWithTheLastFrameOfASourceThatStopsInALivePipeline)
{
    const Owned<GstElement> pipeline(
        gst_parse_launch("velmormix name=mix ! fakesink name=sink sync=false signal-handoffs=true "
                         "videotestsrc is-live=true ! video/x-raw,format=RGB,width=8,height=6 ! mix.sink_0 "
                         "videotestsrc is-live=true ! valve name=valve ! mix.sink_1",
                         nullptr));
    ASSERT_TRUE(pipeline);
    std::atomic<int> frames = 0;
    const Owned<GstElement> sink(gst_bin_get_by_name(GST_BIN(pipeline.get()), "sink"));
    const Owned<GstElement> valve(gst_bin_get_by_name(GST_BIN(pipeline.get()), "valve"));
    g_signal_connect(sink.get(), "handoff", G_CALLBACK(countFrame), &frames);
    const auto waitFor = [&frames](int number) {
        for (int waited = 0; frames < number && waited < 20000; ++waited)
            g_usleep(1000);
        return frames >= number;
    };
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    EXPECT_TRUE(waitFor(3));
    g_object_set(valve.get(), "drop", TRUE, nullptr);
    EXPECT_TRUE(waitFor(frames + 15));
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
}

TEST(Mix, GivesNothingWhereOneSourceHasAGap)
{
    Mix mix;
    mix.setCaps(capsOf("GRAY8", {4, 3}));
    EXPECT_EQ(1, levelOf(mix.mix(greyAt(0, 7), greyAt(0, 8))));
    gst_harness_push(mix.first(), greyAt(1, 7).release());
    gst_harness_push_event(mix.second(), gst_event_new_gap(GST_SECOND / 25, GST_SECOND / 25));
    const Owned<GstBuffer> result = mix.mix(greyAt(2, 10), greyAt(2, 8));
    EXPECT_EQ(2, levelOf(result));
    EXPECT_EQ(2 * GST_SECOND / 25, GST_BUFFER_PTS(result.get()));
    EXPECT_EQ(2, gst_harness_buffers_received(mix.first()));
}

TEST(Mix, TakesAnotherOperatorBetweenFrames)
{
    Mix mix;
    mix.setCaps(capsOf("GRAY8", {4, 3}));
    EXPECT_EQ(20, levelOf(mix.mix(greyAt(0, 30), greyAt(0, 10))));
    gst_util_set_object_arg(G_OBJECT(mix.element()), "operator", "Or");
    EXPECT_EQ(40, levelOf(mix.mix(greyAt(1, 30), greyAt(1, 10))));
    gst_util_set_object_arg(G_OBJECT(mix.element()), "operator", "And");
    EXPECT_EQ(255, levelOf(mix.mix(greyAt(2, 30), greyAt(2, 10))));
}

TEST(Mix, LeavesOutLateFrames)
{
    Mix mix;
    mix.setCaps(capsOf("GRAY8", {4, 3}));
    EXPECT_EQ(1, levelOf(mix.mix(greyAt(0, 7), greyAt(0, 8))));
    // Frame 0 was late by a second: what is to be shown in that second is late, too.
    gst_harness_push_upstream_event(mix.first(), gst_event_new_qos(GST_QOS_TYPE_UNDERFLOW, 2, GST_SECOND, 0));
    for (guint64 i = 1; i < 30; ++i)
        mix.push(greyAt(i, 7), greyAt(i, 8));
    const Owned<GstBuffer> result(gst_harness_pull(mix.first()));
    EXPECT_LE(GST_SECOND, GST_BUFFER_PTS(result.get()));
    EXPECT_GE(2 * GST_SECOND, GST_BUFFER_PTS(result.get()));
}

TEST(Mix, GoesOnWhenBothSourcesChangeTheirSize)
{
    Mix mix;
    mix.setCaps(capsOf("GRAY8", {4, 3}));
    EXPECT_EQ(1, levelOf(mix.mix(greyAt(0, 7), greyAt(0, 8))));
    mix.setCaps(capsOf("RGB", {8, 5}));
    const cv::Mat a = noise({8, 5}, CV_8UC3);
    const cv::Mat b = noise({8, 5}, CV_8UC3);
    mix.push(at(1, bufferOf(a, GST_VIDEO_FORMAT_RGB, 24)), at(1, bufferOf(b, GST_VIDEO_FORMAT_RGB, 28)));
    // The base class negotiates, and makes the frame when it is called with the next one.
    const Owned<GstBuffer> result =
        mix.mix(at(2, bufferOf(b, GST_VIDEO_FORMAT_RGB, 24)), at(2, bufferOf(b, GST_VIDEO_FORMAT_RGB, 24)));
    ASSERT_TRUE(result);
    cv::Mat difference;
    cv::absdiff(a, b, difference);
    EXPECT_EQ(0, cv::norm(shown(mix.first(), result.get(), CV_8UC3), difference, cv::NORM_INF));
}

TEST(Mix, WaitsForASourceThatChangesALittleLater)
{
    Mix mix;
    mix.setCaps(capsOf("GRAY8", {4, 3}));
    EXPECT_EQ(1, levelOf(mix.mix(greyAt(0, 7), greyAt(0, 8))));
    gst_harness_set_src_caps_str(mix.first(), capsOf("GRAY8", {8, 5}).c_str());
    for (guint64 i = 1; i < 4; ++i)
        mix.push(greyAt(i, 7, {8, 5}), greyAt(i, 8));
    gst_harness_set_src_caps_str(mix.second(), capsOf("GRAY8", {8, 5}).c_str());
    mix.push(greyAt(4, 10, {8, 5}), greyAt(4, 8, {8, 5}));
    const Owned<GstBuffer> result = mix.mix(greyAt(5, 10, {8, 5}), greyAt(5, 10, {8, 5}));
    EXPECT_EQ(2, levelOf(result));
    EXPECT_EQ(4 * GST_SECOND / 25, GST_BUFFER_PTS(result.get()));
}

TEST(Mix, TellsOfSourcesThatGoOnDiffering)
{
    Mix mix;
    mix.setCaps(capsOf("GRAY8", {4, 3}));
    EXPECT_EQ(1, levelOf(mix.mix(greyAt(0, 7), greyAt(0, 8))));
    gst_harness_set_src_caps_str(mix.first(), capsOf("GRAY8", {8, 5}).c_str());
    guint64 number = 0;
    while (number < 40 && gst_harness_push(mix.first(), greyAt(number + 1, 7, {8, 5}).release()) == GST_FLOW_OK &&
           gst_harness_push(mix.second(), greyAt(number + 1, 8).release()) == GST_FLOW_OK)
        ++number;
    EXPECT_LE(25, number); // a second
    EXPECT_GE(30, number); // the queues hold some
    EXPECT_EQ("The two sources must have one format and one size: sink_0 has GRAY8 8x5, sink_1 has GRAY8 4x3.",
              mix.error());
}

/// What the element says of a second source's frame of 16 x 16 greys that it cannot take.
std::string refusalOf(Owned<GstBuffer> frame)
{
    Mix mix;
    mix.setCaps(capsOf("GRAY8", {16, 16}));
    gst_harness_push(mix.first(), greyAt(0, 7, {16, 16}).release());
    gst_harness_push(mix.second(), at(0, std::move(frame)).release());
    return mix.error();
}

TEST(Mix, RefusesFramesThatAreNotWhatTheirCapsSay)
{
    const std::string refusal =
        "A frame cannot be filtered: it is smaller than its caps or its GstVideoMeta say, or cropped otherwise";
    const auto grey = [](const cv::Size& size, GstVideoFormat format = GST_VIDEO_FORMAT_GRAY8) {
        return bufferOf(cv::Mat(size, CV_8UC1, cv::Scalar(7)), format, 32);
    };
    EXPECT_EQ(refusal, refusalOf(Owned<GstBuffer>(gst_buffer_new_allocate(nullptr, 100, nullptr))));
    EXPECT_EQ(refusal, refusalOf(grey({16, 15})));
    EXPECT_EQ(refusal, refusalOf(grey({16, 16}, GST_VIDEO_FORMAT_GRAY16_LE)));
    Owned<GstBuffer> cut = grey({16, 16});
    gst_buffer_set_size(cut.get(), 15 * 32 + 15);
    EXPECT_EQ(refusal, refusalOf(std::move(cut)));
    for (const cv::Rect part : {cv::Rect(0, 0, 8, 8), {4, 4, 16, 16}, {2147483647, 0, 16, 16}})
        EXPECT_EQ(refusal, refusalOf(bufferOf(cv::Mat(18, 18, CV_8UC1), GST_VIDEO_FORMAT_GRAY8, 32, part)));
}

TEST(Mix, TakesFramesWithRowsAndColumnsBeyondTheirCaps)
{
    Mix mix;
    mix.setCaps(capsOf("GRAY8", {4, 3}));
    const cv::Mat large = noise({6, 5}, CV_8UC1);
    const cv::Mat other = noise({4, 3}, CV_8UC1);
    const Owned<GstBuffer> result =
        mix.mix(at(0, bufferOf(large, GST_VIDEO_FORMAT_GRAY8, 8)), at(0, bufferOf(other, GST_VIDEO_FORMAT_GRAY8, 4)));
    ASSERT_TRUE(result);
    cv::Mat difference;
    cv::absdiff(large(cv::Rect(0, 0, 4, 3)), other, difference);
    EXPECT_EQ(0, cv::norm(shown(mix.first(), result.get(), CV_8UC1), difference, cv::NORM_INF));
}

TEST(Mix, FollowsControllersByTheTimesOfTheStream)
{
    Mix mix;
    GstControlSource* const source = gst_interpolation_control_source_new();
    g_object_set(source, "mode", GST_INTERPOLATION_MODE_NONE, nullptr);
    auto* const values = GST_TIMED_VALUE_CONTROL_SOURCE(source);
    gst_timed_value_control_source_set(values, 0, 0);
    gst_timed_value_control_source_set(values, 3 * GST_SECOND / 25, 1);
    GstControlBinding* const binding =
        gst_direct_control_binding_new(GST_OBJECT(mix.element()), "operator", source); // 1 is the last one
    ASSERT_TRUE(gst_object_add_control_binding(GST_OBJECT(mix.element()), binding));
    gst_object_unref(source);
    mix.setCaps(capsOf("GRAY8", {4, 3}));
    const Rule &first = rules().front().second, &last = rules().back().second;
    for (guint64 i = 0; i < 6; ++i) {
        const uchar a = 30, b = 10;
        uchar expected = 0;
        (i < 3 ? first : last)(&a, &b, &expected, 1);
        EXPECT_EQ(expected, levelOf(mix.mix(greyAt(i, a), greyAt(i, b)))) << i;
    }
}

} // namespace
} // namespace velmor::tests
