#include "gstreamer/Regions.h"

#include "gstreamer/Frames.h"

#include <gst/video/video.h>

namespace velmor::gstreamer {
namespace {

GValue valueOf(const Region& region)
{
    GValue value = G_VALUE_INIT;
    g_value_init(&value, GST_TYPE_STRUCTURE);
    g_value_set_boxed(&value, region.numbers.get());
    return value;
}

} // namespace

Region::Region(const char* type, const cv::Rect& place)
    : box(place), numbers(gst_structure_new(type, "left", G_TYPE_INT, box.x, "top", G_TYPE_INT, box.y, "width",
                                            G_TYPE_INT, box.width, "height", G_TYPE_INT, box.height, nullptr))
{
}

void attach(const std::vector<Region>& regions, GstBuffer* buffer)
{
    const cv::Point origin = originOf(buffer);
    for (const Region& region : regions) {
        const cv::Rect place = region.box + origin;
        GstVideoRegionOfInterestMeta* const meta = gst_buffer_add_video_region_of_interest_meta(
            buffer, gst_structure_get_name(region.numbers.get()), static_cast<guint>(place.x),
            static_cast<guint>(place.y), static_cast<guint>(place.width), static_cast<guint>(place.height));
        gst_video_region_of_interest_meta_add_param(meta, gst_structure_copy(region.numbers.get()));
    }
}

void addTo(GstStructure* structure, const char* list, const Findings& findings)
{
    GValue all = G_VALUE_INIT;
    gst_value_list_init(&all, static_cast<guint>(findings.regions.size()));
    for (const Region& region : findings.regions) {
        GValue value = valueOf(region);
        gst_value_list_append_and_take_value(&all, &value);
    }
    gst_structure_set(structure, "count", G_TYPE_UINT, findings.count, nullptr);
    gst_structure_take_value(structure, list, &all);
}

void give(const std::vector<Region>& regions, GValue& value)
{
    for (const Region& region : regions) {
        GValue each = valueOf(region);
        gst_value_array_append_and_take_value(&value, &each);
    }
}

void declareRegions(GObjectClass* type, guint id, const char* name, const char* blurb)
{
    const auto readOnly = static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);
    GParamSpec* const each =
        g_param_spec_boxed("region", "region", "the numbers of a region", GST_TYPE_STRUCTURE, readOnly);
    g_object_class_install_property(type, id, gst_param_spec_array(name, name, blurb, each, readOnly));
}

} // namespace velmor::gstreamer
