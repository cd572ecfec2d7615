#pragma once

#include <memory>
#include <utility>

namespace velmor::python::gl {

/// What a context holds for Python, such as a texture. It outlives what it holds when the context closes first.
class Thing
{
public:
    Thing() = default;
    Thing(const Thing&) = delete;
    Thing& operator=(const Thing&) = delete;
    virtual ~Thing() = default;

    /// Deletes what it holds, in its context, which is current.
    virtual void end() = 0;

    /// Forgets what it holds, without a call of OpenGL: the context went, and took the names with it.
    virtual void abandon() = 0;

    Thing* nextDropped = nullptr; ///< of those that its context is to delete
};

/// A thing of one class.
template<typename Held>
class ThingOf : public Thing
{
public:
    explicit ThingOf(std::unique_ptr<Held> held) : mHeld(std::move(held)) {}
    ~ThingOf() override { ThingOf::abandon(); } // on any thread: by now it was ended, or nobody can end it

    Held& operator*() const { return *mHeld; }
    Held* operator->() const { return mHeld.get(); }

    void end() override { mHeld.reset(); }
    void abandon() override { static_cast<void>(mHeld.release()); }

private:
    std::unique_ptr<Held> mHeld;
};

/// A thing's owner. When the last one goes, on whatever thread, the thing's context deletes it later, on its own.
template<typename Held>
using Owner = std::shared_ptr<ThingOf<Held>>;

} // namespace velmor::python::gl
