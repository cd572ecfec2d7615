#pragma once

#include <cstddef>
#include <functional>

namespace velmor::tests {

/// What the whole process, all libraries included, has allocated and freed so far.
struct Allocations
{
    std::size_t made = 0;
    std::size_t alive = 0; ///< made and not freed
};

Allocations allocations();

/// The largest number of bytes that a piece of code has allocated at one time, beside what was there before.
std::size_t mostBytesDuring(const std::function<void()>& code);

} // namespace velmor::tests
