#pragma once

#include <cstddef>

namespace velmor::tests {

/// What the whole process, all libraries included, has allocated and freed so far.
struct Allocations
{
    std::size_t made = 0;
    std::size_t alive = 0; ///< made and not freed
};

Allocations allocations();

} // namespace velmor::tests
