#include "tests/gstreamer/gl/GlHarness.h"
#include "tests/gstreamer/gl/GlReference.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <functional>
#include <utility>
#include <vector>

namespace velmor::tests {
namespace {

/// A pipeline that is stopped at the end of its scope.
class Pipeline
{
public:
    explicit Pipeline(const std::string& launch) : mPipeline(gst_parse_launch(launch.c_str(), nullptr)) {}
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;
    ~Pipeline() { set(GST_STATE_NULL); }

    GstElement* get() { return mPipeline.get(); }

    Owned<GstElement> element(const char* name) { return Owned<GstElement>(gst_bin_get_by_name(GST_BIN(get()), name)); }

    void set(GstState state) { gst_element_set_state(get(), state); }

    /// Whether it reaches a state within 20 s.
    bool reaches(GstState state)
    {
        set(state);
        return gst_element_get_state(get(), nullptr, nullptr, 20 * GST_SECOND) == GST_STATE_CHANGE_SUCCESS;
    }

    /// How the stream ends: "end", an error's text, or "" where it does not within 20 s.
    std::string end()
    {
        GstBus* const bus = gst_element_get_bus(get());
        const Owned<GstMessage> message =
            messageOn(bus, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
        gst_object_unref(bus);
        if (!message)
            return "";
        return GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_EOS ? "end" : textOf(message.get());
    }

private:
    Owned<GstElement> mPipeline;
};

/// A piece of stream with the element in its middle.
std::string around(const std::string& frames, const std::string& sink = "fakesink")
{
    return "videotestsrc num-buffers=" + frames +
           " ! video/x-raw,format=RGBA,width=64,height=48 ! glupload ! velmorglfilter name=filter ! gldownload ! " +
           sink;
}

TEST(GlFilterStream, GoesThroughStatesInAnyOrder)
{
    Pipeline pipeline(around("1000000", "fakesink sync=true"));
    const GstState ways[] = {GST_STATE_READY,  GST_STATE_NULL,    GST_STATE_PAUSED, GST_STATE_PLAYING,
                             GST_STATE_READY,  GST_STATE_PLAYING, GST_STATE_NULL,   GST_STATE_PLAYING,
                             GST_STATE_PAUSED, GST_STATE_NULL,    GST_STATE_READY,  GST_STATE_PLAYING,
                             GST_STATE_READY,  GST_STATE_NULL};
    for (const GstState state : ways)
        ASSERT_TRUE(pipeline.reaches(state)) << gst_element_state_get_name(state);
    for (const GstState state : ways) // without waiting for any of them
        pipeline.set(state);
    EXPECT_TRUE(pipeline.reaches(GST_STATE_PLAYING));
}

TEST(GlFilterStream, GoesOnAfterSeeksAndEndsWithItsSource)
{
    Pipeline pipeline(around("25"));
    ASSERT_TRUE(pipeline.reaches(GST_STATE_PAUSED));
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(gst_element_seek_simple(pipeline.get(), GST_FORMAT_TIME, GST_SEEK_FLAG_FLUSH, 200 * GST_MSECOND));
        ASSERT_EQ(GST_STATE_CHANGE_SUCCESS, gst_element_get_state(pipeline.get(), nullptr, nullptr, 20 * GST_SECOND));
    }
    pipeline.set(GST_STATE_PLAYING);
    EXPECT_EQ(pipeline.end(), "end");
}

TEST(GlFilterStream, TakesAThousandChangesFromAnotherThread)
{
    Pipeline pipeline(around("1000000"));
    ASSERT_TRUE(pipeline.reaches(GST_STATE_PLAYING));
    const Owned<GstElement> filter = pipeline.element("filter");
    const GEnumClass* const operators = G_ENUM_CLASS(
        g_type_class_ref(g_object_class_find_property(G_OBJECT_GET_CLASS(filter.get()), "operator")->value_type));
    for (int change = 0; change < 1000; ++change) {
        g_object_set(filter.get(), "operator", change % static_cast<int>(operators->n_values), "kernel", change % 3,
                     "output", change % 2, "scale", change % 7 / 3.0, "offset", change % 5 / 10.0 - 0.2, nullptr);
    }
    g_type_class_unref(const_cast<GEnumClass*>(operators));
    gst_element_send_event(pipeline.get(), gst_event_new_eos());
    EXPECT_EQ(pipeline.end(), "end");
}

// Each pipeline has a context and a thread of its own, and all share GLEW's entry points.
TEST(GlFilterStream, PlaysWhileOthersStartAndStop)
{
    Pipeline playing(around("1000000"));
    ASSERT_TRUE(playing.reaches(GST_STATE_PLAYING));
    const Owned<GstElement> filter = playing.element("filter");
    for (int i = 0; i < 5; ++i) {
        Pipeline other(around("3"));
        other.set(GST_STATE_PLAYING);
        for (int change = 0; change < 20; ++change) // each of them makes a filter
            g_object_set(filter.get(), "operator", change % 11, nullptr);
        EXPECT_EQ(other.end(), "end");
    }
    gst_element_send_event(playing.get(), gst_event_new_eos());
    EXPECT_EQ(playing.end(), "end");
}

TEST(GlFilterStream, StopsWhereItsConsumerStandsStill)
{
    Pipeline pipeline(
        around("1000000", "queue max-size-buffers=1 ! fakesink name=sink sync=true ts-offset=3600000000000"));
    ASSERT_TRUE(pipeline.reaches(GST_STATE_PLAYING)); // the sink has a frame, which it would show in an hour
    EXPECT_TRUE(pipeline.reaches(GST_STATE_NULL));
}

TEST(GlFilterStream, TakesThePartThatACropNames)
{
    const cv::Mat picture = randomPixels({40, 30}, 1) | cv::Scalar(0, 0, 0, 255);
    const cv::Mat part = picture(cv::Rect(3, 2, 40 - 3 - 5, 30 - 2 - 7));
    cv::Mat upsideDown;
    cv::flip(part, upsideDown, 0);
    const std::string crop = "videocrop left=3 top=2 right=5 bottom=7 ! velmorglfilter operator=FlipV";
    const std::string turned = "videocrop left=3 top=7 right=5 bottom=2 ! velmorglfilter operator=FlipV";
    const std::pair<std::string, cv::Mat> cases[] = {
        {crop, upsideDown},                                  // of a texture of two dimensions
        {"velmorglfilter operator=FlipV ! " + turned, part}, // of a rectangle
    };
    for (const auto& [launch, expected] : cases) {
        GlHarness harness(launch);
        for (int frame = 0; frame < 2; ++frame) {
            const cv::Mat shown = harness.show(picture);
            ASSERT_EQ(shown.size(), expected.size()) << launch;
            EXPECT_EQ(0, cv::norm(shown, expected, cv::NORM_INF)) << launch;
        }
    }
}

/// What is done with each buffer at a pad.
using Visit = std::function<void(GstBuffer*)>;

void visit(GstElement* element, const char* padName, Visit& action)
{
    GstPad* const pad = gst_element_get_static_pad(element, padName);
    gst_pad_add_probe(
        pad, GST_PAD_PROBE_TYPE_BUFFER,
        [](GstPad*, GstPadProbeInfo* info, gpointer data) {
            info->data = gst_buffer_make_writable(GST_PAD_PROBE_INFO_BUFFER(info));
            (*static_cast<Visit*>(data))(GST_PAD_PROBE_INFO_BUFFER(info));
            return GST_PAD_PROBE_OK;
        },
        &action, nullptr);
    gst_object_unref(pad);
}

TEST(GlFilterStream, KeepsWhatIsKnownOfAFrame)
{
    GlHarness harness("velmorglfilter name=filter");
    std::vector<cv::Rect> regions;
    int crops = 0, timeCodes = 0;
    Visit before = [](GstBuffer* buffer) {
        gst_buffer_add_video_region_of_interest_meta(buffer, "face", 5, 4, 10, 6);
        gst_buffer_add_video_time_code_meta_full(buffer, 25, 1, nullptr, GST_VIDEO_TIME_CODE_FLAGS_NONE, 1, 2, 3, 4, 0);
        GstVideoCropMeta* const crop = gst_buffer_add_video_crop_meta(buffer);
        crop->width = 40;
        crop->height = 30;
    };
    Visit behind = [&](GstBuffer* buffer) {
        gpointer state = nullptr;
        while (GstMeta* const meta =
                   gst_buffer_iterate_meta_filtered(buffer, &state, GST_VIDEO_REGION_OF_INTEREST_META_API_TYPE)) {
            const auto& region = *reinterpret_cast<GstVideoRegionOfInterestMeta*>(meta);
            regions.emplace_back(static_cast<int>(region.x), static_cast<int>(region.y), static_cast<int>(region.w),
                                 static_cast<int>(region.h));
        }
        crops += gst_buffer_get_video_crop_meta(buffer) ? 1 : 0;
        timeCodes += gst_buffer_get_video_time_code_meta(buffer) ? 1 : 0;
    };
    visit(harness.element("filter").get(), "sink", before);
    visit(harness.element("filter").get(), "src", behind);
    const cv::Mat picture = randomPixels({40, 30}, 2);
    harness.show(picture);
    harness.setByText("operator", "FlipV");
    harness.show(picture);
    const std::vector<cv::Rect> expected = {{5, 4, 10, 6}, {5, 30 - 4 - 6, 10, 6}};
    EXPECT_EQ(regions, expected);
    EXPECT_EQ(crops, 0);
    EXPECT_EQ(timeCodes, 2);
}

} // namespace
} // namespace velmor::tests
