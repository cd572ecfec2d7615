#include "tests/gstreamer/Found.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace velmor::tests {
namespace {

/// Where red, green and blue lie in a pixel.
std::vector<int> placesOf(GstVideoFormat format)
{
    const bool isBlueFirst =
        format == GST_VIDEO_FORMAT_BGR || format == GST_VIDEO_FORMAT_BGRA || format == GST_VIDEO_FORMAT_BGRx;
    return isBlueFirst ? std::vector<int>{2, 1, 0} : std::vector<int>{0, 1, 2};
}

int channelsOf(GstVideoFormat format)
{
    return format == GST_VIDEO_FORMAT_GRAY8                                   ? 1
           : format == GST_VIDEO_FORMAT_RGB || format == GST_VIDEO_FORMAT_BGR ? 3
                                                                              : 4;
}

/// What an error says, with the name of its domain and its code in front; empty for null.
std::string errorOf(GstMessage* message)
{
    if (!message)
        return "";
    const Owned<GError> error = errorIn(message);
    return std::string(g_quark_to_string(error->domain)) + ' ' + std::to_string(error->code) + ": " + error->message;
}

} // namespace

const std::vector<GstVideoFormat> kColourFormats = {GST_VIDEO_FORMAT_RGB,  GST_VIDEO_FORMAT_BGR,
                                                    GST_VIDEO_FORMAT_RGBA, GST_VIDEO_FORMAT_BGRA,
                                                    GST_VIDEO_FORMAT_RGBx, GST_VIDEO_FORMAT_BGRx};

std::vector<Found> regionsOf(GstBuffer* buffer, const std::string& type)
{
    std::vector<Found> result;
    gpointer state = nullptr;
    while (GstMeta* const each =
               gst_buffer_iterate_meta_filtered(buffer, &state, GST_VIDEO_REGION_OF_INTEREST_META_API_TYPE)) {
        auto* const meta = reinterpret_cast<GstVideoRegionOfInterestMeta*>(each);
        if (type != g_quark_to_string(meta->roi_type))
            continue;
        Found found;
        found.box = {static_cast<int>(meta->x), static_cast<int>(meta->y), static_cast<int>(meta->w),
                     static_cast<int>(meta->h)};
        if (const GstStructure* const numbers = gst_video_region_of_interest_meta_get_param(meta, type.c_str()))
            found.numbers.reset(gst_structure_copy(numbers), gst_structure_free);
        result.push_back(found);
    }
    return result;
}

double numberOf(const GstStructure* structure, const char* name)
{
    const GValue* const value = structure ? gst_structure_get_value(structure, name) : nullptr;
    GValue number = G_VALUE_INIT;
    g_value_init(&number, G_TYPE_DOUBLE);
    return value && g_value_transform(value, &number) ? g_value_get_double(&number)
                                                      : std::numeric_limits<double>::quiet_NaN();
}

Bus::Bus(Harness& harness)
    : mElement(static_cast<GstElement*>(gst_object_ref(harness.get()->element))), mBus(gst_bus_new())
{
    gst_element_set_bus(mElement.get(), mBus);
}

Bus::~Bus()
{
    gst_element_set_bus(mElement.get(), nullptr);
    gst_bus_set_flushing(mBus, TRUE);
    gst_object_unref(mBus);
}

std::shared_ptr<GstStructure> Bus::next()
{
    const Owned<GstMessage> message(gst_bus_pop_filtered(mBus, GST_MESSAGE_ELEMENT));
    return message ? std::shared_ptr<GstStructure>(gst_structure_copy(gst_message_get_structure(message.get())),
                                                   gst_structure_free)
                   : nullptr;
}

std::string Bus::error()
{
    const Owned<GstMessage> message(gst_bus_pop_filtered(mBus, GST_MESSAGE_ERROR));
    return errorOf(message.get());
}

std::string refusalOf(const std::string& launch)
{
    GstElement* const element = gst_parse_launch(("fakesrc ! " + launch + " ! fakesink").c_str(), nullptr);
    EXPECT_TRUE(element);
    EXPECT_EQ(GST_STATE_CHANGE_FAILURE, gst_element_set_state(element, GST_STATE_PAUSED));
    GstBus* const bus = gst_element_get_bus(element);
    const Owned<GstMessage> message(gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR));
    gst_object_unref(bus);
    gst_element_set_state(element, GST_STATE_NULL);
    gst_object_unref(element);
    return errorOf(message.get());
}

cv::Mat inFormat(const cv::Mat& colours, GstVideoFormat format)
{
    const int channels = channelsOf(format);
    const std::vector<int> places = placesOf(format);
    cv::Mat result(colours.size(), CV_8UC(channels), cv::Scalar::all(77));
    for (int y = 0; y < colours.rows; ++y)
        for (int x = 0; x < colours.cols; ++x)
            for (int k = 0; k < std::min(3, channels); ++k)
                result.ptr(y, x)[channels == 1 ? 0 : places[static_cast<std::size_t>(k)]] = colours.ptr(y, x)[k];
    return result;
}

cv::Mat plain(const cv::Size& size, const cv::Vec3b& colour)
{
    return {size, CV_8UC3, cv::Scalar(colour)};
}

Owned<GstBuffer> pass(Harness& harness, const cv::Mat& colours, GstVideoFormat format, GstClockTime time)
{
    const cv::Mat picture = inFormat(colours, format);
    const int stride = static_cast<int>(static_cast<std::size_t>(picture.cols) * picture.elemSize()) / 4 * 4 + 12;
    Owned<GstBuffer> buffer = bufferOf(picture, format, stride);
    GST_BUFFER_PTS(buffer.get()) = time;
    GST_BUFFER_DURATION(buffer.get()) = 40 * GST_MSECOND;
    return harness.filter(std::move(buffer));
}

void expectPictures(Harness& harness, GstVideoFormat format, const cv::Size& size)
{
    harness.setCaps(std::string("video/x-raw,format=") + gst_video_format_to_string(format), size);
}

} // namespace velmor::tests
