// Caps, settings and buffers of any kind for the elements of one source on main memory: caps are refused when they are
// agreed on, or each sound frame gives one of the same size; what is not sound gives an error or a frame. Nothing of it
// is critical to GLib, and nothing is left behind. velmorglfilter takes too long to make a context, and the frames of
// velmormix come from a thread of its own, so that no input would do the same twice.

#include "tests/fuzz/Draws.h"

#include <gst/check/gstharness.h>
#include <gst/video/video.h>

#include <algorithm>
#include <cstdint>
#include <memory>

namespace velmor::tests {
namespace {

struct Unref
{
    void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
    void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
    void operator()(GstElement* element) const { gst_object_unref(element); }
    void operator()(GstPad* pad) const { gst_object_unref(pad); }
    void operator()(GstBus* bus) const { gst_object_unref(bus); }
    void operator()(GstMessage* message) const { gst_message_unref(message); }
    void operator()(GstHarness* harness) const { gst_harness_teardown(harness); }
};
template<typename Type>
using Owned = std::unique_ptr<Type, Unref>;

constexpr gsize kMostBytes = 1 << 20;

// ---- What an element is set with

/// Sets a property, to any of its values. A file is there in most cases.
/// @return  whether the element may not start with it
bool setProperty(Bytes& bytes, GObject* element, const GParamSpec& property, const std::string& file)
{
    const bool isMissing = oneIn(bytes, 16);
    const std::string name = isMissing ? "/nowhere" : file;
    const GType type = G_PARAM_SPEC_VALUE_TYPE(&property);
    if (G_IS_PARAM_SPEC_ENUM(&property)) {
        const GEnumClass& words = *G_PARAM_SPEC_ENUM(&property)->enum_class;
        g_object_set(element, property.name, words.values[bytes.ConsumeIntegralInRange(0U, words.n_values - 1)].value,
                     nullptr);
    } else if (G_IS_PARAM_SPEC_INT(&property)) {
        const GParamSpecInt& range = *G_PARAM_SPEC_INT(&property);
        g_object_set(element, property.name, bytes.ConsumeIntegralInRange(range.minimum, range.maximum), nullptr);
    } else if (G_IS_PARAM_SPEC_DOUBLE(&property)) {
        const GParamSpecDouble& range = *G_PARAM_SPEC_DOUBLE(&property);
        g_object_set(element, property.name, bytes.ConsumeFloatingPointInRange(range.minimum, range.maximum), nullptr);
    } else if (type == G_TYPE_BOOLEAN) {
        g_object_set(element, property.name, bytes.ConsumeBool() ? TRUE : FALSE, nullptr);
    } else if (type == G_TYPE_STRING) {
        g_object_set(element, property.name, name.c_str(), nullptr);
        return isMissing;
    } else if (type == GST_TYPE_ARRAY) {
        const bool areTwo = oneIn(bytes, 2); // of which some operators take one
        const std::string files = areTwo ? "<\"" + name + "\",\"" + name + "\">" : "<\"" + name + "\">";
        gst_util_set_object_arg(element, property.name, files.c_str());
        return isMissing || areTwo;
    }
    return false;
}

/// Sets some of the element's own properties.
/// @return  whether it may not start with them
bool setSome(Bytes& bytes, GObject* element, bool needsAFile)
{
    guint count = 0;
    const std::unique_ptr<GParamSpec*, decltype(&g_free)> all(
        g_object_class_list_properties(G_OBJECT_GET_CLASS(element), &count), g_free);
    bool misses = false;
    for (guint i = 0; i < count; ++i) {
        const GParamSpec& property = *all.get()[i];
        const bool isOwn = g_str_has_prefix(g_type_name(property.owner_type), "Velmor") != FALSE;
        if (!isOwn || (property.flags & G_PARAM_WRITABLE) == 0)
            continue;
        const GType type = G_PARAM_SPEC_VALUE_TYPE(&property);
        const bool isFile = type == G_TYPE_STRING || type == GST_TYPE_ARRAY;
        if ((isFile && needsAFile) || oneIn(bytes, 3))
            misses |= setProperty(bytes, element, property,
                                  g_str_equal(property.name, "cascade") ? VELMOR_FUZZ_CASCADE : VELMOR_FUZZ_MODEL);
    }
    return misses;
}

// ---- What comes in

GstCaps* drawCaps(Bytes& bytes)
{
    using Words = std::vector<std::string>;
    static const Words kMedia = {"video/x-raw",   "video/x-raw", "video/x-raw",
                                 "video/x-bayer", "image/jpeg",  "video/x-raw(memory:GLMemory)"};
    static const Words kFormats = {"GRAY8", "RGB",  "BGR",  "RGBA", "BGRA",      "RGBx", "BGRx",
                                   "rggb",  "bggr", "I420", "ARGB", "GRAY16_LE", "NV12", "nothing"};
    static const Words kRates = {"25/1", "0/1", "30000/1001", "1/2147483647", "2147483647/1"};
    static const Words kMore = {"",
                                ",colorimetry=sRGB",
                                ",colorimetry=bt709",
                                ",pixel-aspect-ratio=4/3",
                                ",interlace-mode=interleaved",
                                ",interlace-mode=alternate",
                                ",chroma-site=jpeg",
                                ",views=2",
                                ",multiview-mode=left"};
    static const std::vector<int> kOddSides = {0, -1, 16384, 32767, 1 << 27, 2147483647};
    const auto side = [&] {
        return std::to_string(oneIn(bytes, 24) ? oneOf(bytes, kOddSides) : bytes.ConsumeIntegralInRange(1, 80));
    };
    const std::string& media = oneOf(bytes, kMedia);
    std::string format = oneOf(bytes, kFormats);
    if (media == "video/x-bayer" && !oneIn(bytes, 4))
        format = "rggb";
    std::string text = media + ",format=" + format + ",width=" + side();
    text += ",height=" + side() + oneOf(bytes, kMore);
    if (!oneIn(bytes, 16))
        text += ",framerate=" + oneOf(bytes, kRates);
    GstCaps* const caps = gst_caps_from_string(text.c_str());
    require(caps != nullptr, "no caps: " + text);
    return caps;
}

/// A mosaic lies in memory as grey pixels do.
bool readCaps(GstVideoInfo& info, GstCaps* caps)
{
    const GstStructure& structure = *gst_caps_get_structure(caps, 0);
    if (!gst_structure_has_name(&structure, "video/x-bayer"))
        return gst_video_info_from_caps(&info, caps) != FALSE;
    int width = 0, height = 0;
    return gst_structure_get_int(&structure, "width", &width) && gst_structure_get_int(&structure, "height", &height) &&
           width > 0 && height > 0 &&
           gst_video_info_set_format(&info, GST_VIDEO_FORMAT_GRAY8, static_cast<guint>(width),
                                     static_cast<guint>(height)) != FALSE;
}

/// A frame, and whether it is as its caps and metas say.
struct Frame
{
    Owned<GstBuffer> buffer;
    bool isSound = true;
};

/// Says where the picture lies in a larger frame.
void addPlace(Bytes& bytes, GstBuffer* buffer, const GstVideoInfo& info, const cv::Size& whole, gint stride)
{
    const auto width = static_cast<guint>(GST_VIDEO_INFO_WIDTH(&info));
    const auto height = static_cast<guint>(GST_VIDEO_INFO_HEIGHT(&info));
    gsize offsets[GST_VIDEO_MAX_PLANES] = {0};
    gint strides[GST_VIDEO_MAX_PLANES] = {stride};
    gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_INFO_FORMAT(&info),
                                   static_cast<guint>(whole.width), static_cast<guint>(whole.height), 1, offsets,
                                   strides);
    GstVideoCropMeta& crop = *gst_buffer_add_video_crop_meta(buffer);
    crop.x = bytes.ConsumeIntegralInRange(0U, static_cast<guint>(whole.width) - width);
    crop.y = bytes.ConsumeIntegralInRange(0U, static_cast<guint>(whole.height) - height);
    crop.width = width;
    crop.height = height;
}

Frame drawFrame(Bytes& bytes, const GstVideoInfo& info, guint64 number)
{
    Frame frame;
    const bool isPart = bytes.ConsumeBool();
    cv::Size whole(GST_VIDEO_INFO_WIDTH(&info), GST_VIDEO_INFO_HEIGHT(&info));
    gint stride = GST_VIDEO_INFO_PLANE_STRIDE(&info, 0);
    if (isPart) {
        whole += cv::Size(bytes.ConsumeIntegralInRange(0, 5), bytes.ConsumeIntegralInRange(0, 5));
        stride = whole.width * GST_VIDEO_INFO_COMP_PSTRIDE(&info, 0) + bytes.ConsumeIntegralInRange(0, 9);
    }
    gsize size = std::max<gsize>(GST_VIDEO_INFO_SIZE(&info), static_cast<gsize>(stride * whole.height));
    if (oneIn(bytes, 16)) {
        size = bytes.ConsumeIntegralInRange<gsize>(0, size - 1);
        frame.isSound = false;
    }
    frame.buffer.reset(gst_buffer_new_allocate(nullptr, size, nullptr));
    gst_buffer_memset(frame.buffer.get(), 0, bytes.ConsumeIntegral<guint8>(), size);
    const std::string pixels = bytes.ConsumeRandomLengthString(64);
    gst_buffer_fill(frame.buffer.get(), size / 3, pixels.data(), pixels.size());
    if (isPart)
        addPlace(bytes, frame.buffer.get(), info, whole, stride);
    if (oneIn(bytes, 16)) { // a place that leads out, or that holds nothing
        GstVideoCropMeta& crop = *gst_buffer_add_video_crop_meta(frame.buffer.get());
        for (guint* const each : {&crop.x, &crop.y, &crop.width, &crop.height})
            *each = oneIn(bytes, 8) ? 4294967295U : bytes.ConsumeIntegralInRange(0U, 80U);
        frame.isSound = false;
    }
    GST_BUFFER_PTS(frame.buffer.get()) = number * 40 * GST_MSECOND;
    GST_BUFFER_DURATION(frame.buffer.get()) = 40 * GST_MSECOND;
    return frame;
}

std::vector<guint8> contentOf(GstBuffer* buffer)
{
    std::vector<guint8> content(gst_buffer_get_size(buffer));
    if (!content.empty())
        gst_buffer_extract(buffer, 0, content.data(), content.size());
    return content;
}

// ---- Elements

/// An element, with its errors.
class Subject
{
public:
    explicit Subject(const std::string& name) : mName(name), mBus(gst_bus_new())
    {
        mElement.reset(gst_element_factory_make(name.c_str(), nullptr));
        require(mElement != nullptr, "there is no element " + name);
        gst_object_ref_sink(mElement.get());
        gst_element_set_bus(mElement.get(), mBus.get());
    }
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;
    ~Subject()
    {
        gst_element_set_bus(mElement.get(), nullptr);
        gst_element_set_state(mElement.get(), GST_STATE_NULL);
        gst_bus_set_flushing(mBus.get(), TRUE); // messages hold the element
        GstElement* kept = mElement.get();
        g_object_add_weak_pointer(G_OBJECT(kept), reinterpret_cast<gpointer*>(&kept));
        mElement.reset();
        require(kept == nullptr, mName + " is not freed");
    }

    const std::string& name() const { return mName; }
    GstElement* element() const { return mElement.get(); }

    /// Whether an error has been told of since the last time.
    bool hasFailed()
    {
        bool result = false;
        while (const Owned<GstMessage> message{gst_bus_pop_filtered(mBus.get(), GST_MESSAGE_ERROR)})
            result = true;
        return result;
    }

private:
    std::string mName;
    Owned<GstBus> mBus;
    Owned<GstElement> mElement;
};

void checkFrame(const Subject& subject, GstHarness* harness, const GstVideoInfo& taken, GstBuffer* given)
{
    const Owned<GstCaps> caps(gst_pad_get_current_caps(harness->sinkpad));
    GstVideoInfo info;
    GstVideoFrame frame;
    require(caps && readCaps(info, caps.get()), subject.name() + " gives frames of no kind");
    require(gst_video_frame_map(&frame, &info, given, GST_MAP_READ) != FALSE,
            subject.name() + " gives a frame that is too small");
    gst_video_frame_unmap(&frame);
    require(GST_VIDEO_INFO_WIDTH(&info) == GST_VIDEO_INFO_WIDTH(&taken) &&
                GST_VIDEO_INFO_HEIGHT(&info) == GST_VIDEO_INFO_HEIGHT(&taken),
            subject.name() + " gives frames of another size");
}

/// Sends an event in. Of those that the harness pushes even one that is refused counts as taken.
bool send(GstHarness* harness, GstEvent* event)
{
    const Owned<GstPad> pad(gst_pad_get_peer(harness->srcpad));
    return gst_pad_send_event(pad.get(), event) != FALSE;
}

GstFlowReturn send(GstHarness* harness, Owned<GstBuffer> buffer)
{
    const Owned<GstPad> pad(gst_pad_get_peer(harness->srcpad));
    return gst_pad_chain(pad.get(), buffer.release());
}

/// Sends a frame through; false when the element has failed.
bool filterFrame(Subject& subject, GstHarness* harness, const GstVideoInfo& info, Frame frame)
{
    const Owned<GstBuffer> kept(gst_buffer_ref(frame.buffer.get()));
    const std::vector<guint8> before = contentOf(kept.get());
    const GstFlowReturn flow = send(harness, std::move(frame.buffer));
    require(contentOf(kept.get()) == before, subject.name() + " writes into a frame that others hold");
    require(!frame.isSound || flow == GST_FLOW_OK,
            subject.name() + " refuses a sound frame: " + gst_flow_get_name(flow));
    require((flow == GST_FLOW_OK) != subject.hasFailed(), subject.name() + " fails without saying so");
    while (const Owned<GstBuffer> given{gst_harness_try_pull(harness)})
        checkFrame(subject, harness, info, given.get());
    return flow == GST_FLOW_OK;
}

/// Begins a stream in which times are counted.
void beginSegment(GstHarness* harness)
{
    GstSegment segment;
    gst_segment_init(&segment, GST_FORMAT_TIME);
    send(harness, gst_event_new_segment(&segment));
}

/// Agrees on caps, and sends frames of them; false when the element has failed.
/// @param number  of the next frame
bool runOn(Bytes& bytes, Subject& subject, GstHarness* harness, guint64& number)
{
    const Owned<GstCaps> caps(drawCaps(bytes));
    const std::unique_ptr<gchar, decltype(&g_free)> text(gst_caps_to_string(caps.get()), g_free);
    const std::string said = std::string(" caps: ") + text.get();
    const bool isTaken = gst_pad_peer_query_accept_caps(harness->srcpad, caps.get()) != FALSE;
    const bool isAgreed = send(harness, gst_event_new_caps(caps.get()));
    require(isTaken || !isAgreed, subject.name() + " agrees on what it does not accept," + said);
    GstVideoInfo info;
    const bool isFormat = readCaps(info, caps.get());
    require(isFormat || !isAgreed, subject.name() + " agrees on what is no format," + said);
    if (!isAgreed) {
        const bool hasFailed = subject.hasFailed();
        require(!isTaken || !isFormat || hasFailed,
                subject.name() + " refuses what it accepts, and says nothing," + said);
        return false;
    }
    if (number == 0)
        beginSegment(harness);
    for (int count = bytes.ConsumeIntegralInRange(1, 3); count > 0; --count) {
        if (GST_VIDEO_INFO_SIZE(&info) > kMostBytes)
            return true;
        const guint before = gst_harness_buffers_received(harness);
        Frame frame = drawFrame(bytes, info, number++);
        const bool isSound = frame.isSound;
        if (!filterFrame(subject, harness, info, std::move(frame)))
            return false;
        require(!isSound || gst_harness_buffers_received(harness) == before + 1,
                subject.name() + " gives no frame for a sound one");
        if (oneIn(bytes, 4))
            setSome(bytes, G_OBJECT(subject.element()), false);
    }
    return true;
}

void runElement(Bytes& bytes)
{
    static const std::vector<std::string> kElements = {"velmorfilter", "velmorfilter", "velmorcolour", "velmormotion",
                                                       "velmorfaces"};
    Subject subject(oneOf(bytes, kElements));
    const bool mayFail = setSome(bytes, G_OBJECT(subject.element()), true);
    if (gst_element_set_state(subject.element(), GST_STATE_PAUSED) == GST_STATE_CHANGE_FAILURE) {
        require(mayFail && subject.hasFailed(), subject.name() + " does not start");
        return;
    }
    const Owned<GstHarness> harness(gst_harness_new_with_element(subject.element(), "sink", "src"));
    send(harness.get(), gst_event_new_stream_start("fuzz"));
    guint64 number = 0;
    while (bytes.remaining_bytes() > 0 && number < 8 && runOn(bytes, subject, harness.get(), number)) {
    }
}

} // namespace
} // namespace velmor::tests

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    gst_init(nullptr, nullptr);
    GError* error = nullptr;
    GstPlugin* const plugin = gst_plugin_load_file(VELMOR_FUZZ_PLUGIN, &error);
    velmor::tests::require(plugin != nullptr, error ? error->message : "");
    gst_object_unref(plugin);
    g_log_set_always_fatal(static_cast<GLogLevelFlags>(G_LOG_FATAL_MASK | G_LOG_LEVEL_CRITICAL));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    velmor::tests::Bytes bytes(data, size);
    velmor::tests::runElement(bytes);
    return 0;
}
