#include "gstreamer/Mix.h"

#include "catalogue/NativeFilters.h"
#include "gstreamer/Frames.h"
#include "gstreamer/Parameters.h"

#include <gst/video/gstvideoaggregator.h>
#include <opencv2/imgproc.hpp>

#include <atomic>
#include <exception>
#include <string>

namespace velmor::gstreamer {
namespace {

/// The operators that the element offers: their results are pictures of the sources' kind. They treat channels alike,
/// so that the order of colours does not matter, and have no parameters.
const std::vector<catalogue::Operator>& offered()
{
    static const std::vector<catalogue::Operator> kOperators = [] {
        std::vector<catalogue::Operator> result;
        for (const catalogue::Operator& each : catalogue::operators())
            if (each.sources == 2 && each.gives == catalogue::Data::PICTURE && catalogue::hasNative(each))
                result.push_back(each);
        return result;
    }();
    return kOperators;
}

enum Property : guint
{
    OPERATOR = 1
};

struct State
{
    std::atomic<int> what = 0; // the rest is the streaming thread's

    int made = -1; // what the filter does
    std::unique_ptr<native::Filter> filter;
    bool haveAgreed = false; // whether the sources had one format and one size before
    gint framesLeftOut = 0;  // since they differ
    cv::Mat scratch[3];      // sources and result without the byte that says nothing
};

struct VelmorMix
{
    GstVideoAggregator base;
    State* state;
};

struct VelmorMixClass
{
    GstVideoAggregatorClass base;
};

G_DEFINE_TYPE(VelmorMix, velmor_mix, GST_TYPE_VIDEO_AGGREGATOR)

GstAggregatorClass* parentAggregator()
{
    return GST_AGGREGATOR_CLASS(velmor_mix_parent_class);
}

State& stateOf(gpointer object)
{
    return *reinterpret_cast<VelmorMix*>(object)->state;
}

/// A reference to a pad, which may be null.
struct PadUnref
{
    void operator()(GstVideoAggregatorPad* pad) const { gst_object_unref(pad); }
};
using Source = std::unique_ptr<GstVideoAggregatorPad, PadUnref>;

/// The pad of the first source or of the second one, null where it is not there. The element's list of pads is no
/// guide: who asks for sink_1 first finds it first there, and a property of the pads sorts them.
Source sourceOf(gpointer self, const char* name)
{
    GstPad* const pad = gst_element_get_static_pad(GST_ELEMENT(self), name);
    return Source(pad ? GST_VIDEO_AGGREGATOR_PAD(pad) : nullptr);
}

Source otherSource(gpointer self, GstAggregatorPad* pad)
{
    return sourceOf(self, g_str_equal(GST_OBJECT_NAME(pad), "sink_0") ? "sink_1" : "sink_0");
}

bool isKnown(const GstVideoInfo& info)
{
    return info.finfo && GST_VIDEO_INFO_FORMAT(&info) != GST_VIDEO_FORMAT_UNKNOWN;
}

bool isAlike(const GstVideoInfo& a, const GstVideoInfo& b)
{
    return GST_VIDEO_INFO_FORMAT(&a) == GST_VIDEO_INFO_FORMAT(&b) && a.width == b.width && a.height == b.height;
}

std::string textOf(const GstVideoInfo& info)
{
    return std::string(gst_video_format_to_string(GST_VIDEO_INFO_FORMAT(&info))) + ' ' + std::to_string(info.width) +
           'x' + std::to_string(info.height);
}

/// Format and size of caps, with nothing else. The caller owns them.
GstCaps* formatsAndSizes(const GstCaps* caps)
{
    if (gst_caps_is_any(caps))
        return gst_caps_new_any();
    GstCaps* const result = gst_caps_new_empty();
    for (guint i = 0; i < gst_caps_get_size(caps); ++i) {
        const GstStructure* const structure = gst_caps_get_structure(caps, i);
        GstStructure* const part = gst_structure_new_empty(gst_structure_get_name(structure));
        for (const char* const field : {"format", "width", "height"})
            if (const GValue* const value = gst_structure_get_value(structure, field))
                gst_structure_set_value(part, field, value);
        gst_caps_append_structure_full(result, part, gst_caps_features_copy(gst_caps_get_features(caps, i)));
    }
    return result;
}

/// Format and size of what a source sends, or else of what it is able to send. The caller owns them.
GstCaps* expectedOf(const Source& source)
{
    GstCaps* caps = source ? gst_pad_get_current_caps(GST_PAD(source.get())) : gst_caps_new_any();
    if (!caps)
        caps = gst_pad_peer_query_caps(GST_PAD(source.get()), nullptr);
    GstCaps* const result = formatsAndSizes(caps);
    gst_caps_unref(caps);
    return result;
}

/// Whether a source's format and size are already chosen. Then they may change in mid-stream, and the other source's
/// have to change with them; which of the two is told first is open.
bool hasCaps(GstAggregatorPad* pad)
{
    return gst_pad_has_current_caps(GST_PAD(pad));
}

/// Asks for what the other source sends. Where that is still open, for what it is able to send: a source of one size
/// decides for one that leaves it open, whichever is asked first.
void askForTheSame(GstAggregator* self, GstAggregatorPad* pad, GstQuery* query)
{
    GstCaps* const others = expectedOf(otherSource(self, pad));
    GstCaps* possible = nullptr;
    gst_query_parse_caps_result(query, &possible);
    GstCaps* answer = gst_caps_intersect_full(possible, others, GST_CAPS_INTERSECT_FIRST);
    if (hasCaps(pad))
        answer = gst_caps_merge(answer, gst_caps_ref(possible));
    gst_query_set_caps_result(query, answer);
    gst_caps_unref(answer);
    gst_caps_unref(others);
}

/// Whether a source that has no caps yet may begin with these.
bool areOthers(GstAggregator* self, GstAggregatorPad* pad, const GstCaps* caps)
{
    const Source other = otherSource(self, pad);
    GstCaps* const current = other ? gst_pad_get_current_caps(GST_PAD(other.get())) : nullptr;
    if (!current)
        return true;
    GstCaps* const others = formatsAndSizes(current);
    const bool result = gst_caps_can_intersect(caps, others);
    gst_caps_unref(others);
    gst_caps_unref(current);
    return result;
}

/// Refuses what is no format of the element, and a source that does not begin with what the other one has. The base
/// class would refuse each change of format in mid-stream.
void answerAcceptance(GstAggregator* self, GstAggregatorPad* pad, GstQuery* query)
{
    GstCaps* caps = nullptr;
    gst_query_parse_accept_caps(query, &caps);
    GstCaps* const possible = gst_pad_get_pad_template_caps(GST_PAD(pad));
    gst_query_set_accept_caps_result(query, gst_caps_is_subset(caps, possible) &&
                                                (hasCaps(pad) || areOthers(self, pad, caps)));
    gst_caps_unref(possible);
}

gboolean answerSource(GstAggregator* self, GstAggregatorPad* pad, GstQuery* query)
{
    if (GST_QUERY_TYPE(query) == GST_QUERY_ACCEPT_CAPS) {
        answerAcceptance(self, pad, query);
        return TRUE;
    }
    if (!parentAggregator()->sink_query(self, pad, query))
        return FALSE;
    if (GST_QUERY_TYPE(query) == GST_QUERY_CAPS)
        askForTheSame(self, pad, query);
    return TRUE;
}

/// The result is as the first source is, or as the second one while the first is not known.
GstFlowReturn chooseResultCaps(GstAggregator* self, GstCaps* allowed, GstCaps** chosen)
{
    GstVideoInfo info;
    gst_video_info_init(&info);
    for (const char* const name : {"sink_1", "sink_0"})
        if (const Source source = sourceOf(self, name); source && isKnown(source->info))
            info = source->info;
    if (!isKnown(info))
        return GST_AGGREGATOR_FLOW_NEED_DATA;
    GstCaps* const caps = gst_video_info_to_caps(&info);
    // The base class chooses the higher rate of the two.
    gst_structure_remove_field(gst_caps_get_structure(caps, 0), "framerate");
    *chosen = gst_caps_intersect(caps, allowed);
    gst_caps_unref(caps);
    return GST_FLOW_OK;
}

gboolean proposeAllocation(GstAggregator* self, GstAggregatorPad* pad, GstQuery* decision, GstQuery* query)
{
    if (!parentAggregator()->propose_allocation(self, pad, decision, query))
        return FALSE;
    acceptPaddingAndCrops(query);
    return TRUE;
}

/// Whether a source has a picture for the frame to be made. A gap comes as an empty buffer.
bool hasPicture(const Source& source)
{
    GstBuffer* const buffer = source ? gst_video_aggregator_pad_get_current_buffer(source.get()) : nullptr;
    return buffer && gst_buffer_get_size(buffer) > 0;
}

bool hasEnded(const Source& source)
{
    return source && gst_aggregator_pad_is_eos(GST_AGGREGATOR_PAD(source.get())) &&
           !gst_video_aggregator_pad_has_current_buffer(source.get());
}

GstFlowReturn refuse(GstVideoAggregator* self, const char* why)
{
    GST_ELEMENT_ERROR(self, STREAM, FORMAT, ("%s", why), (nullptr));
    return GST_FLOW_ERROR;
}

/// Whether a source's picture is what its caps promise, so that it can be mapped.
bool isSound(const Source& source)
{
    return isAsTheCaps(source->info, gst_video_aggregator_pad_get_current_buffer(source.get()));
}

GstFlowReturn refuseFrame(GstVideoAggregator* self)
{
    return refuse(self, (std::string("A frame cannot be filtered: ") + kNotAsTheCaps).c_str());
}

/// What to do about sources of different formats or sizes. In mid-stream no change reaches both sources at once, so
/// for up to a second there is no result.
GstFlowReturn leaveOut(GstVideoAggregator* self, const GstVideoInfo& first, const GstVideoInfo& second)
{
    State& state = stateOf(self);
    const gint64 left = gint64{++state.framesLeftOut} * GST_VIDEO_INFO_FPS_D(&self->info);
    if (state.haveAgreed && left <= GST_VIDEO_INFO_FPS_N(&self->info))
        return GST_FLOW_OK;
    GST_ELEMENT_ERROR(self, STREAM, FORMAT,
                      ("The two sources must have one format and one size: sink_0 has %s, sink_1 has %s.",
                       textOf(first).c_str(), textOf(second).c_str()),
                      (nullptr));
    return GST_FLOW_NOT_NEGOTIATED;
}

/// Gives no buffer where there is nothing to make it of: the base class goes on to the next frame then.
GstFlowReturn makeBuffer(GstVideoAggregator* self, GstBuffer** result)
{
    *result = nullptr;
    const Source first = sourceOf(self, "sink_0");
    const Source second = sourceOf(self, "sink_1");
    if (hasEnded(first) || hasEnded(second))
        return GST_FLOW_EOS;
    if (!hasPicture(first) || !hasPicture(second))
        return GST_FLOW_OK;
    if (!isAlike(first->info, second->info))
        return leaveOut(self, first->info, second->info);
    if (!isSound(first) || !isSound(second))
        return refuseFrame(self);
    stateOf(self).haveAgreed = true;
    stateOf(self).framesLeftOut = 0;
    return GST_VIDEO_AGGREGATOR_CLASS(velmor_mix_parent_class)->create_output_buffer(self, result);
}

/// Copies what is told of the first source's frame, such as regions of interest, but not how it lies in memory.
gboolean copyMeta(GstBuffer* source, GstMeta** meta, gpointer result)
{
    const GstMetaInfo* const info = (*meta)->info;
    if (!isKept(**meta) || !info->transform_func)
        return TRUE;
    GstMetaTransformCopy whole = {FALSE, 0, static_cast<gsize>(-1)};
    info->transform_func(GST_BUFFER(result), *meta, source, _gst_meta_transform_copy, &whole);
    return TRUE;
}

const native::Filter& filterOf(State& state)
{
    const int what = state.what;
    if (state.made != what) {
        state.filter = catalogue::makeNative(offered()[static_cast<std::size_t>(what)].name);
        state.made = what;
    }
    return *state.filter;
}

/// Whether a pixel's channels are looked at together.
bool joinsChannels(const catalogue::Operator& what)
{
    return what.name == "Xor" || what.name == "Classify";
}

/// @param hasFiller  whether the fourth byte of a pixel says nothing, and must not have a say in the other three
void execute(State& state, const cv::Mat& first, const cv::Mat& second, cv::Mat& result, bool hasFiller)
{
    const native::Filter& filter = filterOf(state);
    if (!hasFiller || !joinsChannels(offered()[static_cast<std::size_t>(state.made)])) {
        filter.execute(first, second, result);
        return;
    }
    cv::cvtColor(first, state.scratch[0], cv::COLOR_RGBA2RGB);
    cv::cvtColor(second, state.scratch[1], cv::COLOR_RGBA2RGB);
    filter.execute(state.scratch[0], state.scratch[1], state.scratch[2]);
    cv::cvtColor(state.scratch[2], result, cv::COLOR_RGB2RGBA);
}

void syncProperties(GstVideoAggregator* self, GstBuffer* result)
{
    GstAggregator* const aggregator = GST_AGGREGATOR(self);
    GST_OBJECT_LOCK(aggregator->srcpad);
    const GstSegment segment = GST_AGGREGATOR_PAD(aggregator->srcpad)->segment;
    GST_OBJECT_UNLOCK(aggregator->srcpad);
    followControllers(self, segment, result);
}

/// Computes the picture of a frame.
void fill(GstVideoAggregator* self, const GstVideoFrame& first, const GstVideoFrame& second, cv::Mat result)
{
    const bool hasFiller = result.channels() == 4 && !formatOf(GST_VIDEO_INFO_FORMAT(&self->info)).hasAlpha;
    execute(stateOf(self), pictureOf(first, result.size()), pictureOf(second, result.size()), result, hasFiller);
}

GstFlowReturn mix(GstVideoAggregator* self, GstBuffer* buffer)
{
    syncProperties(self, buffer);
    const Source first = sourceOf(self, "sink_0");
    const Source second = sourceOf(self, "sink_1");
    const GstVideoFrame* const firstFrame = gst_video_aggregator_pad_get_prepared_frame(first.get());
    const GstVideoFrame* const secondFrame = gst_video_aggregator_pad_get_prepared_frame(second.get());
    MappedFrame frame(self->info, buffer, GST_MAP_WRITE);
    if (!firstFrame || !secondFrame || !frame)
        return refuse(self, "The memory of a frame cannot be mapped.");
    try {
        fill(self, *firstFrame, *secondFrame, frame.picture());
    } catch (const std::exception& error) { // no memory
        return refuse(self, error.what());
    }
    gst_buffer_foreach_meta(firstFrame->buffer, copyMeta, buffer);
    moveRegions(buffer, firstFrame->buffer, frame.picture().size());
    return GST_FLOW_OK;
}

GstFlowReturn aggregate(GstAggregator* self, gboolean isLate)
{
    const GstFlowReturn flow = parentAggregator()->aggregate(self, isLate);
    if (flow == GST_FLOW_EOS && (!sourceOf(self, "sink_0") || !sourceOf(self, "sink_1")))
        return refuse(GST_VIDEO_AGGREGATOR(self), "There is only one source: link another one to velmormix.");
    return flow;
}

gboolean start(GstAggregator* self)
{
    stateOf(self).haveAgreed = false;
    stateOf(self).framesLeftOut = 0;
    return parentAggregator()->start(self);
}

/// Gives the pads sink_0 and sink_1, in this order unless one is asked for by its name.
GstPad* addSource(GstElement* self, GstPadTemplate* shape, const gchar* name, const GstCaps* caps)
{
    const bool isAnyRight = !name || g_str_equal(name, "sink_%u");
    for (const char* const each : {"sink_0", "sink_1"})
        if ((isAnyRight || g_str_equal(name, each)) && !sourceOf(self, each))
            return GST_ELEMENT_CLASS(velmor_mix_parent_class)->request_new_pad(self, shape, each, caps);
    GST_WARNING_OBJECT(self, "there are two sources, sink_0 and sink_1, each once");
    return nullptr;
}

void setProperty(GObject* object, guint, const GValue* value, GParamSpec*)
{
    stateOf(object).what = g_value_get_enum(value);
}

void getProperty(GObject* object, guint, GValue* value, GParamSpec*)
{
    g_value_set_enum(value, stateOf(object).what);
}

void finalize(GObject* object)
{
    delete reinterpret_cast<VelmorMix*>(object)->state;
    G_OBJECT_CLASS(velmor_mix_parent_class)->finalize(object);
}

void addPadTemplates(GstElementClass* element)
{
    GstCaps* caps = capsOf(formats());
    gst_element_class_add_pad_template(
        element,
        gst_pad_template_new_with_gtype("sink_%u", GST_PAD_SINK, GST_PAD_REQUEST, caps, GST_TYPE_VIDEO_AGGREGATOR_PAD));
    // The base class makes frames at a steady rate, whatever that of the sources is.
    caps = gst_caps_make_writable(caps);
    gst_caps_set_simple(caps, "framerate", GST_TYPE_FRACTION_RANGE, 1, G_MAXINT, G_MAXINT, 1, nullptr);
    gst_element_class_add_pad_template(
        element, gst_pad_template_new_with_gtype("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps, GST_TYPE_AGGREGATOR_PAD));
    gst_caps_unref(caps);
}

void velmor_mix_class_init(VelmorMixClass* type)
{
    GObjectClass* const object = G_OBJECT_CLASS(type);
    object->set_property = setProperty;
    object->get_property = getProperty;
    object->finalize = finalize;
    declareOperator(object, OPERATOR, offered());

    GstElementClass* const element = GST_ELEMENT_CLASS(type);
    gst_element_class_set_static_metadata(
        element, "Image operator of two sources", "Filter/Editor/Video/Compositor",
        "Makes one picture of two, frame by frame: sink_0 is the first source, sink_1 the second; "
        "it ends when one of them ends",
        "velmor maintainers");
    addPadTemplates(element);
    element->request_new_pad = addSource;

    GstAggregatorClass* const aggregator = GST_AGGREGATOR_CLASS(type);
    aggregator->start = start;
    aggregator->aggregate = aggregate;
    aggregator->sink_query = answerSource;
    aggregator->update_src_caps = chooseResultCaps;
    aggregator->propose_allocation = proposeAllocation;

    GstVideoAggregatorClass* const video = GST_VIDEO_AGGREGATOR_CLASS(type);
    video->create_output_buffer = makeBuffer;
    video->aggregate_frames = mix;
}

void velmor_mix_init(VelmorMix* self)
{
    self->state = new State;
}

} // namespace

gboolean registerMix(GstPlugin* plugin)
{
    return gst_element_register(plugin, "velmormix", GST_RANK_NONE, velmor_mix_get_type());
}

} // namespace velmor::gstreamer
