#pragma once

#include "examples/demo/Difference.h"
#include "examples/demo/MotionClip.h"
#include "examples/demo/MovementCount.h"
#include "examples/demo/Scene.h"
#include "examples/shared/MotionHistory.h"

#include <deque>
#include <optional>
#include <string>

namespace velmor::demo {

class Summary;

/// Goes through the frames one by one: makes the moving results of them, and keeps those that the sheet is made of.
class FramePass
{
public:
    /// @param clip  takes the moving results; must outlive the pass
    explicit FramePass(MotionClip& clip) : mClip(clip) {}

    /// Takes a frame; all are of one size. Frames larger than the driver's textures, or than 4096 pixels on a side, are
    /// scaled down.
    void add(const cv::Mat& frame);

    /// "Frame 12" after twelve frames.
    std::string frameName() const;

    /// What the sheet is made of: the last frame, and one some frames before it. Of a single frame a shifted copy is
    /// the later one.
    Scene scene();

    /// Tells how many frames there were and what moved in them.
    void report(const std::string& input, Summary& summary) const;

private:
    int earlierNumber() const;

    MotionClip& mClip;
    std::optional<Difference> mDifference; ///< made when the size is known
    std::optional<MotionHistory> mHistory; ///< likewise
    std::deque<cv::Mat> mRecent;           ///< the last frames
    cv::Size mOriginalSize;
    int mFrames = 0;
    MovementCount mMovement;
};

} // namespace velmor::demo
