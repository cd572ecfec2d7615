#include "gstreamer/Finder.h"

#include "gstreamer/Messages.h"
#include "gstreamer/Models.h"

#include <gst/video/gstvideofilter.h>

#include <atomic>
#include <mutex>
#include <stdexcept>

namespace velmor::gstreamer {
namespace {

enum Property : guint
{
    OUTPUT = 1,
    POST_MESSAGES,
    COUNT,
    LIST,
    FILE_NAME,
    FIRST_PARAMETER
};

struct State
{
    explicit State(const FinderElement& element)
        : what(element), parameters(parametersOf(what.operators)), output(what.outputs[0].value), told(output.load()),
          finder(what.make())
    {
    }

    const FinderElement& what;
    Parameters parameters;
    std::atomic<gint> output;
    std::atomic<gint> told; ///< what caps are told of: changes between frames alone, as one query asks more than once
    std::atomic<bool> isStarted = false;
    std::atomic<bool> postsMessages = true;

    std::mutex mutex; // for what follows
    std::string file;
    Findings last;

    // Of the thread that streams, or starts and stops.
    std::unique_ptr<Finder> finder;
    cv::Size size;      ///< of the frames; empty before there are caps
    bool begins = true; ///< whether the next frame follows none
    cv::Mat mask;
    bool takesCrops = false; ///< whether frames have crops because the element said that it takes them
};

struct VelmorFinder
{
    GstVideoFilter base;
    State* state;
};

struct VelmorFinderClass
{
    GstVideoFilterClass base;
    const FinderElement* what;
};

State& stateOf(gpointer object)
{
    return *static_cast<VelmorFinder*>(object)->state;
}

GstBaseTransformClass& parentOf(gpointer object)
{
    return *GST_BASE_TRANSFORM_CLASS(g_type_class_peek_parent(G_OBJECT_GET_CLASS(object)));
}

// ---- Properties

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec*)
{
    State& state = stateOf(object);
    if (id == OUTPUT) {
        state.output = g_value_get_enum(value);
        if (!state.isStarted)
            state.told = g_value_get_enum(value);
    } else if (id == POST_MESSAGES) {
        state.postsMessages = g_value_get_boolean(value);
    } else if (id == FILE_NAME) {
        const char* const file = g_value_get_string(value);
        const std::lock_guard lock(state.mutex);
        state.file = file ? file : "";
    } else {
        state.parameters.set(id - FIRST_PARAMETER, *value);
    }
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec*)
{
    State& state = stateOf(object);
    if (id >= FIRST_PARAMETER)
        return state.parameters.get(id - FIRST_PARAMETER, *value);
    const std::lock_guard lock(state.mutex);
    switch (id) {
    case OUTPUT:
        return g_value_set_enum(value, state.output);
    case POST_MESSAGES:
        return g_value_set_boolean(value, state.postsMessages);
    case COUNT:
        return g_value_set_uint(value, state.last.count);
    case LIST:
        return give(state.last.regions, *value);
    default:
        return g_value_set_string(value, state.file.empty() ? nullptr : state.file.c_str());
    }
}

void declareProperties(GObjectClass* type, const FinderElement& what)
{
    const GType outputs = g_enum_register_static((std::string(what.typeName) + "Output").c_str(), what.outputs);
    const auto atAnyTime = static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_MUTABLE_PLAYING);
    g_object_class_install_property(type, OUTPUT,
                                    g_param_spec_enum("output", "output", "what comes out beside the numbers", outputs,
                                                      what.outputs[0].value, atAnyTime));
    g_object_class_install_property(
        type, POST_MESSAGES,
        g_param_spec_boolean("post-messages", "post-messages",
                             "whether each frame's numbers go to the bus as a message; nobody needs to read them", TRUE,
                             atAnyTime));
    g_object_class_install_property(
        type, COUNT, g_param_spec_uint("count", "count", what.countBlurb, 0, G_MAXUINT, 0, G_PARAM_READABLE));
    declareRegions(type, LIST, what.list, what.listBlurb);
    if (what.file)
        g_object_class_install_property(
            type, FILE_NAME, g_param_spec_string(what.file, what.file, what.fileBlurb, nullptr, untilPaused()));
    declareParameters(type, FIRST_PARAMETER, parametersOf(what.operators));
}

// ---- From one state to another

/// Reads the file, if one is needed. Says why where that cannot be done.
bool open(GstBaseTransform* transform)
{
    State& state = stateOf(transform);
    state.size = {};
    std::string file;
    {
        const std::lock_guard lock(state.mutex);
        state.last = {};
        file = state.file;
    }
    if (!state.what.file)
        return true;
    if (file.empty()) {
        GST_ELEMENT_ERROR(transform, RESOURCE, NOT_FOUND, ("the property %s names no file", state.what.file),
                          ("%s needs one", GST_OBJECT_NAME(transform)));
        return false;
    }
    try {
        state.finder->open(file);
        return true;
    } catch (const std::exception& error) {
        FileError(file, error.what()).post(GST_ELEMENT(transform));
        return false;
    }
}

gboolean start(GstBaseTransform* transform)
{
    if (!open(transform))
        return FALSE;
    State& state = stateOf(transform);
    state.isStarted = true;
    state.told = state.output.load();
    return TRUE;
}

gboolean stop(GstBaseTransform* transform)
{
    State& state = stateOf(transform);
    state.isStarted = false;
    state.told = state.output.load();
    return TRUE;
}

/// After a flush frames do not follow those before.
gboolean sinkEvent(GstBaseTransform* transform, GstEvent* event)
{
    if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP)
        stateOf(transform).begins = true;
    return parentOf(transform).sink_event(transform, event);
}

// ---- Negotiation

/// Caps of one pad for which the other pad's formats are put.
GstCaps* withFormatsOf(GstCaps* other, GstCaps* caps)
{
    const GValue* const formats = gst_structure_get_value(gst_caps_get_structure(other, 0), "format");
    GstCaps* const result = gst_caps_make_writable(caps);
    for (guint i = 0; i < gst_caps_get_size(result); ++i) {
        GstStructure* const each = gst_caps_get_structure(result, i);
        gst_structure_set_value(each, "format", formats);
        gst_structure_remove_fields(each, "colorimetry", "chroma-site", nullptr);
    }
    return result;
}

GstCaps* transformCaps(GstBaseTransform* transform, GstPadDirection direction, GstCaps* caps, GstCaps* filter)
{
    GstCaps* const pictures = capsOf(stateOf(transform).what.takes);
    GstCaps* result = nullptr;
    if (stateOf(transform).told == MASK) {
        GstCaps* const masks = capsOf({formatOf(GST_VIDEO_FORMAT_GRAY8)});
        const bool comesIn = direction == GST_PAD_SINK;
        result = withFormatsOf(comesIn ? masks : pictures, gst_caps_intersect(caps, comesIn ? pictures : masks));
        gst_caps_unref(masks);
    } else {
        result = gst_caps_intersect_full(caps, pictures, GST_CAPS_INTERSECT_FIRST);
    }
    gst_caps_unref(pictures);
    if (filter) {
        GstCaps* const wanted = gst_caps_intersect_full(filter, result, GST_CAPS_INTERSECT_FIRST);
        gst_caps_unref(result);
        result = wanted;
    }
    return result;
}

/// Whether the operators take a size: OpenCV counts the bytes of their pictures in an int.
bool fits(const cv::Size& size)
{
    return size.width < 1 << 27 && 4LL * size.width * size.height < 1LL << 31;
}

gboolean setInfo(GstVideoFilter* filter, GstCaps*, GstVideoInfo* inInfo, GstCaps*, GstVideoInfo*)
{
    State& state = stateOf(filter);
    const cv::Size size(GST_VIDEO_INFO_WIDTH(inInfo), GST_VIDEO_INFO_HEIGHT(inInfo));
    if (!fits(size)) {
        GST_ELEMENT_ERROR(
            filter, STREAM, FORMAT,
            ("frames of %d x %d are too large: expected fewer than 2^29 pixels in rows of fewer than 2^27", size.width,
             size.height),
            (nullptr));
        return FALSE;
    }
    if (size != state.size) // otherwise it is another format or another output of the same pictures
        state.begins = true;
    state.size = size;
    return TRUE;
}

gboolean setCaps(GstBaseTransform* transform, GstCaps* in, GstCaps* out)
{
    if (!parentOf(transform).set_caps(transform, in, out))
        return FALSE;
    // A GstVideoFilter without functions for mapped frames takes itself for one that always works in place.
    const GstVideoFilter& filter = *GST_VIDEO_FILTER(transform);
    gst_base_transform_set_in_place(transform,
                                    GST_VIDEO_INFO_FORMAT(&filter.in_info) == GST_VIDEO_INFO_FORMAT(&filter.out_info));
    return TRUE;
}

/// Masks are made of the part that a crop names. Frames that go on are for who comes next, which has been asked
/// already.
gboolean proposeAllocation(GstBaseTransform* transform, GstQuery* asked, GstQuery* query)
{
    if (!parentOf(transform).propose_allocation(transform, asked, query))
        return FALSE;
    State& state = stateOf(transform);
    state.takesCrops = !gst_base_transform_is_in_place(transform);
    if (state.takesCrops)
        acceptPaddingAndCrops(query);
    return TRUE;
}

/// A mask has all that its frame has, but for the crop, which it has been made of.
gboolean transformMeta(GstBaseTransform*, GstBuffer*, GstMeta* meta, GstBuffer*)
{
    return isKept(*meta);
}

// ---- Frames

/// Follows controllers and the property "output". Afterwards the base class asks for the caps that go with it.
void beforeTransform(GstBaseTransform* transform, GstBuffer* frame)
{
    followControllers(transform, transform->segment, frame);
    State& state = stateOf(transform);
    const gint output = state.output;
    if (state.told.exchange(output) != output)
        gst_base_transform_reconfigure_src(transform);
}

GstFlowReturn refuseFrame(GstBaseTransform* transform, const std::string& reason)
{
    GST_ELEMENT_ERROR(transform, STREAM, FAILED, ("a frame cannot be searched: %s", reason.c_str()), (nullptr));
    return GST_FLOW_ERROR;
}

/// A frame that goes on keeps its pixels: only what is said of it may have to be copied. Its crop does not go on where
/// it was for masks.
GstFlowReturn prepareOutput(GstBaseTransform* transform, GstBuffer* in, GstBuffer** out)
{
    if (!gst_base_transform_is_in_place(transform))
        return parentOf(transform).prepare_output_buffer(transform, in, out);
    if (stateOf(transform).takesCrops && gst_buffer_get_video_crop_meta(in)) {
        *out = cutOut(transform, GST_VIDEO_FILTER(transform)->in_info, in);
        return *out ? GST_FLOW_OK : refuseFrame(transform, kNotAsTheCaps);
    }
    *out = gst_buffer_is_writable(in) ? in : gst_buffer_copy(in);
    return *out ? GST_FLOW_OK : GST_FLOW_ERROR;
}

/// Searches a picture of a frame.
/// @param mask  for a finder that gives one
Findings search(State& state, const cv::Mat& picture, GstVideoFormat format, cv::Mat& mask)
{
    if (state.begins)
        state.finder->begin(state.size);
    state.begins = false;
    return state.finder->find(state.parameters, picture, formatOf(format), mask);
}

/// Tells what was found in a frame: by what goes on, on the bus, and by properties.
void tell(GstBaseTransform* transform, GstBuffer* buffer, Findings findings)
{
    State& state = stateOf(transform);
    attach(findings.regions, buffer);
    if (state.postsMessages) {
        GstStructure* const message = describe(state.what.name, transform->segment, buffer);
        addTo(message, state.what.list, findings);
        post(GST_ELEMENT(transform), message);
    }
    const std::lock_guard lock(state.mutex);
    state.last = std::move(findings);
}

/// What is found in a frame whose pixels go on, drawn into it where that is asked for.
Findings searchInPlace(GstBaseTransform* transform, GstBuffer* buffer)
{
    State& state = stateOf(transform);
    const bool draws = state.told == OVERLAY;
    const GstVideoInfo& info = GST_VIDEO_FILTER(transform)->in_info;
    MappedFrame frame(info, buffer, draws ? GST_MAP_READWRITE : GST_MAP_READ);
    if (!frame)
        throw std::runtime_error(kNotAsTheCaps);
    cv::Mat picture = frame.picture();
    state.mask.create(state.size, CV_8UC1);
    Findings result = search(state, picture, GST_VIDEO_INFO_FORMAT(&info), state.mask);
    if (draws)
        state.finder->draw(picture, state.mask);
    return result;
}

/// What is found in a frame, whose mask is made.
Findings searchForMask(GstBaseTransform* transform, GstBuffer* in, GstBuffer* out)
{
    const GstVideoFilter& filter = *GST_VIDEO_FILTER(transform);
    MappedFrame frame(filter.in_info, in, GST_MAP_READ);
    if (!frame)
        throw std::runtime_error(kNotAsTheCaps);
    MappedFrame result(filter.out_info, out, GST_MAP_WRITE);
    if (!result)
        throw std::runtime_error("there is no memory for its mask");
    cv::Mat mask = result.picture();
    return search(stateOf(transform), frame.picture(), GST_VIDEO_INFO_FORMAT(&filter.in_info), mask);
}

GstFlowReturn transformInPlace(GstBaseTransform* transform, GstBuffer* buffer)
{
    try {
        tell(transform, buffer, searchInPlace(transform, buffer));
        return GST_FLOW_OK;
    } catch (const std::exception& error) { // no memory, or not as the caps
        return refuseFrame(transform, error.what());
    }
}

GstFlowReturn transformToMask(GstBaseTransform* transform, GstBuffer* in, GstBuffer* out)
{
    try {
        Findings findings = searchForMask(transform, in, out);
        moveRegions(out, in, stateOf(transform).size, false);
        tell(transform, out, std::move(findings));
        return GST_FLOW_OK;
    } catch (const std::exception& error) { // no memory, or not as the caps
        return refuseFrame(transform, error.what());
    }
}

// ---- The type

void addPad(GstElementClass* type, const char* name, GstPadDirection direction, const std::vector<Format>& formats)
{
    GstCaps* const caps = capsOf(formats);
    gst_element_class_add_pad_template(type, gst_pad_template_new(name, direction, GST_PAD_ALWAYS, caps));
    gst_caps_unref(caps);
}

void finalize(GObject* object)
{
    delete static_cast<VelmorFinder*>(static_cast<void*>(object))->state;
    G_OBJECT_CLASS(&parentOf(object))->finalize(object);
}

void initClass(gpointer type, gpointer data)
{
    const FinderElement& what = *static_cast<const FinderElement*>(data);
    static_cast<VelmorFinderClass*>(type)->what = &what;

    GObjectClass* const object = G_OBJECT_CLASS(type);
    object->set_property = setProperty;
    object->get_property = getProperty;
    object->finalize = finalize;
    declareProperties(object, what);

    GstElementClass* const element = GST_ELEMENT_CLASS(type);
    gst_element_class_set_static_metadata(element, what.longName, "Filter/Analyzer/Video", what.description,
                                          "velmor maintainers");
    std::vector<Format> gives = what.takes;
    if (what.outputs[0].value == MASK)
        gives.push_back(formatOf(GST_VIDEO_FORMAT_GRAY8));
    addPad(element, "sink", GST_PAD_SINK, what.takes);
    addPad(element, "src", GST_PAD_SRC, gives);

    GstBaseTransformClass* const transform = GST_BASE_TRANSFORM_CLASS(type);
    transform->start = start;
    transform->stop = stop;
    transform->sink_event = sinkEvent;
    transform->transform_caps = transformCaps;
    transform->set_caps = setCaps;
    transform->propose_allocation = proposeAllocation;
    transform->transform_meta = transformMeta;
    transform->before_transform = beforeTransform;
    transform->prepare_output_buffer = prepareOutput;
    transform->transform = transformToMask;
    transform->transform_ip = transformInPlace;
    GST_VIDEO_FILTER_CLASS(type)->set_info = setInfo;
}

void initInstance(GTypeInstance* instance, gpointer type)
{
    const FinderElement& what = *static_cast<VelmorFinderClass*>(type)->what;
    static_cast<VelmorFinder*>(static_cast<void*>(instance))->state = new State(what);
}

} // namespace

void Finder::open(const std::string&) {}

void Finder::begin(const cv::Size&) {}

gboolean registerFinder(GstPlugin* plugin, const FinderElement& what)
{
    GTypeInfo info{};
    info.class_size = sizeof(VelmorFinderClass);
    info.class_init = initClass;
    info.class_data = &what;
    info.instance_size = sizeof(VelmorFinder);
    info.instance_init = initInstance;
    const GType type = g_type_register_static(GST_TYPE_VIDEO_FILTER, what.typeName, &info, GTypeFlags(0));
    return gst_element_register(plugin, what.name, GST_RANK_NONE, type);
}

} // namespace velmor::gstreamer
