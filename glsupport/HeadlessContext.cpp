#include "glsupport/HeadlessContext.h"

#include "glsupport/DriverAdapter.h"
#include "glsupport/internal/adapter/EntryPoints.h"
#include "glsupport/internal/adapter/Process.h"

#include <GL/glew.h>

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

namespace velmor::glsupport {
namespace {

std::string eglErrorText()
{
    static const std::map<EGLint, const char*> names = {
        {EGL_SUCCESS, "no reason given"},         {EGL_NOT_INITIALIZED, "EGL_NOT_INITIALIZED"},
        {EGL_BAD_ACCESS, "EGL_BAD_ACCESS"},       {EGL_BAD_ALLOC, "EGL_BAD_ALLOC"},
        {EGL_BAD_ATTRIBUTE, "EGL_BAD_ATTRIBUTE"}, {EGL_BAD_CONFIG, "EGL_BAD_CONFIG"},
        {EGL_BAD_CONTEXT, "EGL_BAD_CONTEXT"},     {EGL_BAD_DISPLAY, "EGL_BAD_DISPLAY"},
        {EGL_BAD_MATCH, "EGL_BAD_MATCH"},         {EGL_BAD_PARAMETER, "EGL_BAD_PARAMETER"},
        {EGL_CONTEXT_LOST, "EGL_CONTEXT_LOST"},
    };
    const EGLint code = eglGetError();
    const auto name = names.find(code);
    return name != names.end() ? name->second : "EGL error " + std::to_string(code);
}

bool contains(const char* extensions, const char* name)
{
    return extensions && std::strstr(extensions, name);
}

/// Takes no memory where the condition holds: destructors make contexts current.
void require(bool condition, const char* what)
{
    if (!condition)
        throw std::runtime_error(what);
}

/// Asks EGL for the reason after the call that failed; an argument of require() would ask before.
void requireEgl(bool succeeded, const char* call)
{
    if (!succeeded)
        throw std::runtime_error(call + (": " + eglErrorText()));
}

/// An initialised EGL display. EGL hands out one display per platform and device however often it is asked, and
/// terminating it ends every context on it: so its users are counted, and the last one terminates it, before another
/// thread can come by it again.
class Display
{
public:
    explicit Display(EGLDisplay handle) : mHandle(handle)
    {
        require(handle != EGL_NO_DISPLAY, "there is no such display");
        const std::lock_guard<std::mutex> lock(mutex);
        const auto users = usersOf.try_emplace(handle, 0).first;
        requireEgl(users->second > 0 || eglInitialize(handle, nullptr, nullptr), "eglInitialize");
        ++users->second;
    }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;
    ~Display()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (--usersOf[mHandle] == 0)
            eglTerminate(mHandle);
    }

    EGLDisplay handle() const { return mHandle; }

private:
    static std::mutex mutex;
    static std::map<EGLDisplay, int> usersOf;

    EGLDisplay mHandle;
};

std::mutex Display::mutex;
std::map<EGLDisplay, int> Display::usersOf;

/// One way to come to a display, with its name for messages.
struct Candidate
{
    std::string name;
    std::function<EGLDisplay()> open;
};

/// The GPUs first, then the platform that renders on the CPU.
std::vector<Candidate> candidates()
{
    const char* const extensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    const auto getPlatformDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    require(getPlatformDisplay && contains(extensions, "EGL_EXT_platform_base"), "EGL lacks EGL_EXT_platform_base");

    std::vector<Candidate> result;
    const auto queryDevices = reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
    const auto queryDeviceString =
        reinterpret_cast<PFNEGLQUERYDEVICESTRINGEXTPROC>(eglGetProcAddress("eglQueryDeviceStringEXT"));
    if (queryDevices && queryDeviceString && contains(extensions, "EGL_EXT_platform_device")) {
        EGLDeviceEXT devices[16];
        EGLint count = 0;
        queryDevices(16, devices, &count);
        for (EGLint i = 0; i < count; ++i) {
            const EGLDeviceEXT device = devices[i];
            if (!contains(queryDeviceString(device, EGL_EXTENSIONS), "EGL_MESA_device_software"))
                result.push_back({"EGL device " + std::to_string(i), [getPlatformDisplay, device] {
                                      return getPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, device, nullptr);
                                  }});
        }
    }
    if (contains(extensions, "EGL_MESA_platform_surfaceless"))
        result.push_back({"EGL surfaceless platform", [getPlatformDisplay] {
                              return getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
                          }});
    require(!result.empty(), "EGL offers neither a device nor Mesa's surfaceless platform");
    return result;
}

/// Which API functions of EGL are about is a setting of each thread, OpenGL ES at first.
void bindOpenGl()
{
    require(eglBindAPI(EGL_OPENGL_API), "OpenGL is not offered, only OpenGL ES");
}

EGLContext createContext(EGLDisplay display)
{
    require(contains(eglQueryString(display, EGL_EXTENSIONS), "EGL_KHR_surfaceless_context"),
            "EGL_KHR_surfaceless_context is missing");
    bindOpenGl();
    const EGLint attributes[] = {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    require(eglChooseConfig(display, attributes, &config, 1, &count) && count > 0, "no configuration for OpenGL");
    // Without attributes EGL makes a compatibility context of the highest version that the driver has.
    const EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
    requireEgl(context != EGL_NO_CONTEXT, "eglCreateContext");
    return context;
}

std::string text(GLenum name)
{
    const GLubyte* const value = glGetString(name);
    return value ? reinterpret_cast<const char*>(value) : "unknown";
}

/// The current context's driver, as it names itself.
std::string driverName()
{
    return text(GL_VENDOR) + '\n' + text(GL_RENDERER) + '\n' + text(GL_VERSION);
}

/// Initialises GLEW for the current context's driver, unless it is. It puts the driver's entry points into variables of
/// the process, in the place of the adapter's: contexts of other threads would be without them for a while.
void initialiseGlew()
{
    static std::string initialisedFor;
    std::string name = driverName();
    if (initialisedFor == name)
        return;
    const GLenum status = glewInit();
    // GLEW looks for GLX after it has loaded every OpenGL entry point: without a display that one step fails.
    if (status != GLEW_OK && status != GLEW_ERROR_NO_GLX_DISPLAY)
        throw std::runtime_error(std::string("glewInit: ") + reinterpret_cast<const char*>(glewGetErrorString(status)));
    initialisedFor = std::move(name);
}

/// Makes OpenGL ready in the current context, for one thread after the other.
void prepareOpenGl(bool adaptDriver)
{
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    initialiseGlew();
    if (adaptDriver)
        DriverAdapter::install();
    else
        adapter::setTreatment({}); // which keeps other contexts adapted after glewInit()
}

} // namespace

struct HeadlessContext::Implementation
{
    explicit Implementation(EGLDisplay handle) : display(handle), context(createContext(handle)) {}
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;
    ~Implementation()
    {
        adapter::process().forget(context);
        if (eglGetCurrentContext() == context)
            eglMakeCurrent(display.handle(), EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        eglDestroyContext(display.handle(), context);
    }

    void makeCurrent()
    {
        bindOpenGl();
        requireEgl(eglMakeCurrent(display.handle(), EGL_NO_SURFACE, EGL_NO_SURFACE, context), "eglMakeCurrent");
    }

    Display display;
    EGLContext context;
    std::string description;
};

HeadlessContext::HeadlessContext(bool adaptDriver)
{
    std::string tried;
    try {
        for (const Candidate& candidate : candidates()) {
            try {
                mImplementation = std::make_unique<Implementation>(candidate.open());
                mImplementation->makeCurrent();
                prepareOpenGl(adaptDriver);
                mImplementation->description = text(GL_RENDERER) + ", OpenGL " + text(GL_VERSION);
                return;
            } catch (const std::runtime_error& error) {
                mImplementation.reset();
                tried += "; " + candidate.name + ": " + error.what();
            }
        }
    } catch (const std::runtime_error& error) {
        tried = std::string("; ") + error.what();
    }
    throw std::runtime_error("HeadlessContext::HeadlessContext(): cannot make an OpenGL context" + tried);
}

HeadlessContext::~HeadlessContext() = default;

void HeadlessContext::makeCurrent()
{
    try {
        mImplementation->makeCurrent();
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string("HeadlessContext::makeCurrent(): ") + error.what());
    }
}

std::string HeadlessContext::description() const
{
    return mImplementation->description;
}

} // namespace velmor::glsupport
