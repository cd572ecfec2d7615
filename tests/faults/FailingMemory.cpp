#include "tests/faults/FailingMemory.h"

#include "tests/support/Allocator.h"

#include <link.h>
#include <unwind.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string_view>

namespace {

constexpr std::size_t kNever = velmor::tests::FailingMemory::kAll;

// Modified with the functions below alone, which everything calls, also before main().
std::atomic<std::size_t> beforeFailing{kNever}; ///< allocations that succeed before the first one fails
std::atomic<std::size_t> failing{0};            ///< allocations that fail then
std::atomic<bool> hasAnyFailed{false};
std::atomic<std::size_t> alive{0};

// ---- whose an allocation is

enum class Owner
{
    WE,
    OTHERS,
    THE_CALLER ///< the C library's and the C++ library's allocations are their callers'
};

struct Module
{
    std::uintptr_t first;
    std::uintptr_t last;
    Owner owner;
};

std::array<Module, 1000> modules;
std::size_t moduleCount = 0;
std::atomic<bool> oursOnly{false};
thread_local bool isAsking = false; ///< the unwinder may allocate

Owner ownerOf(std::string_view path)
{
    for (const std::string_view part : {"libc.so", "libstdc++", "libgcc_s", "ld-linux"})
        if (path.find(part) != path.npos)
            return Owner::THE_CALLER;
    for (const std::string_view part : {"velmor", "libopencv"})
        if (path.find(part) != path.npos)
            return Owner::WE;
    return Owner::OTHERS;
}

int addModule(dl_phdr_info* info, std::size_t, void*)
{
    const std::string_view program = program_invocation_name;
    const bool isProgram = info->dlpi_name[0] == '\0';
    const Owner owner = !isProgram                               ? ownerOf(info->dlpi_name)
                        : program.find("python") == program.npos ? Owner::WE
                                                                 : Owner::OTHERS;
    for (int k = 0; k < info->dlpi_phnum && moduleCount < modules.size(); ++k) {
        const ElfW(Phdr)& part = info->dlpi_phdr[k];
        if (part.p_type != PT_LOAD || !(part.p_flags & PF_X))
            continue;
        const std::uintptr_t first = info->dlpi_addr + part.p_vaddr;
        modules[moduleCount++] = {first, first + part.p_memsz, owner};
    }
    return 0;
}

void findModules()
{
    moduleCount = 0;
    dl_iterate_phdr(addModule, nullptr);
}

Owner ownerOf(const void* address)
{
    const auto place = reinterpret_cast<std::uintptr_t>(address);
    for (std::size_t k = 0; k < moduleCount; ++k)
        if (modules[k].first <= place && place < modules[k].last)
            return modules[k].owner;
    return Owner::OTHERS; // what a driver has compiled
}

struct Search
{
    int ownFrames; ///< that are still to come: those nearest to here are the tests'
    bool found;
};

/// Goes from frame to frame until one tells whose the allocation is.
_Unwind_Reason_Code look(_Unwind_Context* frame, void* data)
{
    Search& search = *static_cast<Search*>(data);
    if (search.ownFrames-- > 0)
        return _URC_NO_REASON;
    const Owner owner = ownerOf(reinterpret_cast<const void*>(_Unwind_GetIP(frame)));
    search.found = owner == Owner::WE;
    return owner == Owner::THE_CALLER ? _URC_NO_REASON : _URC_NORMAL_STOP;
}

/// Whether we ask for memory.
[[gnu::noinline]] bool weAsk()
{
    Search search = {3, false}; // this function, mayAllocate() and Allocator.cpp's
    isAsking = true;
    _Unwind_Backtrace(look, &search);
    isAsking = false;
    return search.found;
}

} // namespace

namespace velmor::tests {

[[gnu::noinline]] bool mayAllocate()
{
    if (beforeFailing == kNever || isAsking || (oursOnly && !weAsk()))
        return true;
    if (beforeFailing > 0) {
        --beforeFailing;
        return true;
    }
    if (failing == 0)
        return true;
    if (failing != kNever)
        --failing;
    hasAnyFailed = true;
    return false;
}

void onAllocated(void*)
{
    ++alive;
}

void onFreeing(void*)
{
    --alive;
}

FailingMemory::FailingMemory(std::size_t first, std::size_t count, Whose whose)
{
    if (whose == OURS)
        findModules();
    oursOnly = whose == OURS;
    hasAnyFailed = false;
    failing = count;
    beforeFailing = first;
}

FailingMemory::~FailingMemory()
{
    beforeFailing = kNever;
}

bool FailingMemory::hasFailed() const
{
    return hasAnyFailed;
}

std::size_t allocationsAlive()
{
    return alive;
}

} // namespace velmor::tests
