#include "tests/gstreamer/Harness.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <string>

namespace velmor::tests {
namespace {

constexpr const char* kAll = "GRAY8 RGB BGR RGBA BGRA RGBx BGRx";
constexpr const char* kColours = "RGB BGR RGBA BGRA RGBx BGRx";

struct Case
{
    const char* name; ///< of the operator, and settings
    const char* media;
    const char* taken;
    const char* given;
};

const Case kCases[] = {
    {"Not", "video/x-raw", kAll, kAll},
    {"FlipV", "video/x-raw", kAll, kAll},
    {"Laplacian", "video/x-raw", kAll, kAll},
    {"BGR2GRAY", "video/x-raw", kColours, "GRAY8"},
    {"RGB2GRAY", "video/x-raw", kColours, "GRAY8"},
    {"BGR2HSV", "video/x-raw", kColours, "RGB BGR"},
    {"RGB2HSV", "video/x-raw", kColours, "RGB BGR"},
    {"NonMaxSupression", "video/x-raw", kColours, "GRAY8"},
    {"ColorGMM", "video/x-raw", kColours, "GRAY8"},
    {"ColorGMM output=1", "video/x-raw", kColours, kColours},
    {"ColorGMM2", "video/x-raw", kColours, "GRAY8"},
    {"ColorHistShader", "video/x-raw", kColours, kColours},
    {"GRAY2Sobel", "video/x-raw", "GRAY8", "RGB BGR"},
    {"PixelCount", "video/x-raw", "GRAY8", "GRAY8"},
    {"BayerRG2RGB", "video/x-bayer", "rggb", "RGB BGR"},
    {"BayerRG2GRAY", "video/x-bayer", "rggb", "GRAY8"},
};

/// The words of the formats in caps of one media type, as they stand there.
std::string formatsIn(GstCaps* caps, const char* media)
{
    std::string result;
    for (guint i = 0; i < gst_caps_get_size(caps); ++i) {
        const GstStructure* const structure = gst_caps_get_structure(caps, i);
        EXPECT_STREQ(media, gst_structure_get_name(structure));
        const GValue* const formats = gst_structure_get_value(structure, "format");
        if (G_VALUE_HOLDS_STRING(formats))
            result += std::string(result.empty() ? "" : " ") + g_value_get_string(formats);
        else
            for (guint j = 0; j < gst_value_list_get_size(formats); ++j)
                result +=
                    std::string(result.empty() ? "" : " ") + g_value_get_string(gst_value_list_get_value(formats, j));
    }
    return result;
}

Owned<GstElement> filterOf(const std::string& name)
{
    return Owned<GstElement>(
        GST_ELEMENT(gst_object_ref_sink(gst_parse_launch(("velmorfilter operator=" + name).c_str(), nullptr))));
}

Owned<GstCaps> capsOfPad(GstElement* element, const char* name)
{
    GstPad* const pad = gst_element_get_static_pad(element, name);
    Owned<GstCaps> result(gst_pad_query_caps(pad, nullptr));
    gst_object_unref(pad);
    return result;
}

bool accepts(GstElement* element, const std::string& caps)
{
    GstPad* const pad = gst_element_get_static_pad(element, "sink");
    const Owned<GstCaps> asked(gst_caps_from_string(caps.c_str()));
    const bool result = gst_pad_query_accept_caps(pad, asked.get()) != FALSE;
    gst_object_unref(pad);
    return result;
}

TEST(FilterCaps, AreKnownToTheTestsOfEachOperator)
{
    std::set<std::string> known;
    for (const Case& each : kCases) {
        const std::string launch = each.name;
        known.insert(launch.substr(0, launch.find(' ')));
    }
    EXPECT_EQ(wordsOf(filterOf("Not").get(), "operator"), known);
}

TEST(FilterCaps, TellWhatEachOperatorTakes)
{
    for (const Case& each : kCases) {
        SCOPED_TRACE(each.name);
        const Owned<GstElement> filter = filterOf(each.name);
        const Owned<GstCaps> caps = capsOfPad(filter.get(), "sink");
        EXPECT_EQ(each.taken, formatsIn(caps.get(), each.media));
    }
}

TEST(FilterCaps, TellWhatEachOperatorGives)
{
    for (const Case& each : kCases) {
        SCOPED_TRACE(each.name);
        const Owned<GstElement> filter = filterOf(each.name);
        const Owned<GstCaps> caps = capsOfPad(filter.get(), "src");
        std::string words = each.given;
        std::replace(words.begin(), words.end(), ' ', ',');
        const Owned<GstCaps> wanted(
            gst_caps_from_string(("video/x-raw,format={" + words + "},width=[1,2147483647],height=[1,2147483647]," +
                                  "framerate=[0/1,2147483647/1]")
                                     .c_str()));
        EXPECT_TRUE(gst_caps_is_equal(wanted.get(), caps.get())) << formatsIn(caps.get(), "video/x-raw");
    }
}

TEST(FilterCaps, RefuseWhatIsOutside)
{
    const std::string size = ",width=33,height=17,framerate=25/1";
    for (const Case& each : kCases) {
        SCOPED_TRACE(each.name);
        const Owned<GstElement> filter = filterOf(each.name);
        EXPECT_FALSE(accepts(filter.get(), "video/x-raw,format=I420" + size));
        EXPECT_FALSE(accepts(filter.get(), "video/x-raw,format=GRAY16_LE" + size));
        EXPECT_FALSE(accepts(filter.get(), "video/x-bayer,format=bggr" + size));
        EXPECT_FALSE(accepts(filter.get(), "image/jpeg" + size));
        const std::string taken = std::string(" ") + each.taken + ' ';
        for (const std::string format : {"GRAY8", "RGB", "BGRA"})
            EXPECT_EQ(taken.find(' ' + format + ' ') != std::string::npos,
                      accepts(filter.get(), "video/x-raw,format=" + format + size))
                << format;
        EXPECT_EQ(taken == " rggb ", accepts(filter.get(), "video/x-bayer,format=rggb" + size));
        const std::string media = taken == " rggb " ? "video/x-bayer" : "video/x-raw";
        const std::string first = media + ",format=" + taken.substr(1, taken.find(' ', 1) - 1) + size;
        EXPECT_TRUE(accepts(filter.get(), first + ",interlace-mode=interleaved"));
        EXPECT_FALSE(accepts(filter.get(), first + ",interlace-mode=alternate"));
    }
}

/// The format that comes out where another element takes any.
std::string chosen(const std::string& launch, const std::string& caps)
{
    Harness harness("velmorfilter operator=" + launch);
    harness.setCaps(caps, {33, 17});
    const Owned<GstCaps> given(gst_pad_get_current_caps(harness.get()->sinkpad));
    return given ? formatsIn(given.get(), "video/x-raw") : "";
}

TEST(FilterCaps, AreNearestToWhatComesIn)
{
    for (const auto& [in, out] : {std::pair("RGB", "RGB"), {"BGR", "BGR"}, {"BGRx", "BGR"}, {"RGBA", "RGB"}})
        EXPECT_EQ(out, chosen("BGR2HSV", std::string("video/x-raw,format=") + in)) << in;
    EXPECT_EQ("BGRx", chosen("Not", "video/x-raw,format=BGRx"));
    EXPECT_EQ("RGB", chosen("GRAY2Sobel", "video/x-raw,format=GRAY8"));
    EXPECT_EQ("GRAY8", chosen("ColorHistShader ! velmorfilter operator=BGR2GRAY", "video/x-raw,format=RGBA"));
    EXPECT_EQ("RGB", chosen("BayerRG2RGB", "video/x-bayer,format=rggb"));
}

TEST(FilterCaps, KeepRateShapeAndTimesAndDropTheColourimetryOfAnotherFormat)
{
    const std::string caps = "video/x-raw,format=RGB,pixel-aspect-ratio=4/3,colorimetry=sRGB";
    for (const bool isSame : {true, false}) {
        Harness harness(isSame ? "velmorfilter operator=Not" : "velmorfilter operator=BGR2GRAY");
        harness.setCaps(caps, {33, 17});
        const Owned<GstCaps> given(gst_pad_get_current_caps(harness.get()->sinkpad));
        const GstStructure* const structure = gst_caps_get_structure(given.get(), 0);
        int numerator = 0, denominator = 0, width = 0, height = 0;
        EXPECT_TRUE(gst_structure_get_fraction(structure, "pixel-aspect-ratio", &numerator, &denominator));
        EXPECT_EQ(std::pair(4, 3), std::pair(numerator, denominator));
        EXPECT_TRUE(gst_structure_get_fraction(structure, "framerate", &numerator, &denominator));
        EXPECT_EQ(std::pair(25, 1), std::pair(numerator, denominator));
        EXPECT_TRUE(gst_structure_get_int(structure, "width", &width));
        EXPECT_TRUE(gst_structure_get_int(structure, "height", &height));
        EXPECT_EQ(std::pair(33, 17), std::pair(width, height));
        EXPECT_EQ(isSame, gst_structure_has_field(structure, "colorimetry") != FALSE);
    }
}

TEST(FilterCaps, AllowPaddingAndCropsUpstream)
{
    for (const auto& [name, caps, isAllowed] : {std::tuple("BGR2GRAY", "video/x-raw,format=RGB", true),
                                                {"FlipV", "video/x-raw,format=RGB", true},
                                                {"BayerRG2GRAY", "video/x-bayer,format=rggb", false}}) {
        SCOPED_TRACE(name);
        Harness harness(std::string("velmorfilter operator=") + name);
        harness.setCaps(caps, {33, 17});
        const Owned<GstCaps> asked(gst_pad_get_current_caps(harness.get()->srcpad));
        GstQuery* const query = gst_query_new_allocation(asked.get(), TRUE);
        EXPECT_TRUE(gst_pad_peer_query(harness.get()->srcpad, query));
        EXPECT_EQ(isAllowed, gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr) != FALSE);
        EXPECT_EQ(isAllowed, gst_query_find_allocation_meta(query, GST_VIDEO_CROP_META_API_TYPE, nullptr) != FALSE);
        gst_query_unref(query);
    }
}

TEST(FilterCaps, OfResultsLargerThanGStreamerAllowsAreAnError)
{
    Harness harness("velmorfilter name=filter operator=GRAY2Sobel");
    const Owned<GstElement> filter(harness.element("filter"));
    Ear ear(filter.get());
    gst_harness_set_src_caps_str(harness.get(), "video/x-raw,format=GRAY8,width=40000,height=50000,framerate=25/1");
    const Owned<GstMessage> error = ear.now(GST_MESSAGE_ERROR);
    ASSERT_TRUE(error);
    EXPECT_NE(std::string::npos, textOf(error.get()).find("format=(string)RGB, width=(int)40000, height=(int)50000"));
    EXPECT_NE(std::string::npos, textOf(error.get()).find("too large"));
}

TEST(FilterCaps, MayChangeInMidStream)
{
    Harness harness("velmorfilter operator=BGR2GRAY");
    for (const auto& [format, type, size] : {std::tuple(GST_VIDEO_FORMAT_RGB, CV_8UC3, cv::Size(33, 17)),
                                             {GST_VIDEO_FORMAT_BGRA, CV_8UC4, {8, 40}},
                                             {GST_VIDEO_FORMAT_RGB, CV_8UC3, {1, 1}}}) {
        harness.setCaps(std::string("video/x-raw,format=") + gst_video_format_to_string(format), size);
        const cv::Mat white(size, type, cv::Scalar::all(255));
        const Owned<GstBuffer> result =
            harness.filter(bufferOf(white, format, static_cast<int>(white.step[0] + 8) & ~3));
        const cv::Mat seen = shown(harness, result.get(), CV_8UC1);
        ASSERT_EQ(size, seen.size());
        EXPECT_EQ(0, cv::norm(seen, cv::Mat(size, CV_8UC1, cv::Scalar(255)), cv::NORM_INF));
    }
}

} // namespace
} // namespace velmor::tests
