#include "glsupport/adapter/EntryPoints.h"

#include "glsupport/adapter/Contexts.h"
#include "glsupport/adapter/Driver.h"
#include "glsupport/adapter/Framebuffers.h"
#include "glsupport/adapter/Programs.h"

namespace velmor::glsupport::adapter {

Driver driver;

namespace {

/// Calls an action with each entry point: GLEW's pointer, where the driver's own is kept, ours, and the adaptations
/// that need it.
template<typename Action>
void forEachEntryPoint(const Action& action)
{
    constexpr unsigned kAll = ~0u;
    action(__glewCompileShader, driver.compileShader, &compileShader, kAll);
    action(__glewCreateProgram, driver.createProgram, &createProgram, kAll);
    action(__glewDeleteProgram, driver.deleteProgram, &deleteProgram, kAll);
    action(__glewLinkProgram, driver.linkProgram, &linkProgram, kAll);
    action(__glewProgramParameteriEXT, driver.programParameteri, &programParameteri, kGeometryShaders);
    action(__glewUseProgram, driver.useProgram, &useProgram, kClippingSources | kCornerPoints);
    action(__glewUniform4f, driver.uniform4f, &uniform4f, kMatrixUniforms);
    action(__glewFramebufferTexture2DEXT, driver.framebufferTexture2D, &framebufferTexture2D, kClippingSources);
    action(__glewDeleteFramebuffersEXT, driver.deleteFramebuffersExt, &deleteFramebuffersExt, kClippingSources);
    action(__glewDeleteFramebuffers, driver.deleteFramebuffers, &deleteFramebuffers, kClippingSources);
    action(__glewBindFramebufferEXT, driver.bindFramebufferExt, &bindFramebufferExt, kCornerPoints);
    action(__glewBindFramebuffer, driver.bindFramebuffer, &bindFramebuffer, kCornerPoints);
}

/// The entry points for which ours have been put in place and not been taken away again, by where the driver's own are
/// kept. Ours may be called for them even where GLEW's pointer is no longer ours: a third party may have wrapped it.
std::set<const void*> inPlace;

} // namespace

void adapt(const Adaptations& adaptations)
{
    context().adaptations = adaptations;
    const unsigned needed = neededAdaptations();
    forEachEntryPoint([needed](auto& glew, auto& own, auto ours, unsigned adaptationsOfIt) {
        const bool isFirst = inPlace.count(&own) == 0;
        if ((needed & adaptationsOfIt) == 0 || glew == ours || !(isFirst || glew == own))
            return;
        own = glew;
        glew = ours;
        inPlace.insert(&own);
    });
}

void removeAll()
{
    if (currentContext())
        putSourcesBack(context());
    const bool isPending = forgetAll();
    forEachEntryPoint([](auto& glew, auto& own, auto ours, unsigned) {
        if (glew != ours)
            return;
        glew = own;
        inPlace.erase(&own);
    });
    if (isPending && __glewUseProgram == driver.useProgram) {
        __glewUseProgram = &useProgram;
        inPlace.insert(&driver.useProgram);
    }
}

} // namespace velmor::glsupport::adapter
