#pragma once

#include "glsupport/HeadlessContext.h"
#include "python/binding/WithoutPython.h"
#include "python/binding/gl/Thing.h"
#include "python/binding/gl/Turns.h"

#include <pybind11/pybind11.h>
#include <sys/types.h>

#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

namespace velmor::python::gl {

namespace py = pybind11;

/// An OpenGL context and all that Python has in it.
///
/// It lives until it is closed, or until neither it nor anything in it has an owner. OpenGL is called on its own thread
/// alone. What Python drops is deleted with the next call there, whichever thread dropped it.
class Context : public std::enable_shared_from_this<Context>
{
public:
    /// Makes a context without a window and makes it current.
    static std::shared_ptr<Context> make(bool adaptDriver);

    /// The context that another library has made current. That library keeps it: close this before it ends there.
    /// Contexts without a window share a display of EGL, and with the last of them everything on it ends, an adopted
    /// context too.
    static std::shared_ptr<Context> adopt();

    /// Closes what this thread has, and lets no call begin on any thread.
    static void endAll();

    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    ~Context();

    /// What it runs on.
    const std::string& description() const { return mDescription; }

    bool isOpen() const;
    bool isClosed() const { return !isOpen(); }

    /// Makes it current on its thread.
    /// @throws std::runtime_error  when this is not its thread, when it is closed, or the driver refuses
    void makeCurrent();

    /// Deletes all that is in it, then the context. The context that was current before it was made becomes current
    /// again, if this one was current. Of an adopted context that is not current anymore everything is forgotten.
    /// @throws std::runtime_error  when this is not its thread
    void close();

    /// The begin and the end of Python's with statement.
    std::shared_ptr<Context> enterWith();
    void exitWith(const py::args& exception);

    /// Does what calls OpenGL in this context, without the GIL.
    /// @throws std::runtime_error  when the context is not open, not of this thread or not current
    template<typename Work>
    auto run(const std::string& function, Work work)
    {
        const WithoutPython others;
        const WithOthers turn(function);
        enter(function);
        return work();
    }

    /// As run(), while no other thread calls OpenGL.
    template<typename Work>
    auto runAlone(const std::string& function, Work work)
    {
        const WithoutPython others;
        const Alone turn(function);
        enter(function);
        return work();
    }

    /// Takes something that was made here; inside run().
    template<typename Held>
    Owner<Held> own(std::unique_ptr<Held> held)
    {
        auto thing = std::make_unique<ThingOf<Held>>(std::move(held));
        mThings.insert(thing.get());
        return Owner<Held>(thing.release(), [context = shared_from_this()](Thing* dropped) { context->drop(dropped); });
    }

    /// The context that is current on this thread.
    /// @throws std::runtime_error  when there is none, or none of these
    static std::shared_ptr<Context> current(const std::string& function);

private:
    struct OfThread;
    static OfThread& ofThread();

    explicit Context(bool isAdopted);

    void makeCurrent(const std::string& function);
    void close(const std::string& function);
    static std::shared_ptr<Context> knownCurrent();
    static void closeDropped();
    void checkIsHere(const std::string& function) const;
    void enter(const std::string& function);
    bool isCurrent() const;
    void drop(Thing* thing);
    void deleteDropped();
    Thing* takeDropped();
    bool hasDropped() const;
    void closeHere();
    void endThings();
    void makePreviousCurrent();

    std::unique_ptr<glsupport::HeadlessContext> mHeadless; ///< null where it is adopted
    const std::thread::id mThread;
    const pid_t mProcess;
    const void* const mHandle; ///< the window system's
    const bool mIsAdopted;
    std::string mDescription;
    std::weak_ptr<Context> mPrevious; ///< was current when this one was made

    std::unordered_set<Thing*> mThings; ///< all, of which some may be dropped

    mutable std::mutex mMutex; ///< of the two below; nothing is called while it is held
    Thing* mDropped = nullptr; ///< the first of a list: a destructor adds to it, which must need no memory
    bool mIsOpen = true;
};

/// Context, for Python.
void defineContext(py::module_& module);

} // namespace velmor::python::gl
