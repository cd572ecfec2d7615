#include "imageio/ImageIo.h"
#include "tests/gstreamer/Found.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>

#include <algorithm>
#include <cstring>
#include <tuple>

namespace velmor::tests {
namespace {

const std::string kCascades = "/usr/share/opencv4/haarcascades/";
const std::string kFaces = kCascades + "haarcascade_frontalface_alt.xml";
const std::string kManyFaces = kCascades + "haarcascade_frontalface_default.xml";

/// A photograph of a footballer, in red, green and blue.
cv::Mat photograph()
{
    return imageio::load(VELMOR_TEST_PHOTOGRAPH, core::cvdata::Image::RGB).mat().clone();
}

std::vector<cv::Rect> ordered(std::vector<cv::Rect> faces)
{
    std::sort(faces.begin(), faces.end(), [](const cv::Rect& a, const cv::Rect& b) {
        return std::tie(a.y, a.x, a.height, a.width) < std::tie(b.y, b.x, b.height, b.width);
    });
    return faces;
}

/// What OpenCV finds in a picture that is reduced by a factor.
/// @param picture  one channel, or blue, green, red
std::vector<cv::Rect> expectedFaces(const std::string& cascade, const cv::Mat& picture, int reduced = 1)
{
    cv::Mat searched;
    cv::resize(picture, searched, picture.size() / reduced);
    cv::CascadeClassifier classifier(cascade);
    std::vector<cv::Rect> faces;
    classifier.detectMultiScale(searched, faces, 1.1, 2, 1, cv::Size(40, 40));
    for (cv::Rect& face : faces)
        face = {face.x * reduced, face.y * reduced, face.width * reduced, face.height * reduced};
    return ordered(faces);
}

std::vector<cv::Rect> facesOf(GstBuffer* buffer)
{
    std::vector<cv::Rect> result;
    for (const Found& each : regionsOf(buffer, "face"))
        result.push_back(each.box);
    return ordered(result);
}

cv::Mat greyOf(const cv::Mat& colours)
{
    cv::Mat result;
    cv::cvtColor(colours, result, cv::COLOR_RGB2GRAY);
    return result;
}

// As a person sees it, the middle of the footballer's face is about (242, 109).
TEST(Faces, FindsTheFaceInAPhotograph)
{
    Harness harness("velmorfaces name=tested cascade=" + kFaces);
    Bus bus(harness);
    expectPictures(harness, GST_VIDEO_FORMAT_RGB, photograph().size());
    const Owned<GstBuffer> result = pass(harness, photograph(), GST_VIDEO_FORMAT_RGB, 2 * GST_SECOND);
    ASSERT_TRUE(result);
    EXPECT_EQ(0, cv::norm(shown(harness, result.get(), CV_8UC3), photograph(), cv::NORM_INF));
    const std::vector<cv::Rect> faces = facesOf(result.get());
    ASSERT_EQ(1U, faces.size());
    EXPECT_TRUE((faces[0] & cv::Rect(230, 97, 24, 24)).contains((faces[0].tl() + faces[0].br()) / 2));

    const auto message = bus.next();
    ASSERT_TRUE(message);
    EXPECT_STREQ("velmorfaces", gst_structure_get_name(message.get()));
    EXPECT_EQ(1, numberOf(message.get(), "count"));
    EXPECT_EQ(2e9, numberOf(message.get(), "running-time"));
    const GValue* const list = gst_structure_get_value(message.get(), "faces");
    ASSERT_EQ(1U, gst_value_list_get_size(list));
    const GstStructure* const face = gst_value_get_structure(gst_value_list_get_value(list, 0));
    EXPECT_STREQ("face", gst_structure_get_name(face));
    EXPECT_EQ(faces[0].x, numberOf(face, "left"));
    EXPECT_EQ(faces[0].y, numberOf(face, "top"));
    EXPECT_EQ(faces[0].width, numberOf(face, "width"));
    EXPECT_EQ(faces[0].height, numberOf(face, "height"));

    guint count = 0;
    g_object_get(harness.element("tested").get(), "count", &count, nullptr);
    EXPECT_EQ(1U, count);
}

TEST(Faces, FindsTheSameInEachFormat)
{
    const cv::Mat colours = photograph();
    cv::Mat blueFirst;
    cv::cvtColor(colours, blueFirst, cv::COLOR_RGB2BGR);
    const std::vector<cv::Rect> expected = expectedFaces(kManyFaces, blueFirst);
    // Where red is taken for blue other places look like faces.
    ASSERT_NE(expected, expectedFaces(kManyFaces, colours));
    for (const GstVideoFormat format : kColourFormats) {
        SCOPED_TRACE(gst_video_format_to_string(format));
        Harness harness("velmorfaces cascade=" + kManyFaces);
        expectPictures(harness, format, colours.size());
        EXPECT_EQ(expected, facesOf(pass(harness, colours, format).get()));
    }
}

TEST(Faces, FindsThemInGreys)
{
    const cv::Mat grey = greyOf(photograph());
    Harness harness("velmorfaces cascade=" + kFaces);
    expectPictures(harness, GST_VIDEO_FORMAT_GRAY8, grey.size());
    const Owned<GstBuffer> result = harness.filter(bufferOf(grey, GST_VIDEO_FORMAT_GRAY8, grey.cols + 9));
    EXPECT_EQ(expectedFaces(kFaces, grey), facesOf(result.get()));
    EXPECT_EQ(1U, facesOf(result.get()).size());
}

TEST(Faces, FindsTheLargerOnesInAReducedPicture)
{
    cv::Mat large;
    cv::resize(photograph(), large, {}, 2.3, 2.3);
    cv::Mat blueFirst;
    cv::cvtColor(large, blueFirst, cv::COLOR_RGB2BGR);
    Harness harness("velmorfaces name=tested cascade=" + kManyFaces);
    const Owned<GstElement> element = harness.element("tested");
    expectPictures(harness, GST_VIDEO_FORMAT_BGR, large.size());
    for (const int reduced : {2, 4, 3}) {
        g_object_set(element.get(), "reduced", reduced, nullptr);
        const std::vector<cv::Rect> expected = expectedFaces(kManyFaces, blueFirst, reduced);
        EXPECT_EQ(expected, facesOf(pass(harness, large, GST_VIDEO_FORMAT_BGR).get())) << reduced;
        EXPECT_EQ(reduced == 4, expected.empty()) << reduced; // where it has fewer than 40 pixels
    }
}

TEST(Faces, DrawsABoxAroundEach)
{
    for (const GstVideoFormat format : {GST_VIDEO_FORMAT_GRAY8, GST_VIDEO_FORMAT_BGRA}) {
        SCOPED_TRACE(gst_video_format_to_string(format));
        cv::Mat colours = photograph();
        if (format == GST_VIDEO_FORMAT_GRAY8)
            cv::cvtColor(greyOf(colours), colours, cv::COLOR_GRAY2RGB);
        Harness harness("velmorfaces output=overlay cascade=" + kFaces);
        expectPictures(harness, format, colours.size());
        const Owned<GstBuffer> result = pass(harness, colours, format);
        const std::vector<cv::Rect> faces = facesOf(result.get());
        ASSERT_EQ(1U, faces.size());
        const cv::Rect box = faces[0];
        const cv::Mat before = inFormat(colours, format), after = shown(harness, result.get(), before.type());
        const cv::Rect out(box.x - 1, box.y - 1, box.width + 2, box.height + 2);
        const cv::Rect in(box.x + 2, box.y + 2, box.width - 4, box.height - 4);
        for (int y = 0; y < after.rows; ++y)
            for (int x = 0; x < after.cols; ++x) {
                const cv::Point place(x, y);
                if (!out.contains(place) || in.contains(place)) {
                    ASSERT_EQ(0, std::memcmp(after.ptr(y, x), before.ptr(y, x), before.elemSize())) << place;
                } else if (x == box.x && y >= box.y && y < box.br().y) {
                    const std::vector<uchar> line(after.ptr(y, x), after.ptr(y, x) + after.elemSize());
                    ASSERT_EQ(after.channels() == 1 ? std::vector<uchar>{255} : (std::vector<uchar>{0, 255, 0, 255}),
                              line);
                }
            }
    }
}

TEST(Faces, TakesPicturesOfAnySize)
{
    // Of what is smaller than its window a cascade finds nothing.
    for (const std::string reduced : {"1", "4"}) {
        Harness harness("velmorfaces output=overlay cascade=" + kFaces + " reduced=" + reduced);
        for (const cv::Size size : {cv::Size(1, 1), {2, 3}, {19, 400}, {39, 39}, {40, 40}, {41, 1}})
            for (const GstVideoFormat format : {GST_VIDEO_FORMAT_RGB, GST_VIDEO_FORMAT_GRAY8}) {
                SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height));
                expectPictures(harness, format, size);
                const Owned<GstBuffer> result = pass(harness, plain(size, {90, 90, 90}), format);
                ASSERT_TRUE(result);
                EXPECT_TRUE(facesOf(result.get()).empty());
            }
    }
}

TEST(Faces, SaysWhatIsWrongWithItsCascade)
{
    const TemporaryFolder folder;
    const std::string notFound = "gst-resource-error-quark " + std::to_string(GST_RESOURCE_ERROR_NOT_FOUND);
    const std::string read = "gst-resource-error-quark " + std::to_string(GST_RESOURCE_ERROR_READ);
    EXPECT_EQ(notFound + ": the property cascade names no file", refusalOf("velmorfaces"));
    const std::string missing = folder.file("missing.xml");
    EXPECT_EQ(notFound + ": velmorfaces: cannot load '" + missing + "': No such file or directory",
              refusalOf("velmorfaces cascade=" + missing));
    const std::string whole = contentOf(kFaces);
    for (const std::string& content : {std::string("<opencv_storage></opencv_storage>"), whole.substr(0, 9999)}) {
        const std::string broken = folder.write("broken.xml", content);
        const std::string said = refusalOf("velmorfaces cascade=" + broken);
        EXPECT_EQ(0U, said.find(read + ": velmorfaces: cannot load '" + broken + "': ")) << said;
    }
    EXPECT_EQ(read + ": velmorfaces: cannot load '" + folder.path().string() + "': it is a folder",
              refusalOf("velmorfaces cascade=" + folder.path().string()));
}

TEST(Faces, ComesUpWithAnotherCascadeAfterAFailure)
{
    GstElement* const pipeline = gst_parse_launch(
        "videotestsrc num-buffers=2 ! video/x-raw,format=RGB ! velmorfaces name=tested ! fakesink", nullptr);
    ASSERT_TRUE(pipeline);
    EXPECT_EQ(GST_STATE_CHANGE_FAILURE, gst_element_set_state(pipeline, GST_STATE_PLAYING));
    gst_element_set_state(pipeline, GST_STATE_NULL);
    const Owned<GstElement> element(gst_bin_get_by_name(GST_BIN(pipeline), "tested"));
    g_object_set(element.get(), "cascade", kFaces.c_str(), nullptr);
    EXPECT_NE(GST_STATE_CHANGE_FAILURE, gst_element_set_state(pipeline, GST_STATE_PLAYING));
    GstBus* const bus = gst_element_get_bus(pipeline);
    const Owned<GstMessage> end(gst_bus_timed_pop_filtered(
        bus, 20 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
    gst_object_unref(bus);
    ASSERT_TRUE(end);
    EXPECT_EQ(GST_MESSAGE_EOS, GST_MESSAGE_TYPE(end.get()));
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
}

} // namespace
} // namespace velmor::tests
