#include "gstreamer/GlFilter.h"

#include "gstreamer/Frames.h"
#include "gstreamer/GlAdapted.h"
#include "gstreamer/GlOperator.h"
#include "gstreamer/Parameters.h"

#define GST_USE_UNSTABLE_API // of GStreamer's OpenGL library, which has no other
#include <gst/gl/gl.h>
#include <gst/gl/gstglfilter.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <iterator>
#include <mutex>
#include <stdexcept>

namespace velmor::gstreamer {
namespace {

/// The operators that the element offers: those that make a picture of one texture of bytes.
const std::vector<catalogue::Operator>& offered()
{
    static const std::vector<catalogue::Operator> kOperators = [] {
        std::vector<catalogue::Operator> result;
        std::copy_if(catalogue::operators().begin(), catalogue::operators().end(), std::back_inserter(result),
                     [](const catalogue::Operator& each) {
                         return each.kind == catalogue::Kind::FILTER && each.sources == 1 &&
                                each.takes != catalogue::Data::INTEGERS &&
                                (catalogue::isPicture(each.gives) || each.gives == catalogue::Data::CLASSES);
                     });
        return result;
    }();
    return kOperators;
}

enum Property : guint
{
    OPERATOR = 1,
    SCALE,
    OFFSET,
    MODELS,
    FIRST_PARAMETER
};

/// What the properties say. Any thread writes it.
class Wishes
{
public:
    Parameters parameters{parametersOf(offered())};
    struct
    {
        std::atomic<double> scale = 1;
        std::atomic<double> offset = 0;
    } levels;
    std::atomic<std::size_t> what = 0; ///< index of the operator

    /// Names the files of models, and reads them if the element runs.
    /// @throws FileError  and all stays as it was
    void nameModels(const std::vector<std::string>& files)
    {
        const std::lock_guard reading(mReading);
        if (mIsRunning)
            takeModels(loadModels(files));
        mModelFiles = files;
    }
    std::vector<std::string> modelFiles()
    {
        const std::lock_guard reading(mReading);
        return mModelFiles;
    }

    /// Reads the models. From now on they are read when they are named.
    /// @throws FileError
    void start()
    {
        const std::lock_guard reading(mReading);
        takeModels(loadModels(mModelFiles));
        mIsRunning = true;
    }
    void stop()
    {
        const std::lock_guard reading(mReading);
        mIsRunning = false;
    }

    /// The settings of the operator for frames of some size.
    GlOperator::Settings settingsFor(const cv::Size& size) const
    {
        GlOperator::Settings result;
        result.what = &offered()[what];
        result.values = parameters.valuesFor(*result.what);
        result.size = size;
        const std::lock_guard lock(mMutex);
        if (result.what->need != catalogue::Need::NOTHING)
            result.models = mModels;
        return result;
    }

private:
    void takeModels(const Models& models)
    {
        const std::lock_guard lock(mMutex);
        mModels = models;
    }

    std::mutex mReading; ///< held as long as files are read; of what follows
    std::vector<std::string> mModelFiles;
    bool mIsRunning = false;

    mutable std::mutex mMutex; ///< held for a moment; of what follows
    Models mModels;
};

/// What lives in the context, from its start to its stop.
struct Running
{
    explicit Running(GstGLContext* context) : adapted(context) {}
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running()
    {
        if (filter)
            adapted.run([this] { filter.reset(); });
    }

    /// Makes the filter, where it is not the one yet.
    void prepare(const GlOperator::Settings& settings, const GlOperator::Levels& levels)
    {
        const bool isThere = filter && filter->settings() == settings;
        if (isThere && filter->isReadyFor(levels))
            return;
        adapted.compile([&] {
            if (!isThere)
                filter = std::make_unique<GlOperator>(settings);
            filter->prepareFor(levels);
        });
    }

    GlAdapted adapted;
    std::unique_ptr<GlOperator> filter;
};

struct State
{
    Wishes wishes;
    std::unique_ptr<Running> running; ///< touched where the base class calls, one call at a time
    GlOperator::Settings accepted;    ///< the last ones that a filter could be made of; likewise
    GlOperator::Settings refused;     ///< the last ones that were warned about; likewise
};

struct VelmorGlFilter
{
    GstGLFilter base;
    State* state;
};

struct VelmorGlFilterClass
{
    GstGLFilterClass base;
};

G_DEFINE_TYPE(VelmorGlFilter, velmor_gl_filter, GST_TYPE_GL_FILTER)

State& stateOf(gpointer object)
{
    return *reinterpret_cast<VelmorGlFilter*>(object)->state;
}

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec*)
{
    Wishes& wishes = stateOf(object).wishes;
    switch (id) {
    case MODELS:
        try {
            wishes.nameModels(fileNamesIn(*value));
        } catch (const FileError& error) {
            error.warn(GST_ELEMENT(object));
        }
        break;
    case OPERATOR:
        wishes.what = static_cast<std::size_t>(g_value_get_enum(value));
        break;
    case SCALE:
        wishes.levels.scale = g_value_get_double(value);
        break;
    case OFFSET:
        wishes.levels.offset = g_value_get_double(value);
        break;
    default:
        wishes.parameters.set(id - FIRST_PARAMETER, *value);
    }
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec*)
{
    Wishes& wishes = stateOf(object).wishes;
    switch (id) {
    case MODELS:
        giveFileNames(wishes.modelFiles(), *value);
        break;
    case OPERATOR:
        g_value_set_enum(value, static_cast<gint>(wishes.what));
        break;
    case SCALE:
        g_value_set_double(value, wishes.levels.scale);
        break;
    case OFFSET:
        g_value_set_double(value, wishes.levels.offset);
        break;
    default:
        wishes.parameters.get(id - FIRST_PARAMETER, *value);
    }
}

/// The result has the size and format of the source.
GstCaps* transformInternalCaps(GstGLFilter*, GstPadDirection, GstCaps* caps, GstCaps*)
{
    return gst_caps_ref(caps);
}

/// Files are read here, outside of the thread of the context.
gboolean start(GstBaseTransform* base)
{
    State& state = stateOf(base);
    try {
        state.wishes.start();
    } catch (const FileError& error) {
        error.post(GST_ELEMENT(base));
        return FALSE;
    }
    state.accepted = state.wishes.settingsFor({});
    state.refused = {};
    const std::string shortfall = state.accepted.shortfall();
    if (shortfall.empty())
        return GST_BASE_TRANSFORM_CLASS(velmor_gl_filter_parent_class)->start(base);
    GST_ELEMENT_ERROR(base, RESOURCE, SETTINGS, ("%s", shortfall.c_str()), (nullptr));
    state.wishes.stop();
    return FALSE;
}

gboolean stop(GstBaseTransform* base)
{
    stateOf(base).wishes.stop();
    return GST_BASE_TRANSFORM_CLASS(velmor_gl_filter_parent_class)->stop(base);
}

gboolean proposeAllocation(GstBaseTransform* base, GstQuery* decided, GstQuery* query)
{
    // What is before may ask while the element stops, which takes the context away. The base class does not look.
    GstGLContext* const context = gst_gl_base_filter_get_gl_context(GST_GL_BASE_FILTER(base));
    if (!context)
        return FALSE;
    gst_object_unref(context);
    if (!GST_BASE_TRANSFORM_CLASS(velmor_gl_filter_parent_class)->propose_allocation(base, decided, query))
        return FALSE;
    acceptPaddingAndCrops(query);
    return TRUE;
}

gboolean transformMeta(GstBaseTransform*, GstBuffer*, GstMeta* meta, GstBuffer*)
{
    return isKept(*meta);
}

gboolean startGl(GstGLBaseFilter* base)
{
    try {
        // Who sets another state meanwhile takes the element's own away.
        stateOf(base).running = std::make_unique<Running>(gst_gl_context_get_current());
        return GST_GL_BASE_FILTER_CLASS(velmor_gl_filter_parent_class)->gl_start(base);
    } catch (const std::exception& error) {
        GST_ELEMENT_ERROR(base, LIBRARY, INIT, ("Filters cannot work in this OpenGL context: %s", error.what()),
                          (nullptr));
        return FALSE;
    }
}

void stopGl(GstGLBaseFilter* base)
{
    stateOf(base).running.reset();
    GST_GL_BASE_FILTER_CLASS(velmor_gl_filter_parent_class)->gl_stop(base);
}

void beforeTransform(GstBaseTransform* base, GstBuffer* frame)
{
    followControllers(base, base->segment, frame);
}

/// What the next frame is filtered with. Where there is no shader for what the properties say, the former operator goes
/// on.
GlOperator::Settings nextSettings(GstGLFilter* base, const cv::Size& size)
{
    State& state = stateOf(base);
    GlOperator::Settings wanted = state.wishes.settingsFor(size);
    const std::string shortfall = wanted.shortfall();
    if (shortfall.empty()) {
        state.accepted = wanted;
        state.refused = {};
        return wanted;
    }
    if (!(wanted == state.refused))
        GST_ELEMENT_WARNING(base, RESOURCE, SETTINGS, ("%s", shortfall.c_str()),
                            ("The operator stays %s as it was.", state.accepted.what->name.c_str()));
    state.refused = wanted;
    wanted.what = state.accepted.what;
    wanted.models = state.accepted.models;
    wanted.values = state.wishes.parameters.valuesFor(*wanted.what);
    return wanted;
}

GlFrame frameOf(GstGLMemory* memory, GstBuffer* buffer, const cv::Size& size)
{
    GlFrame result;
    result.texture = gst_gl_memory_get_texture_id(memory);
    result.target = gst_gl_texture_target_to_gl(gst_gl_memory_get_texture_target(memory));
    result.size = {gst_gl_memory_get_texture_width(memory), gst_gl_memory_get_texture_height(memory)};
    result.part = cv::Rect({0, 0}, size);
    if (const GstVideoCropMeta* const crop = gst_buffer_get_video_crop_meta(buffer)) {
        const auto limited = [](guint length) {
            return static_cast<int>(std::min<guint>(length, G_MAXINT / 2)); // so that sums are numbers too
        };
        result.part = {limited(crop->x), limited(crop->y), limited(crop->width), limited(crop->height)};
    }
    if (result.part.size() != size || (result.part & cv::Rect({0, 0}, result.size)) != result.part)
        throw std::runtime_error("its texture is smaller than its caps say, or it is cropped otherwise");
    return result;
}

gboolean filterTexture(GstGLFilter* base, GstGLMemory* source, GstGLMemory* result)
{
    State& state = stateOf(base);
    const cv::Size size(GST_VIDEO_INFO_WIDTH(&base->out_info), GST_VIDEO_INFO_HEIGHT(&base->out_info));
    const GlOperator::Settings wanted = nextSettings(base, size);
    const GlOperator::Levels levels = {state.wishes.levels.scale, state.wishes.levels.offset};
    try {
        state.running->prepare(wanted, levels);
        state.running->adapted.run([&] {
            state.running->filter->run(frameOf(source, base->inbuf, size), levels,
                                       gst_gl_memory_get_texture_id(result));
        });
        moveRegions(base->outbuf, base->inbuf, size, wanted.what->name == "FlipV");
        return TRUE;
    } catch (const std::exception& error) {
        GST_ELEMENT_ERROR(base, LIBRARY, FAILED,
                          ("%s cannot filter frames: %s", wanted.what->name.c_str(), error.what()), (nullptr));
        return FALSE;
    }
}

void finalize(GObject* object)
{
    delete reinterpret_cast<VelmorGlFilter*>(object)->state;
    G_OBJECT_CLASS(velmor_gl_filter_parent_class)->finalize(object);
}

void velmor_gl_filter_class_init(VelmorGlFilterClass* type)
{
    GObjectClass* const object = G_OBJECT_CLASS(type);
    object->set_property = setProperty;
    object->get_property = getProperty;
    object->finalize = finalize;
    declareOperator(object, OPERATOR, offered());
    declareLevels(object, SCALE, "results");
    declareModels(object, MODELS);
    declareParameters(object, FIRST_PARAMETER, parametersOf(offered()));

    GstElementClass* const element = GST_ELEMENT_CLASS(type);
    gst_element_class_set_static_metadata(element, "Image operator on textures", "Filter/Effect/Video",
                                          "Filters each frame in OpenGL by an operator of one source",
                                          "velmor maintainers");
    GstCaps* const caps = gst_caps_from_string(GST_VIDEO_CAPS_MAKE_WITH_FEATURES(
        GST_CAPS_FEATURE_MEMORY_GL_MEMORY, "RGBA") ", texture-target = (string) rectangle");
    gst_element_class_add_pad_template(element, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, caps));
    gst_element_class_add_pad_template(element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
    gst_caps_unref(caps);

    GstBaseTransformClass* const transform = GST_BASE_TRANSFORM_CLASS(type);
    transform->start = start;
    transform->stop = stop;
    transform->propose_allocation = proposeAllocation;
    transform->transform_meta = transformMeta;
    transform->before_transform = beforeTransform;
    GstGLBaseFilterClass* const base = GST_GL_BASE_FILTER_CLASS(type);
    base->supported_gl_api = GST_GL_API_OPENGL; // with the classic functions, which GStreamer's default context lacks
    base->gl_start = startGl;
    base->gl_stop = stopGl;
    GST_GL_FILTER_CLASS(type)->transform_internal_caps = transformInternalCaps;
    GST_GL_FILTER_CLASS(type)->filter_texture = filterTexture;
}

void velmor_gl_filter_init(VelmorGlFilter* self)
{
    self->state = new State;
}

} // namespace

gboolean registerGlFilter(GstPlugin* plugin)
{
    return gst_element_register(plugin, "velmorglfilter", GST_RANK_NONE, velmor_gl_filter_get_type());
}

} // namespace velmor::gstreamer
