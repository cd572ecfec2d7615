#include "gstreamer/Frames.h"

#include <algorithm>
#include <iterator>

namespace velmor::gstreamer {
namespace {

/// What a meta may depend on and still be true of a result of the same size.
constexpr const char* kKept[] = {GST_META_TAG_VIDEO_STR, GST_META_TAG_VIDEO_SIZE_STR,
                                 GST_META_TAG_VIDEO_ORIENTATION_STR};

/// Whether a part of a picture lies within it. The numbers come from outside, and may be anything.
bool isWithin(const GstVideoCropMeta& part, guint width, guint height)
{
    return part.x <= width && part.width <= width - part.x && part.y <= height && part.height <= height - part.y;
}

/// Whether a buffer has the memory of all rows that its GstVideoMeta tells of, in one piece: no other is mapped.
bool holds(GstBuffer* buffer, const GstVideoMeta& meta)
{
    const gsize row = gsize{meta.width} * CV_ELEM_SIZE(formatOf(meta.format).type);
    if (meta.stride[0] <= 0 || static_cast<gsize>(meta.stride[0]) < row || meta.height == 0)
        return false;
    const gsize rows = static_cast<gsize>(meta.stride[0]) * (meta.height - 1) + row;
    guint first = 0, pieces = 0;
    gsize skipped = 0;
    return gst_buffer_find_memory(buffer, meta.offset[0], rows, &first, &pieces, &skipped) && pieces == 1;
}

/// How regions of interest move from a frame to a result.
struct Move
{
    cv::Point origin; ///< of the result, within the frame
    cv::Size size;    ///< of the result
    bool isUpsideDown;
};

/// A number from outside, small enough to be added to another one.
int limited(guint number)
{
    return static_cast<int>(std::min(number, 1U << 29));
}

gboolean moveRegion(GstBuffer*, GstMeta** meta, gpointer data)
{
    if ((*meta)->info->api != GST_VIDEO_REGION_OF_INTEREST_META_API_TYPE)
        return TRUE;
    const Move& move = *static_cast<const Move*>(data);
    auto& region = *reinterpret_cast<GstVideoRegionOfInterestMeta*>(*meta);
    const cv::Rect before(limited(region.x), limited(region.y), limited(region.w), limited(region.h));
    const cv::Rect seen = (before - move.origin) & cv::Rect({0, 0}, move.size);
    if (seen.empty()) {
        *meta = nullptr; // which takes it away
        return TRUE;
    }
    region.x = static_cast<guint>(seen.x);
    region.y = static_cast<guint>(move.isUpsideDown ? move.size.height - seen.y - seen.height : seen.y);
    region.w = static_cast<guint>(seen.width);
    region.h = static_cast<guint>(seen.height);
    return TRUE;
}

} // namespace

const std::vector<Format>& formats()
{
    static const std::vector<Format> kFormats = {
        {GST_VIDEO_FORMAT_GRAY8, CV_8UC1, false, false}, {GST_VIDEO_FORMAT_RGB, CV_8UC3, false, false},
        {GST_VIDEO_FORMAT_BGR, CV_8UC3, true, false},    {GST_VIDEO_FORMAT_RGBA, CV_8UC4, false, true},
        {GST_VIDEO_FORMAT_BGRA, CV_8UC4, true, true},    {GST_VIDEO_FORMAT_RGBx, CV_8UC4, false, false},
        {GST_VIDEO_FORMAT_BGRx, CV_8UC4, true, false},
    };
    return kFormats;
}

const std::vector<Format>& colourFormats()
{
    static const std::vector<Format> kColours(std::next(formats().begin()), formats().end()); // all but GRAY8
    return kColours;
}

Format formatOf(GstVideoFormat format)
{
    const auto found = std::find_if(formats().begin(), formats().end(),
                                    [format](const Format& each) { return each.format == format; });
    return found == formats().end() ? Format() : *found;
}

GstCaps* capsOf(const std::vector<Format>& formats)
{
    std::vector<const char*> words;
    for (const Format& each : formats)
        words.push_back(gst_video_format_to_string(each.format));
    GstCaps* const result =
        gst_caps_new_simple("video/x-raw", "width", GST_TYPE_INT_RANGE, 1, G_MAXINT, "height", GST_TYPE_INT_RANGE, 1,
                            G_MAXINT, "framerate", GST_TYPE_FRACTION_RANGE, 0, 1, G_MAXINT, 1, nullptr);
    setFormats(*gst_caps_get_structure(result, 0), words);
    return result;
}

void setFormats(GstStructure& structure, const std::vector<const char*>& words)
{
    GValue list = G_VALUE_INIT;
    gst_value_list_init(&list, static_cast<guint>(words.size()));
    for (const char* const each : words) {
        GValue word = G_VALUE_INIT;
        g_value_init(&word, G_TYPE_STRING);
        g_value_set_static_string(&word, each);
        gst_value_list_append_and_take_value(&list, &word);
    }
    gst_structure_set_value(&structure, "format", words.size() == 1 ? gst_value_list_get_value(&list, 0) : &list);
    g_value_unset(&list);
}

bool isAsTheCaps(const GstVideoInfo& info, GstBuffer* buffer)
{
    const auto width = static_cast<guint>(GST_VIDEO_INFO_WIDTH(&info));
    const auto height = static_cast<guint>(GST_VIDEO_INFO_HEIGHT(&info));
    const GstVideoMeta* const meta = gst_buffer_get_video_meta(buffer);
    const GstVideoCropMeta* const crop = gst_buffer_get_video_crop_meta(buffer);
    if (meta ? meta->format != GST_VIDEO_INFO_FORMAT(&info) || meta->width < width || meta->height < height ||
                   !holds(buffer, *meta)
             : gst_buffer_get_size(buffer) < GST_VIDEO_INFO_SIZE(&info))
        return false;
    return !crop || (crop->width == width && crop->height == height &&
                     isWithin(*crop, meta ? meta->width : width, meta ? meta->height : height));
}

MappedFrame::MappedFrame(const GstVideoInfo& info, GstBuffer* buffer, GstMapFlags flags)
    : mSize(GST_VIDEO_INFO_WIDTH(&info), GST_VIDEO_INFO_HEIGHT(&info)),
      mIsMapped(isAsTheCaps(info, buffer) &&
                gst_video_frame_map(&mFrame, &info, buffer,
                                    static_cast<GstMapFlags>(+flags | +GST_VIDEO_FRAME_MAP_FLAG_NO_REF)))
{
}

MappedFrame::~MappedFrame()
{
    if (mIsMapped)
        gst_video_frame_unmap(&mFrame);
}

cv::Point originOf(GstBuffer* buffer)
{
    const GstVideoCropMeta* const crop = gst_buffer_get_video_crop_meta(buffer);
    return crop ? cv::Point(static_cast<int>(crop->x), static_cast<int>(crop->y)) : cv::Point();
}

cv::Mat MappedFrame::picture()
{
    return pictureOf(mFrame, mSize);
}

cv::Mat pictureOf(const GstVideoFrame& frame, const cv::Size& size)
{
    const cv::Mat whole(GST_VIDEO_FRAME_HEIGHT(&frame), GST_VIDEO_FRAME_WIDTH(&frame),
                        formatOf(GST_VIDEO_FRAME_FORMAT(&frame)).type, GST_VIDEO_FRAME_PLANE_DATA(&frame, 0),
                        static_cast<std::size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0)));
    return whole(cv::Rect(originOf(frame.buffer), size)); // a GstVideoMeta may have rows and columns beyond it
}

void acceptPaddingAndCrops(GstQuery* query)
{
    for (const GType each : {GST_VIDEO_META_API_TYPE, GST_VIDEO_CROP_META_API_TYPE})
        if (!gst_query_find_allocation_meta(query, each, nullptr))
            gst_query_add_allocation_meta(query, each, nullptr);
}

void alignToCache(GstQuery* query)
{
    GstAllocator* allocator = nullptr;
    GstAllocationParams how;
    gst_allocation_params_init(&how);
    if (gst_query_get_n_allocation_params(query) == 0)
        gst_query_add_allocation_param(query, nullptr, &how);
    gst_query_parse_nth_allocation_param(query, 0, &allocator, &how);
    how.align |= 63;
    gst_query_set_nth_allocation_param(query, 0, allocator, &how);
    if (allocator)
        gst_object_unref(allocator);
}

bool isKept(const GstMeta& meta)
{
    if (meta.info->api == GST_VIDEO_CROP_META_API_TYPE)
        return false;
    const gchar* const* tags = gst_meta_api_type_get_tags(meta.info->api);
    for (; tags && *tags; ++tags)
        if (!std::any_of(std::begin(kKept), std::end(kKept),
                         [tags](const char* each) { return g_str_equal(each, *tags); }))
            return false;
    return true;
}

void moveRegions(GstBuffer* result, GstBuffer* source, const cv::Size& size, bool isUpsideDown)
{
    if (!gst_buffer_get_video_crop_meta(source) && !isUpsideDown)
        return;
    Move move = {originOf(source), size, isUpsideDown};
    gst_buffer_foreach_meta(result, moveRegion, &move);
}

GstBuffer* cutOut(GstBaseTransform* base, const GstVideoInfo& info, GstBuffer* frame)
{
    MappedFrame source(info, frame, GST_MAP_READ);
    if (!source)
        return nullptr;
    GstBuffer* const result = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
    source.picture().copyTo(MappedFrame(info, result, GST_MAP_WRITE).picture());
    GST_BASE_TRANSFORM_GET_CLASS(base)->copy_metadata(base, frame, result);
    moveRegions(result, frame, source.picture().size());
    return result;
}

} // namespace velmor::gstreamer
