#include "tests/support/ScriptedClock.h"

#include <cmath>
#include <ctime>
#include <optional>

namespace {

std::optional<std::clock_t> scripted;

}

// Stands before the C library's function for everything that the test program is linked with.
extern "C" std::clock_t clock() noexcept
{
    if (scripted)
        return *scripted;
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return used.tv_sec * CLOCKS_PER_SEC + used.tv_nsec / 1000;
}

namespace velmor::tests {

ScriptedClock::ScriptedClock(double seconds)
{
    set(seconds);
}

ScriptedClock::~ScriptedClock()
{
    scripted.reset();
}

void ScriptedClock::set(double seconds)
{
    scripted = static_cast<std::clock_t>(std::llround(seconds * CLOCKS_PER_SEC));
}

} // namespace velmor::tests
