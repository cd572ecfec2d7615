#include <GL/glew.h>

#include "cvprocess/gpuStdShaders/internal/Announcements.h"
#include "glsupport/DriverAdapter.h"
#include "glsupport/StateGuard.h"
#include "glsupport/internal/Compilation.h"
#include "gstreamer/GlAdapted.h"

#define GST_USE_UNSTABLE_API // of GStreamer's OpenGL library, which has no other
#include <gst/gl/gl.h>

#include <exception>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <string>

namespace velmor::gstreamer {
namespace {

/// Lets many threads call OpenGL through GLEW, or one alone write GLEW's entry points.
class Turns
{
public:
    std::shared_lock<std::shared_mutex> withOthers()
    {
        const std::lock_guard waiting(mEntrance); // passes that follow each other closely would never let a writer in
        return std::shared_lock(mUse);
    }
    std::unique_lock<std::shared_mutex> alone()
    {
        const std::lock_guard waiting(mEntrance);
        return std::unique_lock(mUse);
    }

private:
    std::mutex mEntrance;
    std::shared_mutex mUse;
};

Turns& turns()
{
    static Turns kept;
    return kept;
}

/// How many elements work in each context; read and written alone.
std::map<const GstGLContext*, int>& elementsIn()
{
    static std::map<const GstGLContext*, int> counts;
    return counts;
}

void adapt()
{
    const GLenum status = glewInit();
    // GLEW looks for GLX after it has loaded every OpenGL entry point: without an X display that one step fails.
    if (status != GLEW_OK && status != GLEW_ERROR_NO_GLX_DISPLAY)
        throw std::runtime_error(std::string("glewInit: ") + reinterpret_cast<const char*>(glewGetErrorString(status)));
    glsupport::DriverAdapter::install();
}

void enter(const GstGLContext* context)
{
    const auto lock = turns().alone();
    const auto entry = elementsIn().try_emplace(context, 0).first;
    try {
        if (entry->second == 0)
            adapt();
    } catch (...) {
        elementsIn().erase(entry);
        throw;
    }
    ++entry->second;
}

void leave(const GstGLContext* context)
{
    const auto lock = turns().alone();
    if (--elementsIn()[context] == 0)
        elementsIn().erase(context);
    if (elementsIn().empty())
        glsupport::DriverAdapter::remove();
}

/// Calls a function on the thread of a context, and hands its exception on to the caller.
void runOnThreadOf(GstGLContext* context, const std::function<void()>& function)
{
    struct Call
    {
        const std::function<void()>& function;
        std::exception_ptr exception;
    } call{function, nullptr};
    const auto invoke = [](GstGLContext*, gpointer data) {
        Call& made = *static_cast<Call*>(data);
        try {
            made.function();
        } catch (...) {
            made.exception = std::current_exception(); // C code lies between
        }
    };
    gst_gl_context_thread_add(context, invoke, &call);
    if (call.exception)
        std::rethrow_exception(call.exception);
}

} // namespace

GlAdapted::GlAdapted(GstGLContext* context)
    : mContext(GST_GL_CONTEXT(gst_object_ref(context)), [](GstGLContext* kept) { gst_object_unref(kept); })
{
    enter(context);
}

GlAdapted::~GlAdapted()
{
    runOnThreadOf(mContext.get(), [this] { leave(mContext.get()); });
}

void GlAdapted::run(const std::function<void()>& work) const
{
    runOnThreadOf(mContext.get(), [&work] {
        const auto lock = turns().withOthers();
        const glsupport::StateGuard guard;
        work();
    });
}

void GlAdapted::compile(const std::function<void()>& work) const
{
    runOnThreadOf(mContext.get(), [&work] {
        const auto lock = turns().alone();
        const glsupport::StateGuard guard;
        const cvprocess::Silence silence;
        const glsupport::Compilation refusals;
        work();
    });
}

} // namespace velmor::gstreamer
