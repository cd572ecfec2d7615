#include "glsupport/internal/adapter/EntryPoints.h"

#include "glsupport/internal/adapter/Expectations.h"
#include "glsupport/internal/adapter/Framebuffers.h"
#include "glsupport/internal/adapter/GeometryParameters.h"
#include "glsupport/internal/adapter/Links.h"
#include "glsupport/internal/adapter/MatrixUniforms.h"
#include "glsupport/internal/adapter/Process.h"
#include "glsupport/internal/adapter/Programs.h"
#include "glsupport/internal/adapter/Shaders.h"

#include <GL/glx.h>

namespace velmor::glsupport::adapter {
namespace {

/// What puts sources back, after everything else is gone.
constexpr unsigned kPuttingBack = kUseEntryPoints | kDeleteEntryPoints;

/// Calls an action with each entry point: its name, GLEW's pointer, where the driver's own is kept, ours, and its
/// group.
template<typename Action>
void forEachEntryPoint(const Action& action)
{
    Driver& driver = process().driver;
    action("glCompileShader", __glewCompileShader, driver.compileShader, &compileShader, kProgramEntryPoints);
    action("glCreateProgram", __glewCreateProgram, driver.createProgram, &createProgram, kProgramEntryPoints);
    action("glDeleteProgram", __glewDeleteProgram, driver.deleteProgram, &deleteProgram, kProgramEntryPoints);
    action("glLinkProgram", __glewLinkProgram, driver.linkProgram, &linkProgram, kProgramEntryPoints);
    action("glProgramParameteriEXT", __glewProgramParameteriEXT, driver.programParameteri, &programParameteri,
           kParameterEntryPoints);
    action("glUniform4f", __glewUniform4f, driver.uniform4f, &uniform4f, kUniformEntryPoints);
    action("glUseProgram", __glewUseProgram, driver.useProgram, &useProgram, kUseEntryPoints);
    action("glFramebufferTexture2DEXT", __glewFramebufferTexture2DEXT, driver.framebufferTexture2DExt,
           &framebufferTexture2DExt, kUseEntryPoints);
    action("glFramebufferTexture2D", __glewFramebufferTexture2D, driver.framebufferTexture2D, &framebufferTexture2D,
           kUseEntryPoints);
    action("glBindFramebufferEXT", __glewBindFramebufferEXT, driver.bindFramebufferExt, &bindFramebufferExt,
           kBindEntryPoints);
    action("glBindFramebuffer", __glewBindFramebuffer, driver.bindFramebuffer, &bindFramebuffer, kBindEntryPoints);
    action("glDeleteFramebuffersEXT", __glewDeleteFramebuffersEXT, driver.deleteFramebuffersExt, &deleteFramebuffersExt,
           kDeleteEntryPoints);
    action("glDeleteFramebuffers", __glewDeleteFramebuffers, driver.deleteFramebuffers, &deleteFramebuffers,
           kDeleteEntryPoints);
}

/// The groups of entry points that any of the adaptations needs.
unsigned groupsFor(unsigned adaptations)
{
    unsigned groups = 0;
    for (const Expectation& expectation : expectations())
        if ((adaptations & expectation.adaptation) != 0)
            groups |= expectation.entryPoints;
    return groups;
}

/// Whether a pointer is what glewInit() puts there.
template<typename EntryPoint>
bool isFromGlewInit(const char* name, EntryPoint glew)
{
    return reinterpret_cast<__GLXextFuncPtr>(glew) == glXGetProcAddressARB(reinterpret_cast<const GLubyte*>(name));
}

/// Puts ours of some groups in place, where nobody has wrapped them.
void replace(unsigned groups)
{
    forEachEntryPoint([groups](const char* name, auto& glew, auto& own, auto ours, unsigned group) {
        const bool mayBeMissing = group == kParameterEntryPoints; // which is what is adapted then
        if ((groups & group) == 0 || glew == ours || !(glew || mayBeMissing))
            return;
        if (process().driver.replaced.count(&own) != 0 && glew != own && !isFromGlewInit(name, glew))
            return;
        process().driver.replaced.insert(&own); // first, for it may throw
        own = glew;
        glew = ours;
    });
}

} // namespace

void setTreatment(const Treatment& treatment)
{
    process().context().treatment = treatment;
    replace(groupsFor(process().adaptationsInUse()));
}

void removeAll()
{
    if (currentContext()) {
        Context& current = process().context();
        putSourcesBack(current);
        if (const ProgramRecord* const program = current.inUse())
            shiftVerticesBack(*program);
    }
    const bool isPending = process().forgetAll();
    forEachEntryPoint([](const char*, auto& glew, auto& own, auto ours, unsigned) {
        if (glew != ours)
            return;
        glew = own;
        process().driver.replaced.erase(&own);
    });
    if (isPending)
        replace(kPuttingBack);
}

} // namespace velmor::glsupport::adapter
