#pragma once

#include "glsupport/adapter/Adaptations.h"

#include <string>
#include <vector>

namespace velmor::glsupport::adapter {

/// An expectation of the filters, and how to find out whether the current context meets it.
struct Probe
{
    const char* expectation;
    Adaptation adaptation;      ///< what helps where it does not
    std::string (*shortfall)(); ///< links and draws; what happens instead, or nothing
};

/// Changes state that StateGuard keeps, and may leave errors in the queue.
const std::vector<Probe>& probes();

/// The most vertices that a geometry shader may emit here.
int mostVertices();

} // namespace velmor::glsupport::adapter
