#include "examples/demo/MovementCount.h"

#include "examples/shared/Findings.h"

namespace velmor::demo {

void MovementCount::add(double share, int number)
{
    mSum += share;
    ++mFrames;
    if (share > mPeak) {
        mPeak = share;
        mPeakNumber = number;
    }
}

std::string MovementCount::text() const
{
    if (mPeakNumber == 0)
        return "nothing moves";
    return percentText(mSum / mFrames) + " of the pixels move on average, " + percentText(mPeak) +
           " at most, in frame " + std::to_string(mPeakNumber);
}

} // namespace velmor::demo
