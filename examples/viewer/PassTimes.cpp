#include "examples/viewer/PassTimes.h"

#include <algorithm>
#include <vector>

namespace velmor::viewer {
namespace {

constexpr std::size_t kPasses = 9;
constexpr std::chrono::milliseconds kShownFor(500);

double medianOf(const std::deque<double>& times)
{
    std::vector<double> sorted(times.begin(), times.end());
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    return *middle;
}

} // namespace

void PassTimes::add(double milliseconds)
{
    mRecent.push_back(milliseconds);
    if (mRecent.size() > kPasses)
        mRecent.pop_front();
    const Clock::time_point now = Clock::now();
    if (mRecent.size() == 1 || now - mShownSince >= kShownFor) {
        mShown = medianOf(mRecent);
        mShownSince = now;
    }
}

bool PassTimes::areSettled() const
{
    return mRecent.size() == kPasses;
}

} // namespace velmor::viewer
