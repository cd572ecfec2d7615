#include "tests/support/AllocationCounter.h"

#include "tests/support/Allocator.h"

#include <atomic>
#include <malloc.h>

namespace {

std::atomic<std::size_t> made{0};
std::atomic<std::size_t> freed{0};
std::atomic<std::size_t> bytes{0};
std::atomic<std::size_t> mostBytes{0};

void addBytes(std::size_t count)
{
    const std::size_t now = bytes += count;
    std::size_t most = mostBytes;
    while (now > most && !mostBytes.compare_exchange_weak(most, now)) {
    }
}

} // namespace

namespace velmor::tests {

bool mayAllocate()
{
    return true;
}

void onAllocated(void* address)
{
    ++made;
    addBytes(malloc_usable_size(address));
}

void onFreeing(void* address)
{
    ++freed;
    bytes -= malloc_usable_size(address);
}

Allocations allocations()
{
    return {made, made - freed};
}

std::size_t mostBytesDuring(const std::function<void()>& code)
{
    const std::size_t before = bytes;
    mostBytes = before;
    code();
    return mostBytes - before;
}

} // namespace velmor::tests
