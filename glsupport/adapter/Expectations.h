#pragma once

#include "glsupport/adapter/Treatment.h"

#include <string>
#include <vector>

namespace velmor::glsupport::adapter {

/// An expectation of the filters, and how to find out whether the current context meets it.
struct Expectation
{
    const char* sentence;       ///< for the report
    Adaptation adaptation;      ///< what helps where the context does not
    std::string (*shortfall)(); ///< links and draws; what happens instead, or nothing
};

/// Changes state that StateGuard keeps, and may leave errors in the queue.
const std::vector<Expectation>& expectations();

/// The most vertices that a geometry shader may emit here.
int mostVertices();

} // namespace velmor::glsupport::adapter
