#pragma once

#include "glsupport/Export.h"

#include <memory>
#include <string>

namespace velmor::glsupport {

/// An OpenGL compatibility context without a window, current on the thread that makes it.
///
/// It needs neither a display server nor a GPU. It takes a GPU's EGL device where there is one; otherwise it takes
/// Mesa's surfaceless platform, which renders on the CPU. There is no default framebuffer to draw into or to show.
///
/// Several contexts may exist; makeCurrent() chooses between them. Use each from one thread at a time. Contexts may be
/// made, used and destroyed on several threads at once, with one exception. The process shares GLEW, which is
/// initialised with the first context, and again only for a context of another driver. At those moments, and with the
/// first context that DriverAdapter adapts, no other thread may call OpenGL. An application that calls glewInit()
/// itself must also call DriverAdapter itself.
class VELMOR_GLSUPPORT_EXPORT HeadlessContext
{
public:
    /// Makes the context and makes it current on this thread. Initialises GLEW if that has not been done for this
    /// driver, and has DriverAdapter adapt the driver.
    /// @param adaptDriver  false leaves the driver of this context as it is
    /// @throws std::runtime_error  saying what is missing for each way that was tried
    explicit HeadlessContext(bool adaptDriver = true);
    HeadlessContext(const HeadlessContext&) = delete;
    HeadlessContext& operator=(const HeadlessContext&) = delete;

    /// Releases the context, and the display with the last context on it. OpenGL objects of the context go with it, so
    /// destroy whatever owns one, such as a filter or a texture, before the context.
    ~HeadlessContext();

    /// Makes this context current on this thread, and makes OpenGL the API that EGL calls of this thread refer to.
    /// @throws std::runtime_error  when the driver refuses, as it does while another thread holds the context
    void makeCurrent();

    /// What the context runs on: renderer and OpenGL version, as its driver names them. It can be called on any thread,
    /// whatever is current there.
    std::string description() const;

private:
    struct Implementation;
    std::unique_ptr<Implementation> mImplementation;
};

} // namespace velmor::glsupport
