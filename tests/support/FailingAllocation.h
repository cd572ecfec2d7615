#pragma once

#include <cstddef>

namespace velmor::tests {

/// While it lives, allocations of one size by `new` fail as they do without memory.
///
/// It sees the allocations of everything that is linked into the test program itself, the library's objects among
/// them, by way of the linker's --wrap.
class FailingAllocation
{
public:
    explicit FailingAllocation(std::size_t size);
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();
};

/// Number of allocations by `new` so far, of the program itself.
std::size_t allocationCount();

} // namespace velmor::tests
