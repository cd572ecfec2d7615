// Loaded before others into what measures coverage: a process that is aborted leaves its counts too. They are written
// at the end of main() alone, for which there is a copy of the process.

#include <csignal>
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr unsigned kSeconds = 20; // then the copy hangs, as what waits for a driver's threads, which were not copied

void leaveCounts(int)
{
    const pid_t copy = fork();
    if (copy == 0) {
        std::signal(SIGABRT, SIG_DFL);
        alarm(kSeconds);
        std::exit(0);
    }
    waitpid(copy, nullptr, 0);
    std::signal(SIGABRT, SIG_DFL); // and abort() goes on
}

[[gnu::constructor]] void installHandler()
{
    std::signal(SIGABRT, leaveCounts);
}

} // namespace
