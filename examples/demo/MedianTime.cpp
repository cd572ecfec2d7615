#include "examples/demo/MedianTime.h"

#include <algorithm>
#include <chrono>
#include <vector>

namespace velmor::demo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kFewestRuns = 3;
constexpr std::size_t kMostRuns = 9;
constexpr std::chrono::milliseconds kTimeForRuns(120); ///< no further runs after that

} // namespace

double medianMilliseconds(const std::function<void()>& work)
{
    work();
    std::vector<double> times;
    const Clock::time_point start = Clock::now();
    while (times.size() < kMostRuns && (times.size() < kFewestRuns || Clock::now() - start < kTimeForRuns)) {
        const Clock::time_point begin = Clock::now();
        work();
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

} // namespace velmor::demo
