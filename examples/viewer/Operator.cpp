#include "examples/viewer/Operator.h"

#include <chrono>

namespace velmor::viewer {

double timed(const std::function<void()>& work)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    work();
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

} // namespace velmor::viewer
