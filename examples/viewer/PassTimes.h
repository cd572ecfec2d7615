#pragma once

#include <chrono>
#include <cstddef>
#include <deque>

namespace velmor::viewer {

/// How long the recent passes of an operator took.
class PassTimes
{
public:
    void add(double milliseconds);

    /// The median of the recent passes, as it was at most half a second ago: a figure that can be read.
    double shown() const { return mShown; }

    /// Whether there are as many passes as are looked at.
    bool areSettled() const;

private:
    using Clock = std::chrono::steady_clock;

    std::deque<double> mRecent;
    double mShown = 0;
    Clock::time_point mShownSince;
};

} // namespace velmor::viewer
