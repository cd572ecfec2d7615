#include "gstreamer/FilterCaps.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace velmor::gstreamer {
namespace {

using catalogue::Data;

constexpr const char* kRaw = "video/x-raw";
constexpr const char* kMosaic = "video/x-bayer";

std::vector<Format> formatsOf(const std::vector<GstVideoFormat>& names)
{
    std::vector<Format> result;
    for (const GstVideoFormat each : names)
        result.push_back(formatOf(each));
    return result;
}

/// Whether a field of a structure of caps can be a word, or is not there.
bool allows(const GstStructure& structure, const char* field, const char* word)
{
    const GValue* const held = gst_structure_get_value(&structure, field);
    GValue wanted = G_VALUE_INIT;
    g_value_init(&wanted, G_TYPE_STRING);
    g_value_set_static_string(&wanted, word);
    const bool result = !held || gst_value_intersect(nullptr, held, &wanted);
    g_value_unset(&wanted);
    return result;
}

/// How a pad names a format of frames.
const char* wordFor(const Format& format, const char* media)
{
    return media == kMosaic ? "rggb" : gst_video_format_to_string(format.format);
}

/// Whether a structure of caps allows whole frames. Fields that come one by one have caps features, which no pad has.
bool allowsFrames(const GstStructure& structure)
{
    const char* const mode = gst_structure_get_string(&structure, "interlace-mode");
    return !mode || std::string_view(mode) != "alternate";
}

/// Those of some formats that a structure of caps allows.
std::vector<Format> allowedOf(const std::vector<Format>& formats, const GstStructure& structure, const char* media)
{
    std::vector<Format> result;
    if (gst_structure_has_name(&structure, media) && allowsFrames(structure))
        std::copy_if(formats.begin(), formats.end(), std::back_inserter(result),
                     [&](const Format& each) { return allows(structure, "format", wordFor(each, media)); });
    return result;
}

void addOnce(std::vector<Format>& formats, const std::vector<Format>& added)
{
    for (const Format& each : added)
        if (std::none_of(formats.begin(), formats.end(),
                         [&each](const Format& known) { return known.format == each.format; }))
            formats.push_back(each);
}

/// A structure like another one, in some formats.
GstStructure* inFormats(const GstStructure& structure, const std::vector<Format>& formats, const char* media)
{
    GstStructure* const result = gst_structure_copy(&structure);
    gst_structure_set_name(result, media);
    std::vector<const char*> words;
    for (const Format& each : formats)
        words.push_back(wordFor(each, media));
    setFormats(*result, words);
    return result;
}

/// The formats on the other side of a structure of caps.
std::vector<Format> formatsBeside(const FilterChoice& choice, GstPadDirection direction, const GstStructure& structure)
{
    std::vector<Format> result;
    if (direction == GST_PAD_SINK) {
        for (const Format& each : allowedOf(formatsTaken(choice), structure, takesMosaic(choice) ? kMosaic : kRaw))
            addOnce(result, formatsGiven(choice, each));
        return result;
    }
    for (const Format& each : formatsTaken(choice))
        if (!allowedOf(formatsGiven(choice, each), structure, kRaw).empty())
            addOnce(result, {each});
    return result;
}

} // namespace

bool takesMosaic(const FilterChoice& choice)
{
    return choice.what->takes == Data::MOSAIC;
}

bool givesNumbers(const FilterChoice& choice)
{
    return choice.what->gives == Data::COUNTS || choice.what->gives == Data::HISTOGRAM;
}

bool givesFloats(const FilterChoice& choice)
{
    return choice.what->gives == Data::GRADIENTS || choice.what->takes == Data::DIRECTIONS ||
           choice.what->name == "Laplacian";
}

bool keepsFormat(const FilterChoice& choice)
{
    return choice.what->gives == Data::PICTURE || choice.keepsColours || givesNumbers(choice);
}

bool takesColour(const FilterChoice& choice)
{
    return choice.what->takes == Data::COLOUR || choice.what->takes == Data::DIRECTIONS;
}

std::vector<Format> formatsTaken(const FilterChoice& choice)
{
    switch (choice.what->takes) {
    case Data::GREY:
    case Data::MASK:
    case Data::MOSAIC:
        return formatsOf({GST_VIDEO_FORMAT_GRAY8});
    case Data::COLOUR:
    case Data::DIRECTIONS:
        return colourFormats();
    default:
        return formats();
    }
}

std::vector<Format> formatsGiven(const FilterChoice& choice, const Format& source)
{
    if (keepsFormat(choice))
        return {source};
    switch (choice.what->gives) {
    case Data::COLOUR:
    case Data::GRADIENTS:
        return source.isBlueFirst ? formatsOf({GST_VIDEO_FORMAT_BGR, GST_VIDEO_FORMAT_RGB})
                                  : formatsOf({GST_VIDEO_FORMAT_RGB, GST_VIDEO_FORMAT_BGR});
    default:
        return formatsOf({GST_VIDEO_FORMAT_GRAY8});
    }
}

GstCaps* transformCaps(const FilterChoice& choice, GstPadDirection direction, const GstCaps* caps)
{
    const char* const media = direction == GST_PAD_SRC && takesMosaic(choice) ? kMosaic : kRaw;
    GstCaps* result = gst_caps_new_empty();
    for (guint i = 0; i < gst_caps_get_size(caps); ++i) {
        const GstStructure& structure = *gst_caps_get_structure(caps, i);
        const std::vector<Format> formats = formatsBeside(choice, direction, structure);
        if (formats.empty())
            continue;
        GstStructure* const beside = inFormats(structure, formats, media);
        if (!keepsFormat(choice)) // what they say holds of the former format
            gst_structure_remove_fields(beside, "colorimetry", "chroma-site", nullptr);
        result = gst_caps_merge_structure_full(result, beside, gst_caps_features_copy(gst_caps_get_features(caps, i)));
    }
    return result;
}

GstCaps* fixateNearest(const FilterChoice& choice, const GstCaps* source, GstCaps* others)
{
    const std::vector<Format> sources =
        allowedOf(formatsTaken(choice), *gst_caps_get_structure(source, 0), takesMosaic(choice) ? kMosaic : kRaw);
    if (sources.empty())
        return gst_caps_fixate(others);
    for (const Format& each : formatsGiven(choice, sources.front())) {
        GstCaps* const wanted = gst_caps_new_simple(kRaw, "format", G_TYPE_STRING, wordFor(each, kRaw), nullptr);
        GstCaps* const possible = gst_caps_intersect_full(others, wanted, GST_CAPS_INTERSECT_FIRST);
        gst_caps_unref(wanted);
        if (!gst_caps_is_empty(possible)) {
            gst_caps_unref(others);
            return gst_caps_fixate(possible);
        }
        gst_caps_unref(possible);
    }
    return gst_caps_fixate(others);
}

bool readCaps(GstVideoInfo& info, const GstCaps* caps)
{
    const GstStructure& structure = *gst_caps_get_structure(caps, 0);
    if (!gst_structure_has_name(&structure, kMosaic))
        return gst_video_info_from_caps(&info, caps);
    GstCaps* const raw = gst_caps_new_empty();
    gst_caps_append_structure(raw, inFormats(structure, {formatOf(GST_VIDEO_FORMAT_GRAY8)}, kRaw));
    const bool result = gst_video_info_from_caps(&info, raw);
    gst_caps_unref(raw);
    return result;
}

bool comesNow(GstBaseTransform* base, const GstCaps* caps)
{
    GstCaps* const now = gst_pad_get_current_caps(base->sinkpad);
    const bool result = now && gst_caps_is_equal(now, caps);
    if (now)
        gst_caps_unref(now);
    return result;
}

bool takes(const FilterChoice& choice, const GstCaps* caps)
{
    GstCaps* const given = transformCaps(choice, GST_PAD_SINK, caps);
    const bool result = !gst_caps_is_empty(given);
    gst_caps_unref(given);
    return result;
}

bool leads(const FilterChoice& choice, const GstCaps* from, const GstCaps* to)
{
    GstCaps* const given = transformCaps(choice, GST_PAD_SINK, from);
    const bool result = gst_caps_can_intersect(given, to);
    gst_caps_unref(given);
    return result;
}

bool fits(const FilterChoice& choice, GstBaseTransform* base, const GstCaps* caps)
{
    GstCaps* const given = transformCaps(choice, GST_PAD_SINK, caps);
    GstCaps* const accepted = gst_pad_peer_query_caps(base->srcpad, given);
    const bool result = !gst_caps_is_empty(accepted);
    gst_caps_unref(accepted);
    gst_caps_unref(given);
    return result;
}

bool fitsNow(const FilterChoice& choice, GstBaseTransform* base)
{
    GstCaps* const now = gst_pad_get_current_caps(base->sinkpad);
    const bool result = now && fits(choice, base, now);
    if (now)
        gst_caps_unref(now);
    return result;
}

bool couldFit(const FilterChoice& choice, GstBaseTransform* base)
{
    GstCaps* const templates = gst_pad_get_pad_template_caps(base->srcpad);
    GstCaps* const given = gst_pad_peer_query_caps(base->srcpad, templates);
    GstCaps* const taken = transformCaps(choice, GST_PAD_SRC, given);
    GstCaps* const possible = gst_pad_peer_query_caps(base->sinkpad, taken);
    const bool result = !gst_caps_is_empty(possible);
    for (GstCaps* const each : {possible, taken, given, templates})
        gst_caps_unref(each);
    return result;
}

} // namespace velmor::gstreamer
