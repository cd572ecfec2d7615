#include "glsupport/DriverAdapter.h"

#include "glsupport/StateGuard.h"
#include "glsupport/internal/Integer.h"
#include "glsupport/internal/adapter/EntryPoints.h"
#include "glsupport/internal/adapter/Errors.h"
#include "glsupport/internal/adapter/Expectations.h"
#include "glsupport/internal/adapter/Process.h"

#include <GL/glew.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <ostream>
#include <stdexcept>
#include <vector>

// How adapter/ is laid out:
//   Expectations        what the filters expect, with the story of each adaptation; Trials is what probes draw with
//   Treatment           which adaptations a context gets
//   Process, Context    what is kept for the process, and of each context; Driver has the driver's own entry points
//   EntryPoints         puts ours in place: those of Shaders, Links, Programs, GeometryParameters, MatrixUniforms and
//                       Framebuffers, which translate and pass on
//   ShaderText          rewrites texts, without OpenGL
//   Errors              raises errors of OpenGL

namespace velmor::glsupport {
namespace {

using adapter::Expectation;
using adapter::Treatment;
using Finding = DriverAdapter::Finding;

constexpr int kFewestVertices = 8; ///< that the work of a geometry shader is divided down to

/// Keeps the caller's OpenGL errors and its layout of pixels in memory for uploads, and keeps messages from it.
class Unnoticed
{
public:
    Unnoticed()
    {
        mErrors.reserve(kMostErrors);
        for (GLenum error = glGetError(); error != GL_NO_ERROR && mErrors.size() < kMostErrors; error = glGetError())
            mErrors.push_back(error);
        for (std::size_t i = 0; i < kLayout.size(); ++i) {
            mLayout[i] = integer(kLayout[i]);
            glPixelStorei(kLayout[i], kLayout[i] == GL_UNPACK_ALIGNMENT ? 4 : 0);
        }
        if (hasMessages())
            mGivesMessages = glIsEnabled(GL_DEBUG_OUTPUT);
        setMessages(false);
    }
    Unnoticed(const Unnoticed&) = delete;
    Unnoticed& operator=(const Unnoticed&) = delete;
    ~Unnoticed()
    {
        for (std::size_t i = 0; i < kLayout.size(); ++i)
            glPixelStorei(kLayout[i], mLayout[i]);
        for (std::size_t i = 0; i < kMostErrors && glGetError() != GL_NO_ERROR; ++i) {
        }
        for (const GLenum error : mErrors)
            adapter::raise(error);
        setMessages(mGivesMessages);
    }

private:
    static constexpr std::size_t kMostErrors = 16; ///< what is broken may have no end of them
    static constexpr std::array<GLenum, 6> kLayout = {GL_UNPACK_SWAP_BYTES, GL_UNPACK_LSB_FIRST,   GL_UNPACK_ROW_LENGTH,
                                                      GL_UNPACK_SKIP_ROWS,  GL_UNPACK_SKIP_PIXELS, GL_UNPACK_ALIGNMENT};

    static bool hasMessages() { return GLEW_VERSION_4_3 || GLEW_KHR_debug; }

    static void setMessages(bool on)
    {
        if (hasMessages())
            on ? glEnable(GL_DEBUG_OUTPUT) : glDisable(GL_DEBUG_OUTPUT);
    }

    std::vector<GLenum> mErrors;
    std::array<GLint, 6> mLayout = {};
    bool mGivesMessages = false;
};

void require(bool condition, const std::string& expected)
{
    if (!condition)
        throw std::runtime_error("DriverAdapter::install(): expected " + expected);
}

/// Whether a query counts what is drawn.
bool isQueryRunning()
{
    const auto isRunning = [](GLenum target) {
        GLint query = 0;
        glGetQueryiv(target, GL_CURRENT_QUERY, &query);
        return query != 0;
    };
    std::vector<GLenum> targets = {GL_SAMPLES_PASSED};
    const auto addIf = [&targets](bool isThere, std::initializer_list<GLenum> names) {
        if (isThere)
            targets.insert(targets.end(), names);
    };
    addIf(GLEW_VERSION_3_0, {GL_PRIMITIVES_GENERATED, GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN});
    addIf(GLEW_VERSION_3_3, {GL_ANY_SAMPLES_PASSED, GL_TIME_ELAPSED});
    addIf(GLEW_VERSION_4_3 || GLEW_ARB_ES3_compatibility, {GL_ANY_SAMPLES_PASSED_CONSERVATIVE});
    addIf(GLEW_VERSION_4_6 || GLEW_ARB_pipeline_statistics_query,
          {GL_VERTICES_SUBMITTED_ARB, GL_PRIMITIVES_SUBMITTED_ARB, GL_VERTEX_SHADER_INVOCATIONS_ARB,
           GL_FRAGMENT_SHADER_INVOCATIONS_ARB, GL_CLIPPING_INPUT_PRIMITIVES_ARB, GL_CLIPPING_OUTPUT_PRIMITIVES_ARB,
           GL_GEOMETRY_SHADER_PRIMITIVES_EMITTED_ARB});
    return std::any_of(targets.begin(), targets.end(), isRunning);
}

/// What the trials would get into, or would be changed by, and nothing could keep them out.
bool isAnythingRunning()
{
    return adapter::isCompilingList() || integer(GL_RENDER_MODE) != GL_RENDER || isQueryRunning() ||
           (GLEW_ARB_transform_feedback2 && integer(GL_TRANSFORM_FEEDBACK_BUFFER_ACTIVE) != 0);
}

/// Tries an adaptation beside those that are in place already, and keeps it where it helps. Of a geometry shader, one
/// invocation is given ever less of the work until the driver does it.
bool helps(const Expectation& expectation, Treatment& treatment)
{
    for (int vertices = treatment.verticesAnInvocation; vertices >= kFewestVertices; vertices /= 2) {
        Treatment tried = treatment;
        tried.adaptations |= expectation.adaptation;
        tried.verticesAnInvocation = vertices;
        adapter::setTreatment(tried);
        if (expectation.shortfall().empty()) {
            treatment = tried;
            return true;
        }
        if (expectation.adaptation != adapter::kGeometryShaders)
            break;
    }
    adapter::setTreatment(treatment);
    return false;
}

Finding examine(const Expectation& expectation, Treatment& treatment)
{
    const std::string shortfall = expectation.shortfall();
    if (shortfall.empty() && !treatment.always)
        return {expectation.sentence, Finding::Accepted, ""};
    const std::string detail = shortfall.empty() ? "adapted although the driver does it itself" : shortfall;
    return {expectation.sentence, helps(expectation, treatment) ? Finding::Adapted : Finding::Missing, detail};
}

DriverAdapter::Report examineAll(DriverAdapter::Mode mode)
{
    Treatment treatment;
    adapter::setTreatment(treatment); // first the driver alone
    treatment.always = mode == DriverAdapter::Always;
    treatment.verticesAnInvocation = treatment.always ? adapter::mostVertices() / 4 : adapter::mostVertices();
    DriverAdapter::Report report;
    for (const Expectation& expectation : adapter::expectations())
        report.findings.push_back(examine(expectation, treatment));
    adapter::setTreatment(treatment);
    adapter::process().setTreatmentOfNewContexts(treatment);
    return report;
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
    std::string lines;
    for (const Finding& finding : findings) {
        lines += std::string(word(finding.outcome)) + "  " + finding.expectation + '\n';
        if (!finding.detail.empty())
            lines += "          " + finding.detail + '\n';
    }
    return lines;
}

DriverAdapter::Report DriverAdapter::install(Mode mode)
{
    require(adapter::currentContext() != nullptr, "a current OpenGL context");
    require(
        glewIsSupported("GL_VERSION_2_0 GL_ARB_texture_rectangle GL_EXT_framebuffer_object"),
        "glewInit() before, and a driver of OpenGL 2.0 with GL_ARB_texture_rectangle and GL_EXT_framebuffer_object");
    require(!isAnythingRunning(), "no query, display list, feedback or selection to be under way");
    const Treatment before = adapter::process().context().treatment; // known now: what ends below needs no memory
    const Unnoticed unnoticed;
    const StateGuard guard;
    try {
        return examineAll(mode);
    } catch (...) {
        adapter::setTreatment(before);
        throw;
    }
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
