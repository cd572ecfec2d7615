#include "tests/gstreamer/Found.h"
#include "tests/gstreamer/Harness.h"
#include "tests/support/NativeMixtures.h"
#include "tests/support/TemporaryFolder.h"

#include <gst/controller/gstdirectcontrolbinding.h>
#include <gst/controller/gstinterpolationcontrolsource.h>
#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <atomic>
#include <thread>
#include <tuple>
#include <utility>

namespace velmor::tests {
namespace {

constexpr GstMessageType kTrouble = static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_WARNING);

/// A picture through a filter; the first pixel of what comes out, nothing where nothing does.
std::vector<int> pixelThrough(Harness& harness, const cv::Mat& picture, GstVideoFormat format)
{
    if (gst_harness_push(harness.get(), bufferOf(picture, format, 12).release()) != GST_FLOW_OK)
        return {};
    const Owned<GstBuffer> result(gst_harness_pull(harness.get()));
    const Owned<GstCaps> caps(gst_pad_get_current_caps(harness.get()->sinkpad));
    GstVideoInfo info;
    gst_video_info_from_caps(&info, caps.get());
    const int channels = static_cast<int>(GST_VIDEO_INFO_N_COMPONENTS(&info));
    const cv::Mat seen = pictureOf(result.get(), caps.get(), CV_MAKETYPE(CV_8U, channels));
    return {seen.ptr(0), seen.ptr(0) + channels};
}

/// Likewise a picture of one colour.
std::vector<int> pixelThrough(Harness& harness, const cv::Vec3b& colour)
{
    return pixelThrough(harness, cv::Mat(3, 3, CV_8UC3, cv::Scalar(colour[0], colour[1], colour[2])),
                        GST_VIDEO_FORMAT_RGB);
}

struct Filter
{
    explicit Filter(const std::string& settings)
        : harness("velmorfilter name=filter " + settings), element(harness.element("filter")), ear(element.get())
    {
        harness.setCaps("video/x-raw,format=RGB", {3, 3});
    }

    void set(const char* name, const char* value) { gst_util_set_object_arg(G_OBJECT(element.get()), name, value); }

    Harness harness;
    Owned<GstElement> element;
    Ear ear;
};

TEST(FilterChanges, OfTheOperatorCountFromTheNextFrameOn)
{
    Filter filter("operator=Not");
    EXPECT_EQ(std::vector<int>({245, 235, 225}), pixelThrough(filter.harness, {10, 20, 30}));
    filter.set("operator", "FlipV"); // whose caps are the same
    EXPECT_EQ(std::vector<int>({10, 20, 30}), pixelThrough(filter.harness, {10, 20, 30}));
    filter.set("operator", "BGR2GRAY"); // which gives another format
    EXPECT_EQ(std::vector<int>({54}), pixelThrough(filter.harness, {255, 0, 0}));
    filter.set("operator", "ColorHistShader"); // which passes frames on
    EXPECT_EQ(std::vector<int>({10, 20, 30}), pixelThrough(filter.harness, {10, 20, 30}));
    filter.set("operator", "Not");
    EXPECT_EQ(std::vector<int>({245, 235, 225}), pixelThrough(filter.harness, {10, 20, 30}));
    EXPECT_FALSE(filter.ear.now(kTrouble));
}

TEST(FilterChanges, OfNumbersCountFromTheNextFrameOn)
{
    Filter filter("operator=Laplacian offset=0.5");
    EXPECT_EQ(std::vector<int>({128, 128, 128}), pixelThrough(filter.harness, {10, 20, 30}));
    filter.set("offset", "1");
    EXPECT_EQ(std::vector<int>({255, 255, 255}), pixelThrough(filter.harness, {10, 20, 30}));
    filter.set("offset", "0");
    EXPECT_EQ(std::vector<int>({0, 0, 0}), pixelThrough(filter.harness, {10, 20, 30}));
}

TEST(FilterChanges, HandNoCropsOnThatOnlyTheFormerOperatorTook)
{
    const cv::Rect part(4, 3, 12, 5);
    cv::Mat picture(8, 16, CV_8UC3);
    cv::RNG(5).fill(picture, cv::RNG::UNIFORM, 0, 256);
    for (const std::string name : {"Not", "ColorHistShader"}) { // which hand frames on: filtered, or as they are
        SCOPED_TRACE(name);
        Harness harness("videocrop left=4 top=3 ! velmorfilter name=filter operator=Laplacian");
        const Owned<GstElement> filter = harness.element("filter");
        harness.setCaps("video/x-raw,format=RGB", picture.size());
        EXPECT_TRUE(harness.filter(bufferOf(picture, GST_VIDEO_FORMAT_RGB, 48)));
        gst_util_set_object_arg(G_OBJECT(filter.get()), "operator", name.c_str());
        for (int i = 0; i < 3; ++i) {
            Owned<GstBuffer> frame = bufferOf(picture, GST_VIDEO_FORMAT_RGB, 48);
            gst_buffer_add_video_region_of_interest_meta(frame.get(), "face", 6, 4, 3, 2);
            const Owned<GstBuffer> result = harness.filter(std::move(frame));
            ASSERT_TRUE(result);
            EXPECT_FALSE(gst_buffer_get_video_crop_meta(result.get()));
            const cv::Mat expected = name == "Not" ? cv::Mat(~picture(part)) : picture(part);
            EXPECT_EQ(0, cv::norm(shown(harness, result.get(), CV_8UC3), expected, cv::NORM_INF));
            const auto* const region = reinterpret_cast<GstVideoRegionOfInterestMeta*>(
                gst_buffer_get_meta(result.get(), GST_VIDEO_REGION_OF_INTEREST_META_API_TYPE));
            ASSERT_TRUE(region);
            EXPECT_EQ(std::tuple(2U, 1U, 3U, 2U), std::tuple(region->x, region->y, region->w, region->h));
        }
    }
}

TEST(FilterChanges, ThatNobodyAroundHasAFormatForAreRefusedOnce)
{
    Filter filter("operator=Not");
    pixelThrough(filter.harness, {});
    filter.set("operator", "GRAY2Sobel");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(std::vector<int>({245, 235, 225}), pixelThrough(filter.harness, {10, 20, 30}));
    const Owned<GstMessage> message = filter.ear.next(kTrouble);
    ASSERT_TRUE(message);
    EXPECT_EQ(GST_MESSAGE_WARNING, GST_MESSAGE_TYPE(message.get()));
    EXPECT_EQ("GRAY2Sobel cannot be used: the elements around it have no format for it", textOf(message.get()));
    EXPECT_FALSE(filter.ear.now(kTrouble));
    filter.set("operator", "FlipV");
    EXPECT_EQ(std::vector<int>({10, 20, 30}), pixelThrough(filter.harness, {10, 20, 30}));
}

/// A pipeline that is shut down at the end.
class Pipeline
{
public:
    explicit Pipeline(const std::string& launch)
        : mPipeline(GST_ELEMENT(gst_object_ref_sink(gst_parse_launch(launch.c_str(), nullptr)))),
          mBus(gst_element_get_bus(mPipeline.get()))
    {
    }
    ~Pipeline()
    {
        gst_element_set_state(mPipeline.get(), GST_STATE_NULL);
        gst_object_unref(mBus);
    }
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    GstElement* get() { return mPipeline.get(); }
    GstBus* bus() { return mBus; }
    Owned<GstElement> element(const char* name)
    {
        return Owned<GstElement>(gst_bin_get_by_name(GST_BIN(mPipeline.get()), name));
    }

private:
    Owned<GstElement> mPipeline;
    GstBus* mBus;
};

std::string formatOf(GstElement* element, const char* pad)
{
    GstPad* const found = gst_element_get_static_pad(element, pad);
    const Owned<GstCaps> caps(gst_pad_get_current_caps(found));
    gst_object_unref(found);
    const char* const result = caps ? gst_structure_get_string(gst_caps_get_structure(caps.get(), 0), "format") : "";
    return result ? result : "";
}

TEST(FilterChanges, AskUpstreamForAnotherFormat)
{
    Pipeline pipeline("videotestsrc ! velmorfilter name=filter operator=BGR2HSV ! fakesink sync=false");
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    gst_element_get_state(pipeline.get(), nullptr, nullptr, 20 * GST_SECOND);
    const Owned<GstElement> filter = pipeline.element("filter");
    EXPECT_NE("GRAY8", formatOf(filter.get(), "sink"));
    for (const auto& [name, in] :
         {std::pair("GRAY2Sobel", "GRAY8"), {"BayerRG2RGB", "rggb"}, {"PixelCount", "GRAY8"}}) {
        gst_util_set_object_arg(G_OBJECT(filter.get()), "operator", name);
        for (int i = 0; i < 2000 && formatOf(filter.get(), "sink") != in; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_EQ(in, formatOf(filter.get(), "sink"));
    }
    EXPECT_FALSE(Owned<GstMessage>(gst_bus_pop_filtered(pipeline.bus(), kTrouble)));
}

// ---- Formats that come late

/// An operator, the caps that it asks for, and what it makes of a picture whose bytes are all 90.
struct Late
{
    const char* name;
    const char* caps;
    int type;
    std::vector<int> result;
};

const Late kLateHsv = {"BGR2HSV", "video/x-raw,format=RGB", CV_8UC3, {90, 0, 0}};
const Late kLateSobel = {"GRAY2Sobel", "video/x-raw,format=GRAY8", CV_8UC1, {0, 0, 0}};
const Late kLateBayer = {"BayerRG2RGB", "video/x-bayer,format=rggb", CV_8UC1, {90, 90, 90}};

/// A frame in the caps that an operator asks for, through a filter.
std::vector<int> lateThrough(Harness& harness, const Late& late)
{
    const GstVideoFormat format = late.type == CV_8UC1 ? GST_VIDEO_FORMAT_GRAY8 : GST_VIDEO_FORMAT_RGB;
    return pixelThrough(harness, cv::Mat(3, 3, late.type, cv::Scalar::all(90)), format);
}

/// Lets a harness answer that it has any caps, as a source does that can change them.
void haveAnyCaps(Harness& harness)
{
    gst_pad_set_query_function(harness.get()->srcpad, gst_pad_query_default);
}

/// How often upstream has been asked for other caps, since this was last called.
int timesAsked(Harness& harness)
{
    int result = 0;
    while (GstEvent* const event = gst_harness_try_pull_upstream_event(harness.get())) {
        result += GST_EVENT_TYPE(event) == GST_EVENT_RECONFIGURE ? 1 : 0;
        gst_event_unref(event);
    }
    return result;
}

TEST(FilterChanges, AreMadeWhenCapsThatWereAskedForComeLate)
{
    // The test is a queue, in which frames of the first operator wait while others are set one after another. Then come
    // the caps for each of them.
    const std::vector<std::vector<Late>> orders = {{kLateHsv, kLateSobel, kLateHsv},
                                                   {kLateHsv, kLateSobel, kLateBayer},
                                                   {kLateHsv, kLateSobel, kLateBayer, kLateHsv},
                                                   {kLateSobel, kLateBayer, kLateHsv, kLateSobel},
                                                   {kLateBayer, kLateHsv, kLateSobel, kLateHsv, kLateBayer}};
    for (const std::vector<Late>& order : orders) {
        std::string names;
        for (const Late& each : order)
            names += std::string(" ") + each.name;
        SCOPED_TRACE(names);
        const Late &first = order.front(), &last = order.back();
        Filter filter(std::string("operator=") + first.name);
        haveAnyCaps(filter.harness);
        filter.harness.setCaps(first.caps, {3, 3});
        for (const Late& each : order) {
            filter.set("operator", each.name);
            EXPECT_EQ(first.result, lateThrough(filter.harness, first));
        }
        for (std::size_t i = 1; i < order.size(); ++i) {
            filter.harness.setCaps(order[i].caps, {3, 3});
            timesAsked(filter.harness);
            EXPECT_EQ(order[i].result, lateThrough(filter.harness, order[i])) << order[i].name;
            EXPECT_EQ(order[i].name == last.name ? 0 : 1, timesAsked(filter.harness)) << order[i].name;
        }
        EXPECT_FALSE(filter.ear.now(kTrouble));
    }
}

TEST(FilterChanges, GoWithWhatIsTakenDownstreamWhenCapsComeLate)
{
    // Not takes colours too, but gives colours then.
    Harness harness("velmorfilter name=filter operator=BGR2GRAY ! capsfilter caps=video/x-raw,format=GRAY8");
    const Owned<GstElement> filter = harness.element("filter");
    const cv::Mat red(3, 3, CV_8UC3, cv::Scalar(255, 0, 0)), grey(3, 3, CV_8UC1, cv::Scalar(90));
    haveAnyCaps(harness);
    harness.setCaps("video/x-raw,format=RGB", {3, 3});
    for (const char* const name : {"BGR2GRAY", "Not", "BGR2GRAY", "Not"}) {
        gst_util_set_object_arg(G_OBJECT(filter.get()), "operator", name);
        EXPECT_EQ(std::vector<int>({54}), pixelThrough(harness, red, GST_VIDEO_FORMAT_RGB));
    }
    for (int i = 0; i < 2; ++i) {
        harness.setCaps("video/x-raw,format=GRAY8", {3, 3});
        EXPECT_EQ(std::vector<int>({165}), pixelThrough(harness, grey, GST_VIDEO_FORMAT_GRAY8));
        harness.setCaps("video/x-raw,format=RGB", {3, 3});
        EXPECT_EQ(std::vector<int>({54}), pixelThrough(harness, red, GST_VIDEO_FORMAT_RGB));
    }
}

/// What happens when a filter asks downstream for caps.
struct Meanwhile
{
    Filter& filter;
    bool hasHappened = false;
};

GstPadProbeReturn changeOperator(GstPad*, GstPadProbeInfo*, gpointer data)
{
    auto& meanwhile = *static_cast<Meanwhile*>(data);
    if (!std::exchange(meanwhile.hasHappened, true)) {
        meanwhile.filter.set("operator", "BGR2GRAY");
        EXPECT_EQ(std::vector<int>({54}), pixelThrough(meanwhile.filter.harness, {255, 0, 0}));
    }
    return GST_PAD_PROBE_OK;
}

TEST(FilterChanges, InTheMiddleOfAQueryLeaveNoAnswerOfTwoOperators)
{
    // BGR2HSV gives colours, and BGR2GRAY takes nothing that becomes colours.
    Filter filter("operator=BGR2HSV");
    pixelThrough(filter.harness, {});
    Meanwhile meanwhile = {filter};
    GstPad* const source = gst_element_get_static_pad(filter.element.get(), "src");
    gst_pad_add_probe(source, GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM, changeOperator, &meanwhile, nullptr);
    gst_object_unref(source);
    const Owned<GstCaps> any(gst_caps_from_string("video/x-raw,format={GRAY8,RGB}"));
    const Owned<GstCaps> answered(gst_pad_peer_query_caps(filter.harness.get()->srcpad, any.get()));
    EXPECT_TRUE(meanwhile.hasHappened);
    const Owned<GstCaps> taken(gst_caps_from_string("video/x-raw,format=RGB"));
    EXPECT_TRUE(!gst_caps_is_empty(answered.get()) && gst_caps_is_subset(answered.get(), taken.get()));
}

GstPadProbeReturn wait(GstPad*, GstPadProbeInfo*, gpointer asking)
{
    if (std::this_thread::get_id() == *static_cast<std::thread::id*>(asking))
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    return GST_PAD_PROBE_OK;
}

TEST(FilterChanges, BackAndForthLeaveNoAnswerOfTwoOperators)
{
    Filter filter("operator=BGR2HSV");
    pixelThrough(filter.harness, {});
    GstPad* const source = gst_element_get_static_pad(filter.element.get(), "src");
    std::thread::id asking = std::this_thread::get_id();
    gst_pad_add_probe(source, GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM, wait, &asking, nullptr);
    gst_object_unref(source);
    std::atomic<bool> goesOn = true;
    std::thread changing([&] {
        for (int i = 0; goesOn; ++i) {
            filter.set("operator", i % 2 ? "BGR2HSV" : "BGR2GRAY");
            EXPECT_FALSE(pixelThrough(filter.harness, {}).empty());
            if (i % 10 == 0) // or a query would hardly ever end
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    const Owned<GstCaps> any(gst_caps_from_string("video/x-raw,format={GRAY8,RGB}"));
    const Owned<GstCaps> taken(gst_caps_from_string("video/x-raw,format=RGB"));
    for (int i = 0; i < 1000; ++i) {
        const Owned<GstCaps> answered(gst_pad_peer_query_caps(filter.harness.get()->srcpad, any.get()));
        EXPECT_TRUE(!gst_caps_is_empty(answered.get()) && gst_caps_is_subset(answered.get(), taken.get()));
    }
    goesOn = false;
    changing.join();
}

GstPadProbeReturn askForFormerCaps(GstPad* pad, GstPadProbeInfo* info, gpointer data)
{
    if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) != GST_EVENT_CAPS)
        return GST_PAD_PROBE_OK;
    const Owned<GstElement> filter(gst_pad_get_parent_element(pad));
    GstPad* const sink = gst_element_get_static_pad(filter.get(), "sink");
    const Owned<GstCaps> former(gst_pad_get_current_caps(sink));
    *static_cast<bool*>(data) = gst_pad_query_accept_caps(sink, former.get());
    gst_object_unref(sink);
    return GST_PAD_PROBE_OK;
}

TEST(FilterChanges, InTheMiddleOfNewCapsStillAcceptTheFormerOnes)
{
    Filter filter("operator=Not");
    haveAnyCaps(filter.harness);
    pixelThrough(filter.harness, {});
    filter.set("operator", "PixelCount");
    pixelThrough(filter.harness, {});
    bool accepts = false;
    GstPad* const source = gst_element_get_static_pad(filter.element.get(), "src");
    gst_pad_add_probe(source, GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, askForFormerCaps, &accepts, nullptr);
    gst_object_unref(source);
    filter.harness.setCaps("video/x-raw,format=GRAY8", {3, 3});
    EXPECT_TRUE(accepts);
}

// ---- Models

/// A model of one narrow Gaussian, which finds the colours around its mean.
std::string modelFile(const TemporaryFolder& folder, const std::string& name, double red, double green)
{
    makeModel({gaussianOf(red, green, 25, 0, 25, 1)}, 1e-5).save(folder.file(name));
    return folder.file(name);
}

TEST(FilterChanges, OfModelsCountFromTheNextFrameOn)
{
    const TemporaryFolder folder;
    const std::string red = modelFile(folder, "red.yml", 200, 20), green = modelFile(folder, "green.yml", 20, 200);
    Filter filter("operator=ColorGMM models=\"<" + red + ">\"");
    EXPECT_EQ(std::vector<int>({255}), pixelThrough(filter.harness, {200, 20, 0}));
    EXPECT_EQ(std::vector<int>({0}), pixelThrough(filter.harness, {20, 200, 0}));
    filter.set("models", ("<" + green + ">").c_str());
    EXPECT_EQ(std::vector<int>({0}), pixelThrough(filter.harness, {200, 20, 0}));
    EXPECT_EQ(std::vector<int>({255}), pixelThrough(filter.harness, {20, 200, 0}));
    filter.set("output", "colours");
    EXPECT_EQ(std::vector<int>({20, 200, 0}), pixelThrough(filter.harness, {20, 200, 0}));
    filter.set("models", ("<" + red + ", " + green + ">").c_str());
    filter.set("operator", "ColorGMM2");
    EXPECT_EQ(std::vector<int>({1}), pixelThrough(filter.harness, {20, 200, 0}));
    EXPECT_EQ(std::vector<int>({0}), pixelThrough(filter.harness, {200, 20, 0}));
    EXPECT_FALSE(filter.ear.now(kTrouble));
}

TEST(FilterChanges, ToABadFileLeaveTheFormerModel)
{
    const TemporaryFolder folder;
    const std::string red = modelFile(folder, "red.yml", 200, 20);
    Filter filter("operator=ColorGMM models=\"<" + red + ">\"");
    pixelThrough(filter.harness, {});
    for (const std::string& bad : {folder.file("missing.yml"), folder.write("text.yml", "no model")}) {
        filter.set("models", ("<" + bad + ">").c_str());
        const Owned<GstMessage> message = filter.ear.next(kTrouble);
        ASSERT_TRUE(message);
        EXPECT_EQ(GST_MESSAGE_WARNING, GST_MESSAGE_TYPE(message.get()));
        EXPECT_NE(std::string::npos, textOf(message.get()).find(bad)) << textOf(message.get());
        EXPECT_EQ(std::vector<int>({255}), pixelThrough(filter.harness, {200, 20, 0}));
    }
    filter.set("models", ("<" + red + ", " + red + ">").c_str()); // which one mixture cannot be
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(std::vector<int>({255}), pixelThrough(filter.harness, {200, 20, 0}));
    const Owned<GstMessage> message = filter.ear.next(kTrouble);
    ASSERT_TRUE(message);
    EXPECT_EQ("ColorGMM cannot be used: catalogue::makeNative(): expected one model for ColorGMM, got 2",
              textOf(message.get()));
    EXPECT_FALSE(filter.ear.now(kTrouble));
}

TEST(FilterChanges, ToPausedAreRefusedWithoutModels)
{
    const TemporaryFolder folder;
    const std::string missing = folder.file("missing.yml"), text = folder.write("text.yml", "no model");
    const std::string resource = "gst-resource-error-quark ";
    const std::string settings = resource + std::to_string(GST_RESOURCE_ERROR_SETTINGS) + ": catalogue::makeNative(): ";
    const std::string cannotLoad = ": ColorGMM::load(): cannot load ";
    const std::string notFound = resource + std::to_string(GST_RESOURCE_ERROR_NOT_FOUND) + cannotLoad;
    const std::string read = resource + std::to_string(GST_RESOURCE_ERROR_READ) + cannotLoad;
    EXPECT_EQ(settings + "expected one model for ColorGMM, got 0", refusalOf("velmorfilter operator=ColorGMM"));
    EXPECT_EQ(settings + "expected at least one model for ColorGMM2, got 0",
              refusalOf("velmorfilter operator=ColorGMM2"));
    EXPECT_EQ(0, refusalOf("velmorfilter operator=ColorGMM models=\"<" + missing + ">\"").find(notFound));
    EXPECT_EQ(0, refusalOf("velmorfilter operator=ColorGMM models=\"<" + text + ">\"").find(read));
    EXPECT_EQ(0, refusalOf("velmorfilter operator=Not models=\"<" + missing + ">\"").find(notFound));
}

// ---- Controllers and many changes

TEST(FilterChanges, ByControllersFollowTheStreamsTime)
{
    Filter filter("operator=Laplacian");
    GstControlSource* const source = gst_interpolation_control_source_new();
    g_object_set(source, "mode", GST_INTERPOLATION_MODE_LINEAR, nullptr);
    gst_timed_value_control_source_set(GST_TIMED_VALUE_CONTROL_SOURCE(source), 0, 0);
    gst_timed_value_control_source_set(GST_TIMED_VALUE_CONTROL_SOURCE(source), 10 * GST_SECOND, 1);
    gst_object_add_control_binding(
        GST_OBJECT(filter.element.get()),
        gst_direct_control_binding_new_absolute(GST_OBJECT(filter.element.get()), "offset", source));
    gst_object_unref(source);
    for (const auto& [seconds, byte] : {std::pair(0, 0), {2, 51}, {6, 153}, {10, 255}}) {
        Owned<GstBuffer> buffer = bufferOf(cv::Mat(3, 3, CV_8UC3, cv::Scalar(9, 9, 9)), GST_VIDEO_FORMAT_RGB, 12);
        GST_BUFFER_PTS(buffer.get()) = static_cast<GstClockTime>(seconds) * GST_SECOND;
        const Owned<GstBuffer> result = filter.harness.filter(std::move(buffer));
        EXPECT_EQ(byte, shown(filter.harness, result.get(), CV_8UC3).at<cv::Vec3b>(1, 1)[0]) << seconds;
    }
}

TEST(FilterChanges, ByTheThousandWhilePlayingDoNoHarm)
{
    const TemporaryFolder folder;
    const std::string red = modelFile(folder, "red.yml", 200, 20);
    Pipeline pipeline("videotestsrc ! capsfilter caps=video/x-raw,width=64,height=48 ! velmorfilter name=filter "
                      "models=\"<" +
                      red + ">\" ! fakesink name=sink sync=false");
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    gst_element_get_state(pipeline.get(), nullptr, nullptr, 20 * GST_SECOND);
    const Owned<GstElement> filter = pipeline.element("filter");
    GEnumClass* const operators = G_ENUM_CLASS(g_type_class_ref(g_type_from_name("VelmorFilter-operator")));
    for (int i = 0; i < 1000; ++i) {
        g_object_set(filter.get(), "operator", (i * 7) % static_cast<int>(operators->n_values), "kernel", i % 3,
                     "output", i % 2, "bins", 2 + i % 9, "scale", i / 100.0, "offset", i / 500.0 - 1, nullptr);
        if (i % 10 == 0)
            gst_util_set_object_arg(G_OBJECT(filter.get()), "models",
                                    (i % 20 ? "<" + red + ">" : "<" + red + ", " + red + ">").c_str());
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    g_type_class_unref(operators);
    gst_util_set_object_arg(G_OBJECT(filter.get()), "models", ("<" + red + ">").c_str());
    gst_util_set_object_arg(G_OBJECT(filter.get()), "operator", "GRAY2Sobel");
    for (int i = 0; i < 2000 && formatOf(filter.get(), "sink") != "GRAY8"; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ("GRAY8", formatOf(filter.get(), "sink"));
    EXPECT_FALSE(Owned<GstMessage>(gst_bus_pop_filtered(pipeline.bus(), GST_MESSAGE_ERROR)));
}

TEST(FilterChanges, AtRandomBehindAQueueDoNoHarm)
{
    const TemporaryFolder folder;
    const std::string red = modelFile(folder, "red.yml", 200, 20);
    for (const std::string further : {"", "! capsfilter caps=video/x-raw,format=GRAY8",
                                      "! videoconvert ! capsfilter caps=video/x-raw,format=I420"}) {
        SCOPED_TRACE(further);
        // There are no mosaics, as after them videotestsrc writes its frames in part.
        Pipeline pipeline("videotestsrc ! capsfilter caps=\"video/x-raw,format={GRAY8,RGB},width=64,height=48\" "
                          "! queue max-size-buffers=4 ! velmorfilter name=filter operator=RGB2GRAY models=\"<" +
                          red + ">\" " + further + " ! fakesink sync=false");
        gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
        gst_element_get_state(pipeline.get(), nullptr, nullptr, 20 * GST_SECOND);
        const Owned<GstElement> filter = pipeline.element("filter");
        GEnumClass* const operators = G_ENUM_CLASS(g_type_class_ref(g_type_from_name("VelmorFilter-operator")));
        cv::RNG random(11);
        for (int i = 0; i < 1000; ++i) {
            g_object_set(filter.get(), "operator", random.uniform(0, static_cast<int>(operators->n_values)), nullptr);
            std::this_thread::sleep_for(std::chrono::microseconds(random.uniform(0, 1000)));
        }
        g_type_class_unref(operators);
        for (const auto& [name, in] : {std::pair("PixelCount", "GRAY8"), {"RGB2GRAY", "RGB"}}) {
            gst_util_set_object_arg(G_OBJECT(filter.get()), "operator", name);
            for (int i = 0; i < 2000 && formatOf(filter.get(), "sink") != in; ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            EXPECT_EQ(in, formatOf(filter.get(), "sink"));
        }
        const Owned<GstMessage> error(gst_bus_pop_filtered(pipeline.bus(), GST_MESSAGE_ERROR));
        EXPECT_FALSE(error) << textOf(error.get());
    }
}

} // namespace
} // namespace velmor::tests
