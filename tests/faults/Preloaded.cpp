// FailingMemory for programs that are run with it in LD_PRELOAD. Of theirs alone fails what our libraries and OpenCV
// ask for.

#include "tests/faults/FailingMemory.h"

#include <dlfcn.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace {

std::optional<velmor::tests::FailingMemory> memory;

using Main = int (*)(int, char**, char**);
Main programsMain = nullptr;

void say()
{
    if (memory && memory->hasFailed())
        std::fputs("an allocation has failed\n", stdout);
    std::fflush(stdout);
}

/// How programs end that go on until somebody closes them.
void endBySignal(int)
{
    say();
    std::_Exit(EXIT_SUCCESS);
}

/// Lets one allocation fail, or all from one on, which the environment names: VELMOR_FAILING="17 1". What a program
/// does before its main function is none of this: it could only end.
int mainWithFailures(int argc, char** argv, char** environment)
{
    std::size_t first = 0, count = 0;
    const char* const failing = std::getenv("VELMOR_FAILING");
    if (failing && std::sscanf(failing, "%zu %zu", &first, &count) == 2)
        memory.emplace(first, count, velmor::tests::FailingMemory::OURS);
    std::signal(SIGTERM, endBySignal);
    const int status = programsMain(argc, argv, environment);
    say();
    memory.reset();
    return status;
}

} // namespace

extern "C" {

int __libc_start_main(Main main, int argc, char** argv, void (*init)(), void (*fini)(), void (*end)(), void* stack)
{
    programsMain = main;
    const auto start = reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
    return start(mainWithFailures, argc, argv, init, fini, end, stack);
}

// For Python

void velmor_begin_failing(std::size_t first, std::size_t count)
{
    memory.emplace(first, count, velmor::tests::FailingMemory::OURS);
}

/// Whether an allocation has failed.
bool velmor_end_failing()
{
    const bool hasFailed = memory->hasFailed();
    memory.reset();
    return hasFailed;
}

} // extern "C"
