#pragma once

#include "glsupport/internal/adapter/Treatment.h"

#include <string>
#include <vector>

namespace velmor::glsupport::adapter {

/// Entry points that are replaced together, as bits of a set.
enum EntryPointGroup : unsigned
{
    kProgramEntryPoints = 1u << 0,   ///< compile shaders, and create, link and delete programs
    kParameterEntryPoints = 1u << 1, ///< set parameters of a geometry stage; may be missing in the driver
    kUniformEntryPoints = 1u << 2,   ///< set uniforms
    kUseEntryPoints = 1u << 3,       ///< put programs in use, and attach textures meanwhile
    kBindEntryPoints = 1u << 4,      ///< bind framebuffers
    kDeleteEntryPoints = 1u << 5,    ///< delete framebuffers
};

/// What the filters expect of a driver, how to find out whether the current context does it, and what helps where it
/// does not.
struct Expectation
{
    Adaptation adaptation;      ///< what helps
    const char* sentence;       ///< for the report
    std::string (*shortfall)(); ///< the probe, which links and draws: what happens instead, or nothing
    unsigned entryPoints;       ///< of EntryPointGroup, those that the adaptation needs
};

/// In the order in which they are tried: a probe may need the adaptations before its own. Probes change state that
/// StateGuard keeps, and may leave errors in the queue.
const std::vector<Expectation>& expectations();

/// The most vertices that a geometry shader may emit here.
int mostVertices();

} // namespace velmor::glsupport::adapter
