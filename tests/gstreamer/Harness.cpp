#include "tests/gstreamer/Harness.h"

#include <gtest/gtest.h>

namespace velmor::tests {
namespace {

/// Starts GStreamer before the first test.
class GStreamer : public testing::Environment
{
public:
    void SetUp() override { gst_init(nullptr, nullptr); }
};

const auto* const kGStreamer = testing::AddGlobalTestEnvironment(new GStreamer);

} // namespace

Harness::Harness(const std::string& launch) : mHarness(gst_harness_new_parse(launch.c_str())) {}

Harness::~Harness() = default;

Owned<GstElement> Harness::element(const std::string& name)
{
    return Owned<GstElement>(gst_bin_get_by_name(GST_BIN(mHarness->element), name.c_str()));
}

void Harness::setCaps(const std::string& caps, const cv::Size& size)
{
    const std::string whole =
        caps + ",width=" + std::to_string(size.width) + ",height=" + std::to_string(size.height) + ",framerate=25/1";
    gst_harness_set_src_caps_str(mHarness.get(), whole.c_str());
}

Owned<GstBuffer> Harness::filter(Owned<GstBuffer> buffer)
{
    return Owned<GstBuffer>(gst_harness_push_and_pull(mHarness.get(), buffer.release()));
}

Owned<GstBuffer> bufferOf(const cv::Mat& picture, GstVideoFormat format, int stride)
{
    const gsize size = static_cast<gsize>(stride) * static_cast<gsize>(picture.rows);
    GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, size, nullptr);
    gst_buffer_memset(buffer, 0, 0xAA, size);
    for (int y = 0; y < picture.rows; ++y)
        gst_buffer_fill(buffer, static_cast<gsize>(y) * static_cast<gsize>(stride), picture.ptr(y),
                        static_cast<gsize>(picture.cols) * picture.elemSize());
    gsize offsets[GST_VIDEO_MAX_PLANES] = {0};
    gint strides[GST_VIDEO_MAX_PLANES] = {stride};
    gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, format, static_cast<guint>(picture.cols),
                                   static_cast<guint>(picture.rows), 1, offsets, strides);
    return Owned<GstBuffer>(buffer);
}

Owned<GstBuffer> bufferOf(const cv::Mat& picture, GstVideoFormat format, int stride, const cv::Rect& part)
{
    Owned<GstBuffer> result = bufferOf(picture, format, stride);
    GstVideoCropMeta* const crop = gst_buffer_add_video_crop_meta(result.get());
    crop->x = static_cast<guint>(part.x);
    crop->y = static_cast<guint>(part.y);
    crop->width = static_cast<guint>(part.width);
    crop->height = static_cast<guint>(part.height);
    return result;
}

Owned<GstMessage> messageOn(GstBus* bus, GstMessageType types)
{
    return Owned<GstMessage>(gst_bus_timed_pop_filtered(bus, 20 * GST_SECOND, types));
}

Ear::Ear(GstElement* element) : mElement(element), mBus(gst_bus_new())
{
    gst_element_set_bus(mElement, mBus);
}

Ear::~Ear()
{
    gst_element_set_bus(mElement, nullptr);
    gst_object_unref(mBus);
}

std::set<std::string> wordsOf(GstElement* element, const char* property)
{
    const GParamSpec* const declared = g_object_class_find_property(G_OBJECT_GET_CLASS(element), property);
    const GEnumClass& words = *G_PARAM_SPEC_ENUM(declared)->enum_class;
    std::set<std::string> result;
    for (guint i = 0; i < words.n_values; ++i)
        result.insert(words.values[i].value_nick);
    return result;
}

Owned<GError> errorIn(GstMessage* message)
{
    GError* error = nullptr;
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_WARNING)
        gst_message_parse_warning(message, &error, nullptr);
    else
        gst_message_parse_error(message, &error, nullptr);
    return Owned<GError>(error);
}

std::string textOf(GstMessage* message)
{
    return errorIn(message)->message;
}

cv::Mat pictureOf(GstBuffer* buffer, GstCaps* caps, int type)
{
    GstVideoInfo info;
    GstVideoFrame frame;
    if (!gst_video_info_from_caps(&info, caps) || !gst_video_frame_map(&frame, &info, buffer, GST_MAP_READ))
        return {};
    const cv::Mat view(GST_VIDEO_FRAME_HEIGHT(&frame), GST_VIDEO_FRAME_WIDTH(&frame), type,
                       GST_VIDEO_FRAME_PLANE_DATA(&frame, 0),
                       static_cast<std::size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0)));
    cv::Mat result = view.clone();
    gst_video_frame_unmap(&frame);
    return result;
}

cv::Mat shown(GstHarness* harness, GstBuffer* buffer, int type)
{
    const Owned<GstCaps> caps(gst_pad_get_current_caps(harness->sinkpad));
    return pictureOf(buffer, caps.get(), type);
}

cv::Mat shown(Harness& harness, GstBuffer* buffer, int type)
{
    return shown(harness.get(), buffer, type);
}

} // namespace velmor::tests
