#include "tests/support/Allocator.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>

namespace {

using velmor::tests::mayAllocate;
using velmor::tests::onAllocated;
using velmor::tests::onFreeing;

void* told(void* address)
{
    if (address)
        onAllocated(address);
    return address;
}

} // namespace

#ifdef __SANITIZE_ADDRESS__

// The sanitizer has its own allocator, and tells about it.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, std::size_t),
                                                         void (*onFree)(const volatile void*));

namespace {

[[maybe_unused]] const int installed = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void* address, std::size_t) { told(const_cast<void*>(address)); },
    [](const volatile void* address) { onFreeing(const_cast<void*>(address)); });

}

#else

namespace {

void* noMemory()
{
    errno = ENOMEM;
    return nullptr;
}

} // namespace

// Stand before the C library's functions.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* address, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* address);

void* malloc(std::size_t size)
{
    return mayAllocate() ? told(__libc_malloc(size)) : noMemory();
}

void* calloc(std::size_t count, std::size_t size)
{
    return mayAllocate() ? told(__libc_calloc(count, size)) : noMemory();
}

void* realloc(void* address, std::size_t size)
{
    if (address && size == 0) {
        free(address);
        return nullptr;
    }
    if (!mayAllocate())
        return noMemory();
    if (address)
        onFreeing(address);
    void* const moved = __libc_realloc(address, size);
    told(moved ? moved : address);
    return moved;
}

int posix_memalign(void** address, std::size_t alignment, std::size_t size)
{
    *address = mayAllocate() ? told(__libc_memalign(alignment, size)) : nullptr;
    return *address ? 0 : ENOMEM;
}

void* memalign(std::size_t alignment, std::size_t size)
{
    return mayAllocate() ? told(__libc_memalign(alignment, size)) : noMemory();
}

void* aligned_alloc(std::size_t alignment, std::size_t size) __attribute__((alias("memalign")));

void free(void* address)
{
    if (address)
        onFreeing(address);
    __libc_free(address);
}

} // extern "C"

#endif
