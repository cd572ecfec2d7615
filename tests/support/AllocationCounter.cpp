#include "tests/support/AllocationCounter.h"

#include <atomic>
#include <cerrno>
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

#ifdef __SANITIZE_ADDRESS__

// The sanitizer has its own allocator, and tells about it.
extern "C" {

int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, std::size_t),
                                              void (*onFree)(const volatile void*));
std::size_t __sanitizer_get_allocated_size(const volatile void* address);
}

namespace {

[[maybe_unused]] const int installed = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void*, std::size_t size) {
        ++made;
        addBytes(size);
    },
    [](const volatile void* address) {
        ++freed;
        bytes -= __sanitizer_get_allocated_size(address);
    });

}

#else

namespace {

void* counted(void* address)
{
    ++made;
    addBytes(malloc_usable_size(address));
    return address;
}

} // namespace

// Stand before the C library's functions for everything that the test program is linked with. realloc() neither makes
// nor frees an allocation, but changes its size.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* address, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* address);

void* malloc(std::size_t size)
{
    return counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size)
{
    return counted(__libc_calloc(count, size));
}

void* realloc(void* address, std::size_t size)
{
    bytes -= malloc_usable_size(address);
    void* const moved = __libc_realloc(address, size);
    addBytes(malloc_usable_size(moved));
    return moved;
}

int posix_memalign(void** address, std::size_t alignment, std::size_t size)
{
    *address = counted(__libc_memalign(alignment, size));
    return *address ? 0 : ENOMEM;
}

void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return counted(__libc_memalign(alignment, size));
}

void free(void* address)
{
    if (address)
        ++freed;
    bytes -= malloc_usable_size(address);
    __libc_free(address);
}

} // extern "C"

#endif

namespace velmor::tests {

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
