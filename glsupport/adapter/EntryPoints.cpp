#include "glsupport/adapter/EntryPoints.h"

#include "glsupport/adapter/Framebuffers.h"
#include "glsupport/adapter/GeometryParameters.h"
#include "glsupport/adapter/Links.h"
#include "glsupport/adapter/MatrixUniforms.h"
#include "glsupport/adapter/Process.h"
#include "glsupport/adapter/Programs.h"
#include "glsupport/adapter/Shaders.h"

#include <GL/glx.h>

namespace velmor::glsupport::adapter {
namespace {

/// Stands beside the bits of Adaptation for what puts sources back, after everything else is gone.
constexpr unsigned kPuttingBack = 1u << 31;

/// Calls an action with each entry point: its name, GLEW's pointer, where the driver's own is kept, ours, and the
/// adaptations that need it.
template<typename Action>
void forEachEntryPoint(const Action& action)
{
    Driver& driver = process().driver;
    constexpr unsigned kAll = ~kPuttingBack;
    constexpr unsigned kInUse = kClippingSources | kCornerPoints | kPuttingBack;
    action("glCompileShader", __glewCompileShader, driver.compileShader, &compileShader, kAll);
    action("glCreateProgram", __glewCreateProgram, driver.createProgram, &createProgram, kAll);
    action("glDeleteProgram", __glewDeleteProgram, driver.deleteProgram, &deleteProgram, kAll);
    action("glLinkProgram", __glewLinkProgram, driver.linkProgram, &linkProgram, kAll);
    action("glProgramParameteriEXT", __glewProgramParameteriEXT, driver.programParameteri, &programParameteri,
           kGeometryShaders);
    action("glUseProgram", __glewUseProgram, driver.useProgram, &useProgram, kInUse);
    action("glUniform4f", __glewUniform4f, driver.uniform4f, &uniform4f, kMatrixUniforms);
    action("glFramebufferTexture2DEXT", __glewFramebufferTexture2DEXT, driver.framebufferTexture2DExt,
           &framebufferTexture2DExt, kInUse);
    action("glFramebufferTexture2D", __glewFramebufferTexture2D, driver.framebufferTexture2D, &framebufferTexture2D,
           kInUse);
    action("glDeleteFramebuffersEXT", __glewDeleteFramebuffersEXT, driver.deleteFramebuffersExt, &deleteFramebuffersExt,
           kClippingSources | kPuttingBack);
    action("glDeleteFramebuffers", __glewDeleteFramebuffers, driver.deleteFramebuffers, &deleteFramebuffers,
           kClippingSources | kPuttingBack);
    action("glBindFramebufferEXT", __glewBindFramebufferEXT, driver.bindFramebufferExt, &bindFramebufferExt,
           kCornerPoints);
    action("glBindFramebuffer", __glewBindFramebuffer, driver.bindFramebuffer, &bindFramebuffer, kCornerPoints);
}

/// Whether a pointer is what glewInit() puts there.
template<typename EntryPoint>
bool isFromGlewInit(const char* name, EntryPoint glew)
{
    return reinterpret_cast<__GLXextFuncPtr>(glew) == glXGetProcAddressARB(reinterpret_cast<const GLubyte*>(name));
}

/// Puts ours in place where any of the adaptations needs it, and where nobody has wrapped ours.
void replaceFor(unsigned needed)
{
    forEachEntryPoint([needed](const char* name, auto& glew, auto& own, auto ours, unsigned adaptationsOfIt) {
        const bool mayBeMissing = adaptationsOfIt == kGeometryShaders; // which is what is adapted then
        if ((needed & adaptationsOfIt) == 0 || glew == ours || !(glew || mayBeMissing))
            return;
        if (process().driver.replaced.count(&own) != 0 && glew != own && !isFromGlewInit(name, glew))
            return;
        own = glew;
        glew = ours;
        process().driver.replaced.insert(&own);
    });
}

} // namespace

void setTreatment(const Treatment& treatment)
{
    process().context().treatment = treatment;
    replaceFor(process().adaptationsInUse());
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
        replaceFor(kPuttingBack);
}

} // namespace velmor::glsupport::adapter
