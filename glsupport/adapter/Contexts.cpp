#include "glsupport/adapter/Contexts.h"

#include <EGL/egl.h>
#include <GL/glx.h>

#include <mutex>

namespace velmor::glsupport::adapter {
namespace {

std::mutex contextsMutex;
std::map<const void*, Context> contexts;
Treatment treatmentOfNewContexts;

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

const void* currentContext()
{
    if (const void* const egl = eglGetCurrentContext())
        return egl;
    if (const void* const glx = glXGetCurrentContext())
        return glx;
    return currentOfEglsOpenGl();
}

Context& context()
{
    const void* const current = currentContext();
    const std::lock_guard<std::mutex> lock(contextsMutex);
    const auto [entry, isNew] = contexts.try_emplace(current);
    if (isNew)
        entry->second.treatment = treatmentOfNewContexts;
    return entry->second;
}

ProgramRecord* find(Context& context, GLuint program)
{
    const auto entry = context.programs.find(program);
    return entry != context.programs.end() ? &entry->second : nullptr;
}

void forgetDeleted(Context& context)
{
    for (auto each = context.deletedInUse.begin(); each != context.deletedInUse.end();) {
        if (glIsProgram(*each)) {
            ++each;
        } else {
            context.programs.erase(*each);
            each = context.deletedInUse.erase(each);
        }
    }
}

void setTreatmentOfNewContexts(const Treatment& treatment)
{
    const std::lock_guard<std::mutex> lock(contextsMutex);
    treatmentOfNewContexts = treatment;
}

unsigned adaptationsInUse()
{
    const std::lock_guard<std::mutex> lock(contextsMutex);
    unsigned needed = 0;
    for (const auto& entry : contexts)
        needed |= entry.second.treatment.adaptations;
    return needed;
}

void forget(const void* context)
{
    const std::lock_guard<std::mutex> lock(contextsMutex);
    contexts.erase(context);
}

bool forgetAll()
{
    const std::lock_guard<std::mutex> lock(contextsMutex);
    treatmentOfNewContexts = {};
    for (auto each = contexts.begin(); each != contexts.end();) {
        if (each->second.takenOff.sources.empty()) {
            each = contexts.erase(each);
        } else {
            each->second.treatment = {};
            each->second.programs.clear();
            ++each;
        }
    }
    return !contexts.empty();
}

} // namespace velmor::glsupport::adapter
