#include "python/binding/gl/Context.h"

#include "glsupport/DriverAdapter.h"
#include "glsupport/StateGuard.h"
#include "python/binding/Class.h"
#include "python/binding/Docstrings.h"
#include "python/binding/gl/Methods.h"

#include <GL/glew.h>

#include <EGL/egl.h>
#include <GL/glx.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace velmor::python::gl {
namespace {

/// The context that is current on this thread, by whichever window system.
const void* currentHandle()
{
    if (const void* const egl = eglGetCurrentContext())
        return egl;
    return glXGetCurrentContext();
}

std::string text(GLenum name)
{
    const GLubyte* const value = glGetString(name);
    return value ? reinterpret_cast<const char*>(value) : "unknown";
}

/// An error of the library, told as one of this call.
[[noreturn]] void failAs(const std::string& function, const std::string& what)
{
    const std::size_t end = what.find("(): ");
    throw std::runtime_error("velmor." + function + "(): " + (end == std::string::npos ? what : what.substr(end + 4)));
}

} // namespace

/// The contexts of one thread. They are closed when it ends, because afterwards nobody can.
struct Context::OfThread
{
    OfThread() = default;
    OfThread(const OfThread&) = delete;
    OfThread& operator=(const OfThread&) = delete;
    ~OfThread()
    {
        if (isForkOfUser() || hasTurn()) // a filter ends the process, which takes them along
            return;
        const WithOthers turn;
        while (!all.empty() && !haveTurnsEnded()) // else the process takes them along
            all.back()->closeHere();
    }

    std::vector<std::shared_ptr<Context>> all;
};

Context::OfThread& Context::ofThread()
{
    thread_local OfThread contexts;
    return contexts;
}

Context::Context(bool isAdopted)
    : mThread(std::this_thread::get_id()), mProcess(getpid()), mHandle(currentHandle()), mIsAdopted(isAdopted),
      mDescription(text(GL_RENDERER) + ", OpenGL " + text(GL_VERSION))
{
}

Context::~Context()
{
    // Closed by now, unless the process was forked or ends: what is left goes with the process.
    static_cast<void>(mHeadless.release());
}

std::shared_ptr<Context> Context::make(bool adaptDriver)
{
    const std::string function = "gl.Context";
    const WithoutPython others;
    const Alone turn(function);
    closeDropped();
    const std::shared_ptr<Context> previous = knownCurrent();
    try {
        auto headless = std::make_unique<glsupport::HeadlessContext>(adaptDriver);
        const std::shared_ptr<Context> context(new Context(false));
        context->mPrevious = previous;
        ofThread().all.push_back(context);
        context->mHeadless = std::move(headless); // last: until then it ends where there is no memory
        return context;
    } catch (const std::exception& error) {
        if (previous && !previous->mIsAdopted)
            previous->mHeadless->makeCurrent();
        if (dynamic_cast<const std::runtime_error*>(&error))
            failAs(function, error.what());
        throw;
    }
}

std::shared_ptr<Context> Context::adopt()
{
    const std::string function = "gl.Context.adopt";
    const WithoutPython others;
    const Alone turn(function);
    closeDropped();
    if (const std::shared_ptr<Context> known = knownCurrent()) {
        if (!known->mIsAdopted)
            fail(function, "a context of another library to be current", "one of velmor.gl");
        return known;
    }
    if (!currentHandle())
        fail(function, "an OpenGL context to be current on this thread", "none");
    const GLenum status = glewInit();
    // GLEW looks for GLX after it has loaded every entry point: without a display that one step fails.
    if (status != GLEW_OK && status != GLEW_ERROR_NO_GLX_DISPLAY)
        fail(function, "a context that GLEW can use",
             std::string("\"") + reinterpret_cast<const char*>(glewGetErrorString(status)) + '"');
    try {
        glsupport::DriverAdapter::install(); // glewInit() has put the driver's own entry points back
    } catch (const std::runtime_error& error) {
        failAs(function, error.what());
    }
    const std::shared_ptr<Context> context(new Context(true));
    ofThread().all.push_back(context);
    return context;
}

void Context::endAll()
{
    if (isForkOfUser())
        return;
    const WithoutPython others;
    {
        const WithOthers turn;
        while (!ofThread().all.empty() && !haveTurnsEnded())
            ofThread().all.back()->closeHere();
    }
    endTurns();
}

std::shared_ptr<Context> Context::enterWith()
{
    makeCurrent("gl.Context.__enter__");
    return shared_from_this();
}

void Context::exitWith(const py::args&)
{
    close("gl.Context.__exit__");
}

void Context::makeCurrent()
{
    makeCurrent("gl.Context.make_current");
}

void Context::close()
{
    close("gl.Context.close");
}

bool Context::isOpen() const
{
    if (getpid() != mProcess)
        return false;
    const std::lock_guard<std::mutex> lock(mMutex);
    return mIsOpen;
}

void Context::makeCurrent(const std::string& function)
{
    const WithoutPython others;
    const WithOthers turn(function);
    closeDropped();
    checkIsHere(function);
    if (mIsAdopted && !isCurrent())
        fail(function, "the library that made the context to make it current", "a context that is not current");
    try {
        if (!mIsAdopted)
            mHeadless->makeCurrent();
    } catch (const std::runtime_error& error) {
        failAs(function, error.what());
    }
    deleteDropped();
}

void Context::close(const std::string& function)
{
    if (isForkOfUser() || !isOpen())
        return;
    const WithoutPython others;
    const WithOthers turn(function);
    checkIsHere(function);
    closeHere();
}

std::shared_ptr<Context> Context::current(const std::string& function)
{
    const WithoutPython others;
    const WithOthers turn(function);
    closeDropped();
    if (std::shared_ptr<Context> context = knownCurrent())
        return context;
    fail(function, "a context of velmor.gl to be current on this thread",
         currentHandle() ? "one of another library: see Context.adopt()" : "none: make a Context");
}

/// The context that is current, where it is one of these.
std::shared_ptr<Context> Context::knownCurrent()
{
    for (const std::shared_ptr<Context>& context : ofThread().all)
        if (context->isCurrent())
            return context;
    return nullptr;
}

/// Closes the contexts of this thread that nobody owns anymore, nor anything in them.
void Context::closeDropped()
{
    std::vector<std::shared_ptr<Context>>& all = ofThread().all;
    for (std::size_t i = all.size(); i-- > 0;)
        if (all[i].use_count() == 1)
            all[i]->closeHere();
}

void Context::checkIsHere(const std::string& function) const
{
    if (!isOpen())
        fail(function, "a context that is open", "one that is closed");
    if (mThread != std::this_thread::get_id())
        fail(function, "the thread that made the context", "another thread");
}

void Context::enter(const std::string& function)
{
    if (mThread == std::this_thread::get_id())
        closeDropped();
    checkIsHere(function);
    if (!isCurrent())
        fail(function, "its context to be current", currentHandle() ? "another one" : "none");
    deleteDropped();
}

bool Context::isCurrent() const
{
    return currentHandle() == mHandle;
}

/// On any thread.
void Context::drop(Thing* thing)
{
    if (getpid() != mProcess)
        return; // a thread of the parent may have held the mutex
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (mIsOpen) {
            thing->nextDropped = std::exchange(mDropped, thing);
            return;
        }
    }
    delete thing;
}

Thing* Context::takeDropped()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return std::exchange(mDropped, nullptr);
}

bool Context::hasDropped() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mDropped != nullptr;
}

void Context::deleteDropped()
{
    if (!hasDropped())
        return;
    const glsupport::StateGuard state; // a filter's end binds no framebuffer and no program
    for (Thing* thing = takeDropped(); thing != nullptr;) {
        Thing* const next = thing->nextDropped;
        thing->end();
        mThings.erase(thing);
        delete std::exchange(thing, next);
    }
}

void Context::closeHere()
{
    const std::shared_ptr<Context> self = shared_from_this();
    std::vector<std::shared_ptr<Context>>& all = ofThread().all;
    all.erase(std::find(all.begin(), all.end(), self));

    const bool wasCurrent = isCurrent();
    const std::shared_ptr<Context> other = wasCurrent ? nullptr : knownCurrent();
    endThings();
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mIsOpen = false;
    }
    for (const Thing* thing = takeDropped(); thing != nullptr;)
        delete std::exchange(thing, thing->nextDropped);
    mHeadless.reset();
    if (wasCurrent)
        makePreviousCurrent();
    else if (other && !other->mIsAdopted)
        other->mHeadless->makeCurrent();
}

void Context::endThings()
{
    bool canCall = isCurrent();
    try {
        if (!canCall && !mIsAdopted) {
            mHeadless->makeCurrent();
            canCall = true;
        }
    } catch (const std::runtime_error&) { // the driver lost it, and what is in it
    }
    for (Thing* const thing : mThings) {
        if (canCall)
            thing->end();
        else
            thing->abandon();
    }
    mThings.clear();
}

void Context::makePreviousCurrent()
{
    std::shared_ptr<Context> previous = mPrevious.lock();
    while (previous && !previous->isOpen())
        previous = previous->mPrevious.lock();
    if (previous && !mIsAdopted && !previous->mIsAdopted)
        previous->mHeadless->makeCurrent();
}

void defineContext(py::module_& module)
{
    Class<Context, std::shared_ptr<Context>>(module, "Context", docstring("gl.Context"))
        .def(py::init(&Context::make), py::arg("adapt_driver") = true)
        .def_static("adopt", &Context::adopt, docstring("gl.Context.adopt"))
        .def("make_current", method(py::overload_cast<>(&Context::makeCurrent)), docstring("gl.Context.make_current"))
        .def("close", method(py::overload_cast<>(&Context::close)), docstring("gl.Context.close"))
        .def("__enter__", method(&Context::enterWith))
        .def("__exit__", method(&Context::exitWith))
        .def_property_readonly("description", method(&Context::description), docstring("gl.Context.description"))
        .def_property_readonly("closed", method(&Context::isClosed), docstring("gl.Context.closed"));
    module.def("_end", &Context::endAll);
}

} // namespace velmor::python::gl
