#include "glsupport/internal/adapter/Process.h"

#include <EGL/egl.h>
#include <GL/glx.h>

#include <array>
#include <cstddef>
#include <new>

namespace velmor::glsupport::adapter {
namespace {

/// EGL answers for the interface that the thread has chosen, which an application may have changed meanwhile.
const void* currentOfEglsOpenGl()
{
    const EGLenum chosen = eglQueryAPI();
    if (chosen == EGL_OPENGL_API || !eglBindAPI(EGL_OPENGL_API))
        return nullptr;
    const void* const current = eglGetCurrentContext();
    eglBindAPI(chosen);
    return current;
}

} // namespace

Context& Process::context()
{
    const void* const current = currentContext();
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto [entry, isNew] = mContexts.try_emplace(current);
    if (isNew)
        entry->second.treatment = mTreatmentOfNewContexts;
    return entry->second;
}

void Process::setTreatmentOfNewContexts(const Treatment& treatment)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mTreatmentOfNewContexts = treatment;
}

unsigned Process::adaptationsInUse()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    unsigned inUse = 0;
    for (const auto& entry : mContexts)
        inUse |= entry.second.treatment.adaptations;
    return inUse;
}

void Process::forget(const void* context)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mContexts.erase(context);
}

bool Process::forgetAll()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mTreatmentOfNewContexts = {};
    for (auto each = mContexts.begin(); each != mContexts.end();) {
        if (each->second.takenOff.isEmpty()) {
            each = mContexts.erase(each);
        } else {
            each->second.treatment = {};
            each->second.programs.clear();
            ++each;
        }
    }
    return !mContexts.empty();
}

Process& process()
{
    // Never destroyed: what lives until the process ends may still call OpenGL then. Destructors ask for it, so it
    // takes no memory either.
    alignas(Process) static std::array<std::byte, sizeof(Process)> place;
    static Process& kept = *new (place.data()) Process;
    return kept;
}

const void* currentContext()
{
    if (const void* const egl = eglGetCurrentContext())
        return egl;
    if (const void* const glx = glXGetCurrentContext())
        return glx;
    return currentOfEglsOpenGl();
}

} // namespace velmor::glsupport::adapter
