#pragma once

namespace velmor::tests {

// With Allocator.cpp in a program or a preloaded library, everything in the process allocates by way of these
// functions, which it defines. They may be called before main(), and must not allocate.

/// Whether an allocation is to succeed. The sanitizers' allocator does not ask.
bool mayAllocate();

/// Comes after each allocation. What realloc() moves is freed, and allocated anew.
void onAllocated(void* address);

/// Comes before each release of what was allocated.
void onFreeing(void* address);

} // namespace velmor::tests
