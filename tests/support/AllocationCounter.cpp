#include "tests/support/AllocationCounter.h"

#include <atomic>
#include <cerrno>

namespace {

std::atomic<std::size_t> made{0};
std::atomic<std::size_t> freed{0};

} // namespace

#ifdef __SANITIZE_ADDRESS__

// The sanitizer has its own allocator, and tells about it.
extern "C" {

int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, std::size_t),
                                              void (*onFree)(const volatile void*));
}

namespace {

[[maybe_unused]] const int installed = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void*, std::size_t) { ++made; }, [](const volatile void*) { ++freed; });

}

#else

// Stand before the C library's functions for everything that the test program is linked with. realloc() is left as it
// is: it neither makes nor frees an allocation.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* address);

void* malloc(std::size_t size)
{
    ++made;
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size)
{
    ++made;
    return __libc_calloc(count, size);
}

int posix_memalign(void** address, std::size_t alignment, std::size_t size)
{
    ++made;
    *address = __libc_memalign(alignment, size);
    return *address ? 0 : ENOMEM;
}

void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    ++made;
    return __libc_memalign(alignment, size);
}

void free(void* address)
{
    if (address)
        ++freed;
    __libc_free(address);
}

} // extern "C"

#endif

namespace velmor::tests {

Allocations allocations()
{
    return {made, made - freed};
}

} // namespace velmor::tests
