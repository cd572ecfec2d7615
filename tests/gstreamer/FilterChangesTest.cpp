#include "tests/gstreamer/Harness.h"
#include "tests/support/NativeMixtures.h"
#include "tests/support/TemporaryFolder.h"

#include <gst/controller/gstdirectcontrolbinding.h>
#include <gst/controller/gstinterpolationcontrolsource.h>
#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <thread>
#include <tuple>

namespace velmor::tests {
namespace {

constexpr GstMessageType kTrouble = static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_WARNING);

/// A picture of one colour through a filter; the first pixel of what comes out.
std::vector<int> pixelThrough(Harness& harness, const cv::Vec3b& colour)
{
    const cv::Mat picture(3, 3, CV_8UC3, cv::Scalar(colour[0], colour[1], colour[2]));
    const Owned<GstBuffer> result = harness.filter(bufferOf(picture, GST_VIDEO_FORMAT_RGB, 12));
    const Owned<GstCaps> caps(gst_pad_get_current_caps(harness.get()->sinkpad));
    GstVideoInfo info;
    gst_video_info_from_caps(&info, caps.get());
    const int channels = static_cast<int>(GST_VIDEO_INFO_N_COMPONENTS(&info));
    const cv::Mat shown = pictureOf(result.get(), caps.get(), CV_MAKETYPE(CV_8U, channels));
    return {shown.ptr(0), shown.ptr(0) + channels};
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
            const Owned<GstCaps> caps(gst_pad_get_current_caps(harness.get()->sinkpad));
            const cv::Mat expected = name == "Not" ? cv::Mat(~picture(part)) : picture(part);
            EXPECT_EQ(0, cv::norm(pictureOf(result.get(), caps.get(), CV_8UC3), expected, cv::NORM_INF));
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

/// What an element says that does not go to PAUSED.
std::string refusalOf(const std::string& settings)
{
    const Owned<GstElement> element(
        GST_ELEMENT(gst_object_ref_sink(gst_parse_launch(("velmorfilter " + settings).c_str(), nullptr))));
    Ear ear(element.get());
    EXPECT_EQ(GST_STATE_CHANGE_FAILURE, gst_element_set_state(element.get(), GST_STATE_PAUSED));
    const Owned<GstMessage> message = ear.now(GST_MESSAGE_ERROR);
    gst_element_set_state(element.get(), GST_STATE_NULL);
    if (!message)
        return "nothing";
    GError* error = nullptr;
    gst_message_parse_error(message.get(), &error, nullptr);
    const std::string kind = g_error_matches(error, GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_NOT_FOUND) ? "not found: "
                             : g_error_matches(error, GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_READ)    ? "read: "
                                                                                                      : "settings: ";
    g_error_free(error);
    return kind + textOf(message.get());
}

TEST(FilterChanges, ToPausedAreRefusedWithoutModels)
{
    const TemporaryFolder folder;
    const std::string missing = folder.file("missing.yml"), text = folder.write("text.yml", "no model");
    EXPECT_EQ("settings: catalogue::makeNative(): expected one model for ColorGMM, got 0",
              refusalOf("operator=ColorGMM"));
    EXPECT_EQ("settings: catalogue::makeNative(): expected at least one model for ColorGMM2, got 0",
              refusalOf("operator=ColorGMM2"));
    const std::string cannotLoad = "ColorGMM::load(): cannot load ";
    EXPECT_EQ(0, refusalOf("operator=ColorGMM models=\"<" + missing + ">\"").find("not found: " + cannotLoad));
    EXPECT_EQ(0, refusalOf("operator=ColorGMM models=\"<" + text + ">\"").find("read: " + cannotLoad));
    EXPECT_EQ(0, refusalOf("operator=Not models=\"<" + missing + ">\"").find("not found: " + cannotLoad));
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
        const Owned<GstCaps> caps(gst_pad_get_current_caps(filter.harness.get()->sinkpad));
        EXPECT_EQ(byte, pictureOf(result.get(), caps.get(), CV_8UC3).at<cv::Vec3b>(1, 1)[0]) << seconds;
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

} // namespace
} // namespace velmor::tests
