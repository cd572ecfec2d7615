#pragma once

#include <functional>
#include <memory>

using GstGLContext = struct _GstGLContext;

namespace velmor::gstreamer {

/// A context of GStreamer's in which filters can work: GLEW is initialised, and the driver adapted.
///
/// All OpenGL elements of a pipeline share one context, so each element has one of these, and they are counted: the
/// first one in a context adapts it. What adapts drivers is kept once for the process, and so it goes with the last one
/// of all contexts.
///
/// GLEW's entry points are variables of the process. They are written when the first element of a context begins, when
/// the last of all ends, and while shaders are compiled; at those moments the filters of all other contexts wait.
///
/// An application that calls OpenGL through GLEW itself calls none of it at those moments. For contexts of its own it
/// has to install glsupport::DriverAdapter again when the last element has stopped.
class GlAdapted
{
public:
    /// To be called on the context's thread.
    /// @throws std::runtime_error  saying what the context lacks
    explicit GlAdapted(GstGLContext* context);
    GlAdapted(const GlAdapted&) = delete;
    GlAdapted& operator=(const GlAdapted&) = delete;

    /// May be called on any thread.
    ~GlAdapted();

    /// Does some work with filters on the context's thread, and keeps GStreamer's OpenGL state apart from it. It may be
    /// called on any thread.
    /// @throws whatever the work throws
    void run(const std::function<void()>& work) const;

    /// Does some work that compiles shaders, likewise. The filters of all other contexts wait, and filters announce
    /// nothing on the standard output, which may carry a stream.
    /// @throws std::runtime_error  when the driver refuses a shader, saying why
    /// @throws whatever the work throws
    void compile(const std::function<void()>& work) const;

private:
    std::shared_ptr<GstGLContext> mContext;
};

} // namespace velmor::gstreamer
