#pragma once

#include "glsupport/internal/adapter/Treatment.h"

#include <string>
#include <vector>

namespace velmor::glsupport::adapter {

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
