#include "tests/support/FailingAllocation.h"

#include <atomic>
#include <new>

namespace {

constexpr std::size_t kNoSize = static_cast<std::size_t>(-1);

std::atomic<std::size_t> failingSize{kNoSize};
std::atomic<std::size_t> allocations{0};

bool admit(std::size_t size)
{
    ++allocations;
    return size != failingSize;
}

} // namespace

// Names that the linker gives to calls of the operators (_Znwm and so on) and to the operators themselves.
extern "C" {

void* __real__Znwm(std::size_t size);
void* __real__Znam(std::size_t size);
void* __real__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);

void* __wrap__Znwm(std::size_t size)
{
    if (!admit(size))
        throw std::bad_alloc();
    return __real__Znwm(size);
}

void* __wrap__Znam(std::size_t size)
{
    if (!admit(size))
        throw std::bad_alloc();
    return __real__Znam(size);
}

void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag)
{
    return admit(size) ? __real__ZnamRKSt9nothrow_t(size, tag) : nullptr;
}

} // extern "C"

namespace velmor::tests {

FailingAllocation::FailingAllocation(std::size_t size)
{
    failingSize = size;
}

FailingAllocation::~FailingAllocation()
{
    failingSize = kNoSize;
}

std::size_t allocationCount()
{
    return allocations;
}

} // namespace velmor::tests
