#include "tests/gstreamer/Harness.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

namespace velmor::tests {
namespace {

cv::Mat randomPicture(const cv::Size& size)
{
    cv::Mat result(size, CV_8UC3);
    cv::RNG(3).fill(result, cv::RNG::UNIFORM, 0, 256);
    return result;
}

const void* memoryOf(GstBuffer* buffer)
{
    GstMapInfo map;
    if (!gst_buffer_map(buffer, &map, GST_MAP_READ))
        return nullptr;
    const void* const result = map.data;
    gst_buffer_unmap(buffer, &map);
    return result;
}

TEST(FilterBuffers, AreFilteredWhereTheyAre)
{
    for (const char* const name : {"Not", "PixelCount"}) {
        Harness harness(std::string("velmorfilter operator=") + name);
        harness.setCaps("video/x-raw,format=GRAY8", {32, 16});
        Owned<GstBuffer> buffer = bufferOf(cv::Mat(16, 32, CV_8UC1, cv::Scalar(7)), GST_VIDEO_FORMAT_GRAY8, 32);
        const void* const memory = memoryOf(buffer.get());
        const Owned<GstBuffer> result = harness.filter(std::move(buffer));
        EXPECT_EQ(memory, memoryOf(result.get())) << name;
    }
}

TEST(FilterBuffers, ThatOthersReadStayAsTheyAre)
{
    Harness harness("velmorfilter operator=Not");
    harness.setCaps("video/x-raw,format=RGB", {33, 17});
    const cv::Mat picture = randomPicture({33, 17});
    const void* memory = nullptr;
    for (int i = 0; i < 3; ++i) {
        Owned<GstBuffer> buffer = bufferOf(picture, GST_VIDEO_FORMAT_RGB, 104);
        const Owned<GstBuffer> kept(gst_buffer_ref(buffer.get()));
        const Owned<GstBuffer> result = harness.filter(std::move(buffer));
        EXPECT_EQ(0, cv::norm(shown(harness, kept.get(), CV_8UC3), picture, cv::NORM_INF));
        EXPECT_EQ(0, cv::norm(shown(harness, result.get(), CV_8UC3), ~picture, cv::NORM_INF));
        if (i > 0) { // the memory of the result before it, which was released
            EXPECT_EQ(memory, memoryOf(result.get()));
        }
        memory = memoryOf(result.get());
    }
}

TEST(FilterBuffers, OfResultsBeginWithALineOfTheCache)
{
    for (const char* const name : {"Not", "Laplacian", "BGR2GRAY"}) {
        Harness harness(std::string("velmorfilter operator=") + name);
        harness.setCaps("video/x-raw,format=RGB", {33, 17});
        std::vector<Owned<GstBuffer>> results;
        for (int i = 0; i < 5; ++i) { // by chance one in four has such a place
            Owned<GstBuffer> buffer = bufferOf(randomPicture({33, 17}), GST_VIDEO_FORMAT_RGB, 104);
            const Owned<GstBuffer> kept(gst_buffer_ref(buffer.get()));
            results.push_back(harness.filter(std::move(buffer)));
            EXPECT_EQ(0, reinterpret_cast<std::uintptr_t>(memoryOf(results.back().get())) % 64) << name;
        }
    }
}

TEST(FilterBuffers, ThatShareTheirMemoryWithOthersStayAsTheyAre)
{
    Harness harness("velmorfilter operator=Not");
    harness.setCaps("video/x-raw,format=RGB", {33, 17});
    const cv::Mat picture = randomPicture({33, 17});
    Owned<GstBuffer> buffer = bufferOf(picture, GST_VIDEO_FORMAT_RGB, 104);
    const Owned<GstBuffer> copy(gst_buffer_copy(buffer.get())); // of what is around the memory
    const Owned<GstBuffer> result = harness.filter(std::move(buffer));
    EXPECT_EQ(0, cv::norm(shown(harness, copy.get(), CV_8UC3), picture, cv::NORM_INF));
    EXPECT_EQ(0, cv::norm(shown(harness, result.get(), CV_8UC3), ~picture, cv::NORM_INF));
}

// ---- What is known of a frame

cv::Rect regionOf(GstBuffer* buffer)
{
    const auto* const region = reinterpret_cast<GstVideoRegionOfInterestMeta*>(
        gst_buffer_get_meta(buffer, GST_VIDEO_REGION_OF_INTEREST_META_API_TYPE));
    return region ? cv::Rect(static_cast<int>(region->x), static_cast<int>(region->y), static_cast<int>(region->w),
                             static_cast<int>(region->h))
                  : cv::Rect();
}

Owned<GstBuffer> frameWithRegion(const cv::Rect& region)
{
    Owned<GstBuffer> result = bufferOf(randomPicture({33, 17}), GST_VIDEO_FORMAT_RGB, 104);
    gst_buffer_add_video_region_of_interest_meta(result.get(), "face", static_cast<guint>(region.x),
                                                 static_cast<guint>(region.y), static_cast<guint>(region.width),
                                                 static_cast<guint>(region.height));
    gst_buffer_add_video_time_code_meta_full(result.get(), 25, 1, nullptr, GST_VIDEO_TIME_CODE_FLAGS_NONE, 1, 2, 3, 4,
                                             0);
    GST_BUFFER_PTS(result.get()) = 5 * GST_SECOND;
    return result;
}

TEST(FilterBuffers, KeepRegionsTimesAndTimeCodes)
{
    const cv::Rect region(3, 2, 10, 5);
    for (const auto& [name, wanted] :
         {std::pair("Not", region), {"BGR2GRAY", region}, {"ColorHistShader", region}, {"FlipV", {3, 10, 10, 5}}}) {
        for (const bool isShared : {false, true}) {
            SCOPED_TRACE(name);
            Harness harness(std::string("velmorfilter operator=") + name);
            harness.setCaps("video/x-raw,format=RGB", {33, 17});
            Owned<GstBuffer> frame = frameWithRegion(region);
            const Owned<GstBuffer> kept(isShared ? gst_buffer_ref(frame.get()) : nullptr);
            const Owned<GstBuffer> result = harness.filter(std::move(frame));
            EXPECT_EQ(wanted, regionOf(result.get()));
            EXPECT_EQ(5 * GST_SECOND, GST_BUFFER_PTS(result.get()));
            const GstVideoTimeCodeMeta* const code = gst_buffer_get_video_time_code_meta(result.get());
            ASSERT_TRUE(code);
            EXPECT_EQ(4, code->tc.frames);
        }
    }
}

TEST(FilterBuffers, MoveRegionsWithTheCrop)
{
    const cv::Rect part(5, 3, 20, 10);
    for (const auto& [region, wanted] :
         {std::pair(cv::Rect(7, 5, 4, 4), cv::Rect(2, 2, 4, 4)), {{0, 0, 10, 10}, {0, 0, 5, 7}}, {{1, 1, 3, 2}, {}}}) {
        Harness harness("velmorfilter operator=BGR2GRAY");
        harness.setCaps("video/x-raw,format=RGB", part.size());
        Owned<GstBuffer> frame = frameWithRegion(region);
        GstVideoCropMeta* const crop = gst_buffer_add_video_crop_meta(frame.get());
        crop->x = 5;
        crop->y = 3;
        crop->width = 20;
        crop->height = 10;
        const Owned<GstBuffer> result = harness.filter(std::move(frame));
        EXPECT_EQ(wanted, regionOf(result.get()));
        EXPECT_FALSE(gst_buffer_get_video_crop_meta(result.get()));
    }
}

// ---- Frames that are not what their caps say

/// What an element says of a frame that it cannot filter.
std::string refusalOf(Owned<GstBuffer> buffer)
{
    Harness harness("velmorfilter name=filter operator=BGR2GRAY");
    const Owned<GstElement> filter = harness.element("filter");
    Ear ear(filter.get());
    harness.setCaps("video/x-raw,format=RGB", {33, 17});
    const GstFlowReturn flow = gst_harness_push(harness.get(), buffer.release());
    const Owned<GstMessage> message = ear.now(GST_MESSAGE_ERROR);
    EXPECT_EQ(message ? GST_FLOW_ERROR : GST_FLOW_OK, flow);
    return message ? textOf(message.get()) : "nothing";
}

TEST(FilterBuffers, ThatDisagreeWithTheirCapsAreRefused)
{
    const std::string refusal =
        "A frame cannot be filtered: it is smaller than its caps or its GstVideoMeta say, or cropped otherwise";
    EXPECT_EQ(refusal, refusalOf(Owned<GstBuffer>(gst_buffer_new_allocate(nullptr, 100, nullptr))));
    EXPECT_EQ(refusal, refusalOf(bufferOf(randomPicture({33, 16}), GST_VIDEO_FORMAT_RGB, 104)));
    EXPECT_EQ(refusal, refusalOf(bufferOf(randomPicture({33, 17}), GST_VIDEO_FORMAT_BGR, 104)));
    for (const cv::Rect part : {cv::Rect(5, 3, 20, 10), {8, 4, 33, 17}, {2147483647, 0, 33, 17}})
        EXPECT_EQ(refusal, refusalOf(bufferOf(randomPicture({40, 20}), GST_VIDEO_FORMAT_RGB, 120, part)));
    Owned<GstBuffer> cut = bufferOf(randomPicture({33, 17}), GST_VIDEO_FORMAT_RGB, 104);
    gst_buffer_set_size(cut.get(), 17 * 104 - 10);
    EXPECT_EQ(refusal, refusalOf(std::move(cut)));
}

/// A buffer whose memory is in two pieces, of so many bytes and of the rest.
Owned<GstBuffer> inTwoPieces(Owned<GstBuffer> buffer, gssize first)
{
    Owned<GstBuffer> result(gst_buffer_copy(buffer.get()));
    GstMemory* const memory = gst_buffer_peek_memory(buffer.get(), 0);
    gst_buffer_remove_all_memory(result.get());
    gst_buffer_append_memory(result.get(), gst_memory_share(memory, 0, first));
    gst_buffer_append_memory(result.get(), gst_memory_share(memory, first, -1));
    return result;
}

TEST(FilterBuffers, InPiecesAreRefusedWhereAGstVideoMetaTellsOfOne)
{
    // GStreamer maps the piece with the first row alone, and takes the rows of the others to lie behind it.
    EXPECT_EQ("A frame cannot be filtered: it is smaller than its caps or its GstVideoMeta say, or cropped otherwise",
              refusalOf(inTwoPieces(bufferOf(randomPicture({33, 17}), GST_VIDEO_FORMAT_RGB, 104), 8 * 104)));
    EXPECT_EQ("A frame cannot be filtered: it is smaller than its caps or its GstVideoMeta say, or cropped otherwise",
              refusalOf(inTwoPieces(bufferOf(randomPicture({33, 17}), GST_VIDEO_FORMAT_RGB, 104), 16 * 104 + 98)));
    EXPECT_EQ("nothing",
              refusalOf(inTwoPieces(bufferOf(randomPicture({33, 17}), GST_VIDEO_FORMAT_RGB, 104), 16 * 104 + 99)));
}

TEST(FilterBuffers, MayHaveRowsAndColumnsBeyondTheirCaps)
{
    Harness harness("velmorfilter operator=Laplacian");
    harness.setCaps("video/x-raw,format=RGB", {33, 17});
    cv::Mat picture(20, 40, CV_8UC3, cv::Scalar(255, 255, 255));
    picture(cv::Rect(0, 0, 33, 17)).setTo(9);
    const Owned<GstBuffer> result = harness.filter(bufferOf(picture, GST_VIDEO_FORMAT_RGB, 120));
    ASSERT_TRUE(result);
    const cv::Mat seen = shown(harness, result.get(), CV_8UC3);
    EXPECT_EQ(cv::Size(33, 17), seen.size());
    EXPECT_EQ(0, cv::norm(seen, cv::NORM_INF)); // an edge is the frame's own
}

} // namespace
} // namespace velmor::tests
