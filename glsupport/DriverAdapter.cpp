#include "glsupport/DriverAdapter.h"

#include "glsupport/PixelBuffers.h"
#include "glsupport/StateGuard.h"
#include "glsupport/adapter/Contexts.h"
#include "glsupport/adapter/Driver.h"
#include "glsupport/adapter/EntryPoints.h"
#include "glsupport/adapter/Errors.h"
#include "glsupport/adapter/Probes.h"

#include <GL/glew.h>

#include <initializer_list>
#include <ostream>
#include <sstream>
#include <stdexcept>

namespace velmor::glsupport {
namespace {

using adapter::Adaptations;
using adapter::Probe;
using Finding = DriverAdapter::Finding;

constexpr int kFewestVertices = 8; ///< that the work of a geometry shader is divided down to

/// Keeps the caller's OpenGL errors, and its layout of pixels in memory.
class Unnoticed
{
public:
    Unnoticed()
    {
        for (GLenum error = glGetError(); error != GL_NO_ERROR && mErrors.size() < 16; error = glGetError())
            mErrors.push_back(error);
        glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
        using Names = std::initializer_list<GLenum>;
        for (const GLenum name : Names{GL_PACK_SWAP_BYTES, GL_PACK_ROW_LENGTH, GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS})
            glPixelStorei(name, 0);
        mPixelBuffers.save();
        mPixelBuffers.release();
    }
    Unnoticed(const Unnoticed&) = delete;
    Unnoticed& operator=(const Unnoticed&) = delete;
    ~Unnoticed()
    {
        glPopClientAttrib();
        mPixelBuffers.restore();
        for (std::size_t i = 0; i < 16 && glGetError() != GL_NO_ERROR; ++i) {
        }
        for (const GLenum error : mErrors)
            adapter::raise(error);
    }

private:
    std::vector<GLenum> mErrors;
    PixelBuffers mPixelBuffers;
};

void require(bool condition, const std::string& expected)
{
    if (!condition)
        throw std::runtime_error("DriverAdapter::install(): expected " + expected);
}

bool isQueryRunning(bool isSupported, GLenum target)
{
    GLint query = 0;
    if (isSupported)
        glGetQueryiv(target, GL_CURRENT_QUERY, &query);
    return query != 0;
}

/// What the trials would get into, or would be changed by, and nothing could keep them out.
bool isAnythingRunning()
{
    const bool has30 = GLEW_VERSION_3_0;
    const bool has33 = GLEW_VERSION_3_3;
    return adapter::isCompilingList() || adapter::integer(GL_RENDER_MODE) != GL_RENDER ||
           isQueryRunning(true, GL_SAMPLES_PASSED) || isQueryRunning(has33, GL_ANY_SAMPLES_PASSED) ||
           isQueryRunning(has33, GL_TIME_ELAPSED) || isQueryRunning(has30, GL_PRIMITIVES_GENERATED) ||
           isQueryRunning(has30, GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN) ||
           (GLEW_ARB_transform_feedback2 && adapter::integer(GL_TRANSFORM_FEEDBACK_BUFFER_ACTIVE) != 0);
}

/// Tries an adaptation beside those that are in place already, and keeps it where it helps. Of a geometry shader, one
/// invocation is given ever less of the work until the driver does it.
bool helps(const Probe& probe, Adaptations& adaptations)
{
    for (int vertices = adaptations.verticesAnInvocation; vertices >= kFewestVertices; vertices /= 2) {
        Adaptations tried = adaptations;
        tried.set |= probe.adaptation;
        tried.verticesAnInvocation = vertices;
        adapter::adapt(tried);
        if (probe.shortfall().empty()) {
            adaptations = tried;
            return true;
        }
        if (probe.adaptation != adapter::kGeometryShaders)
            break;
    }
    adapter::adapt(adaptations);
    return false;
}

Finding examine(const Probe& probe, Adaptations& adaptations)
{
    const std::string shortfall = probe.shortfall();
    if (shortfall.empty() && !adaptations.always)
        return {probe.expectation, Finding::Accepted, ""};
    const std::string detail = shortfall.empty() ? "adapted although the driver does it itself" : shortfall;
    return {probe.expectation, helps(probe, adaptations) ? Finding::Adapted : Finding::Missing, detail};
}

const char* word(Finding::Outcome outcome)
{
    switch (outcome) {
    case Finding::Accepted:
        return "accepted";
    case Finding::Adapted:
        return "adapted ";
    default:
        return "missing ";
    }
}

} // namespace

std::string DriverAdapter::Report::text() const
{
    std::ostringstream out;
    for (const Finding& finding : findings) {
        out << word(finding.outcome) << "  " << finding.expectation << '\n';
        if (!finding.detail.empty())
            out << "          " << finding.detail << '\n';
    }
    return out.str();
}

DriverAdapter::Report DriverAdapter::install(Mode mode)
{
    require(adapter::currentContext() != nullptr, "a current OpenGL context");
    require(
        glewIsSupported("GL_VERSION_2_0 GL_ARB_texture_rectangle GL_EXT_framebuffer_object"),
        "glewInit() before, and a driver of OpenGL 2.0 with GL_ARB_texture_rectangle and GL_EXT_framebuffer_object");
    require(!isAnythingRunning(), "no query, display list, feedback or selection to be under way");
    const Unnoticed unnoticed;
    const StateGuard guard;
    glActiveTexture(GL_TEXTURE0); // of which the guard keeps the texture
    Adaptations adaptations;
    adapter::adapt(adaptations); // first the driver alone
    adaptations.always = mode == Always;
    adaptations.verticesAnInvocation = mode == Always ? adapter::mostVertices() / 4 : adapter::mostVertices();
    Report report;
    for (const Probe& probe : adapter::probes())
        report.findings.push_back(examine(probe, adaptations));
    adapter::adapt(adaptations);
    adapter::setAdaptationsOfNewContexts(adaptations);
    return report;
}

void DriverAdapter::remove()
{
    adapter::removeAll();
}

std::ostream& operator<<(std::ostream& out, const DriverAdapter::Report& report)
{
    return out << report.text();
}

} // namespace velmor::glsupport
