#pragma once

#include <string>

namespace velmor::demo {

/// How much moves in a run of frames.
class MovementCount
{
public:
    /// @param share   moving pixels of the frame, 0..1
    /// @param number  of the frame
    void add(double share, int number);

    /// Average and peak in words.
    std::string text() const;

private:
    double mSum = 0;
    int mFrames = 0;
    double mPeak = 0;
    int mPeakNumber = 0;
};

} // namespace velmor::demo
