#pragma once

#include "glsupport/Export.h"

#include <memory>
#include <string>

namespace velmor::glsupport {

/// An OpenGL compatibility context without a window, current on the thread that makes it.
///
/// It needs neither a display server nor a GPU: it takes a GPU's EGL device where there is one, and else Mesa's
/// surfaceless platform, which renders on the CPU. There is no default framebuffer to draw into or to show.
///
/// Several contexts may exist; makeCurrent() chooses between them. Use each from one thread at a time. Contexts may be
/// made, used and destroyed on several threads at once. GLEW, which the process shares, is initialised with the first
/// context, and again only for one of another driver: then, and with the first context that DriverAdapter adapts, no
/// other thread may call OpenGL. An application that calls glewInit() itself sees to DriverAdapter itself too.
class VELMOR_GLSUPPORT_EXPORT HeadlessContext
{
public:
    /// Makes the context, makes it current on this thread, initialises GLEW where it is not for this driver, and has
    /// DriverAdapter adapt the driver.
    /// @param adaptDriver  false leaves the driver of this context as it is
    /// @throws std::runtime_error  saying for each way that was tried what is missing
    explicit HeadlessContext(bool adaptDriver = true);
    HeadlessContext(const HeadlessContext&) = delete;
    HeadlessContext& operator=(const HeadlessContext&) = delete;

    /// Releases the context and, with the last context on it, the display. OpenGL objects of the context go with it;
    /// whatever owns one, a filter or a texture, must be destroyed before.
    ~HeadlessContext();

    /// Makes this context current on this thread, and OpenGL the API that this thread's calls of EGL are about.
    /// @throws std::runtime_error  when the driver refuses, as it does while another thread holds the context
    void makeCurrent();

    /// What the context runs on, as its driver names itself: renderer and OpenGL version. On any thread, whatever is
    /// current there.
    std::string description() const;

private:
    struct Implementation;
    std::unique_ptr<Implementation> mImplementation;
};

} // namespace velmor::glsupport
