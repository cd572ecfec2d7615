#include "gstreamer/Filter.h"

#include "gstreamer/FilterCaps.h"
#include "gstreamer/FilterChanges.h"
#include "gstreamer/FilterNumbers.h"
#include "gstreamer/FilterRun.h"
#include "gstreamer/FilterSettings.h"
#include "gstreamer/Frames.h"
#include "gstreamer/Messages.h"
#include "gstreamer/SpareBuffers.h"

#include <gst/video/gstvideofilter.h>

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace velmor::gstreamer {
namespace {

enum Property : guint
{
    OPERATOR = 1,
    MODELS,
    SCALE,
    OFFSET,
    POST_MESSAGES,
    COUNT,
    HISTOGRAM,
    FIRST_PARAMETER
};

struct State
{
    FilterSettings settings;
    FilterNumbers numbers;
    std::atomic<bool> postsMessages = true;

    std::mutex loading; ///< held while files are read, by whoever sets their names or starts the element
    FilterChanges changes{settings};

    // Of the streaming thread.
    SpareBuffers spares;         ///< for results of frames that may not be written
    GstBuffer* source = nullptr; ///< such a frame, while its result is made
    bool takesCrops = false;     ///< whether frames have crops because the element said that it takes them
};

struct VelmorFilter
{
    GstVideoFilter base;
    State* state;
};

struct VelmorFilterClass
{
    GstVideoFilterClass base;
};

G_DEFINE_TYPE(VelmorFilter, velmor_filter, GST_TYPE_VIDEO_FILTER)

State& stateOf(gpointer object)
{
    return *reinterpret_cast<VelmorFilter*>(object)->state;
}

GstBaseTransformClass& baseClass()
{
    return *GST_BASE_TRANSFORM_CLASS(velmor_filter_parent_class);
}

// ---- Properties

void setModels(VelmorFilter* self, const std::vector<std::string>& files)
{
    State& state = *self->state;
    try {
        const std::lock_guard loading(state.loading);
        state.settings.setModels(files, state.changes.isStarted() ? loadModels(files) : Models());
    } catch (const FileError& error) {
        error.warn(GST_ELEMENT(self)); // and the former models stay
    }
}

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec*)
{
    State& state = stateOf(object);
    switch (id) {
    case OPERATOR:
        return state.settings.setOperator(g_value_get_enum(value));
    case MODELS:
        return setModels(reinterpret_cast<VelmorFilter*>(object), fileNamesIn(*value));
    case SCALE:
        return state.settings.setScale(g_value_get_double(value));
    case OFFSET:
        return state.settings.setOffset(g_value_get_double(value));
    case POST_MESSAGES:
        state.postsMessages = g_value_get_boolean(value) != FALSE;
        return;
    default:
        state.settings.parameters.set(id - FIRST_PARAMETER, *value);
    }
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec*)
{
    const State& state = stateOf(object);
    switch (id) {
    case OPERATOR:
        return g_value_set_enum(value, state.settings.operatorIndex());
    case MODELS:
        return giveFileNames(state.settings.modelFiles(), *value);
    case SCALE:
        return g_value_set_double(value, state.settings.toBytes().scale);
    case OFFSET:
        return g_value_set_double(value, state.settings.toBytes().offset);
    case POST_MESSAGES:
        return g_value_set_boolean(value, state.postsMessages);
    case COUNT:
        return g_value_set_uint64(value, state.numbers.count());
    case HISTOGRAM:
        return state.numbers.giveHistogram(*value);
    default:
        state.settings.parameters.get(id - FIRST_PARAMETER, *value);
    }
}

// ---- What is done to frames

/// Whether frames go on to who comes next, with their crops.
bool handsFramesOn(const FilterChoice& choice)
{
    return givesNumbers(choice) || FilterRun::isInPlace(choice);
}

/// Follows controllers and the choice of the operator. Afterwards the base class asks for the caps that go with it.
void beforeTransform(GstBaseTransform* base, GstBuffer* frame)
{
    followControllers(base, base->segment, frame);
    if (gst_pad_has_current_caps(base->sinkpad))
        stateOf(base).changes.followChoice(base);
}

GstFlowReturn refuseFrame(GstBaseTransform* base, const char* why)
{
    GST_ELEMENT_ERROR(base, STREAM, FAILED, ("A frame cannot be filtered: %s", why), (nullptr));
    return GST_FLOW_ERROR;
}

GstFlowReturn transform(GstBaseTransform* base, GstBuffer* from, GstBuffer* to)
{
    State& state = stateOf(base);
    const GstVideoInfo& in = GST_VIDEO_FILTER(base)->in_info;
    const GstVideoInfo& out = GST_VIDEO_FILTER(base)->out_info;
    state.changes.followSettings(base);
    MappedFrame source(in, from, GST_MAP_READ);
    MappedFrame result(out, to, GST_MAP_WRITE);
    if (!source || !result)
        return refuseFrame(base, kNotAsTheCaps);
    try {
        state.changes.run().run(source.picture(), formatOf(GST_VIDEO_INFO_FORMAT(&in)), result.picture(),
                                formatOf(GST_VIDEO_INFO_FORMAT(&out)), state.settings.toBytes());
    } catch (const std::exception& error) {
        return refuseFrame(base, error.what());
    }
    moveRegions(to, from, result.picture().size(), state.changes.active().what->name == "FlipV");
    return GST_FLOW_OK;
}

GstFlowReturn findNumbers(GstBaseTransform* base, GstBuffer* frame)
{
    State& state = stateOf(base);
    const FilterChoice& choice = state.changes.active();
    const GstVideoInfo& info = GST_VIDEO_FILTER(base)->in_info;
    MappedFrame mapped(info, frame, GST_MAP_READ);
    if (!mapped)
        return refuseFrame(base, kNotAsTheCaps);
    try {
        state.numbers.find(choice, state.settings.snapshotOf(choice).values, mapped.picture(),
                           formatOf(GST_VIDEO_INFO_FORMAT(&info)));
    } catch (const std::exception& error) {
        return refuseFrame(base, error.what());
    }
    if (state.postsMessages) {
        GstStructure* const message = describe("velmorfilter", base->segment, frame);
        state.numbers.describe(choice, message);
        post(GST_ELEMENT(base), message);
    }
    return GST_FLOW_OK;
}

GstFlowReturn transformInPlace(GstBaseTransform* base, GstBuffer* frame)
{
    State& state = stateOf(base);
    if (givesNumbers(state.changes.active()))
        return findNumbers(base, frame);
    if (GstBuffer* const source = std::exchange(state.source, nullptr))
        return transform(base, source, frame);
    state.changes.followSettings(base);
    const GstVideoInfo& info = GST_VIDEO_FILTER(base)->in_info;
    MappedFrame mapped(info, frame, GST_MAP_READWRITE);
    if (!mapped)
        return refuseFrame(base, kNotAsTheCaps);
    const Format format = formatOf(GST_VIDEO_INFO_FORMAT(&info));
    try {
        state.changes.run().run(mapped.picture(), format, mapped.picture(), format, state.settings.toBytes());
    } catch (const std::exception& error) {
        return refuseFrame(base, error.what());
    }
    return GST_FLOW_OK;
}

/// GStreamer copies a frame that may not be written before it is filtered in place. Here the result goes to another
/// buffer at once. A frame that goes on does so without its crop where only a former operator took crops.
GstFlowReturn prepareOutput(GstBaseTransform* base, GstBuffer* frame, GstBuffer** result)
{
    State& state = stateOf(base);
    state.source = nullptr;
    if (state.takesCrops && handsFramesOn(state.changes.active()) && gst_buffer_get_video_crop_meta(frame)) {
        *result = cutOut(base, GST_VIDEO_FILTER(base)->in_info, frame);
        return *result ? GST_FLOW_OK : refuseFrame(base, kNotAsTheCaps);
    }
    const bool isWritable = gst_buffer_is_writable(frame) && gst_buffer_is_all_memory_writable(frame);
    if (isWritable || !FilterRun::isInPlace(state.changes.active()))
        return baseClass().prepare_output_buffer(base, frame, result);
    const GstFlowReturn flow = state.spares.take(result);
    if (flow != GST_FLOW_OK)
        return flow;
    GST_BASE_TRANSFORM_GET_CLASS(base)->copy_metadata(base, frame, *result);
    state.source = frame;
    return GST_FLOW_OK;
}

// ---- Start and caps

gboolean start(GstBaseTransform* base)
{
    State& state = stateOf(base);
    try {
        const std::lock_guard loading(state.loading);
        const std::vector<std::string> files = state.settings.modelFiles();
        state.settings.setModels(files, loadModels(files));
        state.changes.start();
        return TRUE;
    } catch (const FileError& error) {
        error.post(GST_ELEMENT(base));
        return FALSE;
    } catch (const std::invalid_argument& error) {
        GST_ELEMENT_ERROR(base, RESOURCE, SETTINGS, ("%s", error.what()), (nullptr));
        return FALSE;
    }
}

gboolean stop(GstBaseTransform* base)
{
    State& state = stateOf(base);
    state.changes.stop();
    state.spares.clear();
    return TRUE;
}

GstCaps* transformCapsOf(GstBaseTransform* base, GstPadDirection direction, GstCaps* caps, GstCaps* filter)
{
    GstCaps* const result = transformCaps(stateOf(base).changes.choiceFor(base, direction, caps), direction, caps);
    if (!filter)
        return result;
    GstCaps* const filtered = gst_caps_intersect_full(filter, result, GST_CAPS_INTERSECT_FIRST);
    gst_caps_unref(result);
    return filtered;
}

GstCaps* fixateCaps(GstBaseTransform* base, GstPadDirection direction, GstCaps* caps, GstCaps* others)
{
    if (direction == GST_PAD_SINK)
        return fixateNearest(stateOf(base).changes.choiceFor(base, direction, caps), caps, others);
    return gst_caps_fixate(others);
}

/// Answers queries. The base class tells of caps in several steps, while the streaming thread may come to want another
/// operator, or two and then the first one again: what it says of two at once is true of neither, so it says it again.
gboolean answer(GstBaseTransform* base, GstPadDirection direction, GstQuery* query)
{
    const FilterChanges& changes = stateOf(base).changes;
    for (;;) {
        const std::uint64_t before = changes.wishes();
        const gboolean result = baseClass().query(base, direction, query);
        if (GST_QUERY_TYPE(query) != GST_QUERY_CAPS || changes.wishes() == before)
            return result;
    }
}

/// Reads caps, or says why there are no frames of them: who is asked for caps compares words, and no sizes in bytes.
bool readOrRefuse(GstBaseTransform* base, GstVideoInfo& info, const GstCaps* caps)
{
    if (readCaps(info, caps))
        return true;
    gchar* const words = gst_caps_to_string(caps);
    GST_ELEMENT_ERROR(base, STREAM, FORMAT,
                      ("GStreamer has no frames of %s: they are too large, or the caps contradict themselves", words),
                      (nullptr));
    g_free(words);
    return false;
}

gboolean setCaps(GstBaseTransform* base, GstCaps* in, GstCaps* out)
{
    GstVideoFilter& filter = *GST_VIDEO_FILTER(base);
    State& state = stateOf(base);
    filter.negotiated = state.changes.settle(base, in, out) && readOrRefuse(base, filter.in_info, in) &&
                        readOrRefuse(base, filter.out_info, out);
    state.spares.set(out, filter.out_info);
    return filter.negotiated;
}

gboolean decideAllocation(GstBaseTransform* base, GstQuery* query)
{
    alignToCache(query);
    return baseClass().decide_allocation(base, query);
}

gboolean proposeAllocation(GstBaseTransform* base, GstQuery* decided, GstQuery* query)
{
    State& state = stateOf(base);
    state.takesCrops = decided && !takesMosaic(state.changes.active());
    // GStreamer's class has no pools for mosaics; they are in no GstVideoMeta either.
    if (decided && !state.takesCrops)
        return TRUE;
    if (decided)
        alignToCache(query);
    if (!baseClass().propose_allocation(base, decided, query))
        return FALSE;
    if (decided) // otherwise the frames go on, and those downstream have answered
        acceptPaddingAndCrops(query);
    return TRUE;
}

gboolean transformMeta(GstBaseTransform*, GstBuffer*, GstMeta* meta, GstBuffer*)
{
    return isKept(*meta);
}

// ---- The class

void finalize(GObject* object)
{
    delete reinterpret_cast<VelmorFilter*>(object)->state;
    G_OBJECT_CLASS(velmor_filter_parent_class)->finalize(object);
}

void declareProperties(GObjectClass* type)
{
    declareOperator(type, OPERATOR, operatorsOfFilter());
    declareModels(type, MODELS);
    declareLevels(type, SCALE, "results that are no bytes");
    g_object_class_install_property(
        type, POST_MESSAGES,
        g_param_spec_boolean("post-messages", "post-messages",
                             "whether counts and histograms are sent as messages, one for each frame", TRUE,
                             anyTime()));
    g_object_class_install_property(type, COUNT,
                                    g_param_spec_uint64("count", "count",
                                                        "pixels set in the last mask that was counted", 0, G_MAXUINT64,
                                                        0, G_PARAM_READABLE));
    GParamSpec* const share = g_param_spec_double(
        "share", "share", "share of the pixels that have the colour of a cell", 0, 1, 0, G_PARAM_READABLE);
    g_object_class_install_property(
        type, HISTOGRAM,
        gst_param_spec_array("histogram", "histogram",
                             "shares of the colours in the last frame, red running fastest and blue slowest", share,
                             G_PARAM_READABLE));
    declareParameters(type, FIRST_PARAMETER, parametersOfFilter());
}

void declarePads(GstElementClass* type)
{
    GstCaps* const raw = capsOf(formats());
    gst_element_class_add_pad_template(type, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, raw));
    GstCaps* const taken = gst_caps_merge(
        raw, gst_caps_new_simple("video/x-bayer", "format", G_TYPE_STRING, "rggb", "width", GST_TYPE_INT_RANGE, 1,
                                 G_MAXINT, "height", GST_TYPE_INT_RANGE, 1, G_MAXINT, "framerate",
                                 GST_TYPE_FRACTION_RANGE, 0, 1, G_MAXINT, 1, nullptr));
    gst_element_class_add_pad_template(type, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, taken));
    gst_caps_unref(taken);
}

void velmor_filter_class_init(VelmorFilterClass* type)
{
    GObjectClass* const object = G_OBJECT_CLASS(type);
    object->set_property = setProperty;
    object->get_property = getProperty;
    object->finalize = finalize;
    declareProperties(object);

    GstElementClass* const element = GST_ELEMENT_CLASS(type);
    gst_element_class_set_static_metadata(
        element, "Image operator", "Filter/Effect/Video",
        "Filters each frame by an operator of one source; where it treats channels alike, alpha is one of them",
        "velmor maintainers");
    declarePads(element);

    GstBaseTransformClass* const base = GST_BASE_TRANSFORM_CLASS(type);
    base->start = start;
    base->stop = stop;
    base->transform_caps = transformCapsOf;
    base->fixate_caps = fixateCaps;
    base->query = answer;
    base->set_caps = setCaps;
    base->decide_allocation = decideAllocation;
    base->propose_allocation = proposeAllocation;
    base->transform_meta = transformMeta;
    base->before_transform = beforeTransform;
    base->prepare_output_buffer = prepareOutput;
    base->transform = transform;
    base->transform_ip = transformInPlace;
    base->transform_ip_on_passthrough = TRUE; // numbers are found in frames that pass as they are
}

void velmor_filter_init(VelmorFilter* self)
{
    self->state = new State;
}

} // namespace

gboolean registerFilter(GstPlugin* plugin)
{
    return gst_element_register(plugin, "velmorfilter", GST_RANK_NONE, velmor_filter_get_type());
}

} // namespace velmor::gstreamer
