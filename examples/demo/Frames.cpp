#include "examples/demo/Frames.h"

#include "examples/demo/Clip.h"
#include "examples/demo/Summary.h"
#include "examples/shared/Drawing.h"
#include "examples/shared/Findings.h"

#include <GL/glew.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace velmor::examples {
namespace {

constexpr int kLargestSide = 4096;
constexpr std::size_t kApart = 4; ///< frames from the earlier to the later one
constexpr int kShift = 4;         ///< of a single picture, in pixels

/// The frame, or a reduced one that the driver's textures can hold.
cv::Mat limited(const cv::Mat& frame)
{
    GLint limit = 0;
    glGetIntegerv(GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB, &limit);
    const int side = std::min<int>(limit, kLargestSide);
    return frame.cols > side || frame.rows > side ? fitted(frame, {side, side}) : frame;
}

/// The picture moved to the right and down; what comes in repeats the edge.
cv::Mat shifted(const cv::Mat& picture)
{
    cv::Mat larger;
    cv::copyMakeBorder(picture, larger, kShift, 0, kShift, 0, cv::BORDER_REPLICATE);
    return larger(cv::Rect(cv::Point(0, 0), picture.size())).clone();
}

cv::Mat historyWithCentre(MotionHistory& history)
{
    cv::Mat picture;
    cv::cvtColor(history.picture(), picture, cv::COLOR_GRAY2BGR);
    if (const auto centre = history.centre())
        Marks(picture).cross(*centre);
    return picture;
}

} // namespace

void FramePass::add(const cv::Mat& frame)
{
    ++mFrames;
    mOriginalSize = frame.size();
    mRecent.push_back(limited(frame));
    if (mRecent.size() > kApart + 1)
        mRecent.pop_front();
    if (mFrames == 1)
        begin();
    mHistory->add(mRecent.back());
    if (mFrames == 1)
        return;

    const cv::Mat difference = differenceOf(mRecent.front(), mRecent.back());
    const double share = shareSet(movingPixels(difference));
    mMovement += share;
    if (share > mMostMovement) {
        mMostMovement = share;
        mLiveliest = mFrames;
    }
    const cv::Mat brighter = difference * kDifferenceBrightness;
    mClip.add({{mRecent.back(), frameName()},
               {brighter, "Subtract: what changed since frame " + std::to_string(earlierNumber()) + ", " +
                              std::to_string(kDifferenceBrightness) + " x brighter"},
               {historyWithCentre(*mHistory), "MotionSegment: what moved in the last 0.4 s of computing"}});
}

void FramePass::begin()
{
    const cv::Size size = mRecent.back().size();
    mHistory.emplace(size);
    for (auto* const texture : {&mEarlier, &mLater, &mDifference})
        *texture = makeTexture(size);
    mSubtract.prepareExecution(*mEarlier, *mLater, *mDifference);
}

/// What Subtract sees between two frames, 8-bit BGR.
cv::Mat FramePass::differenceOf(const cv::Mat& earlier, const cv::Mat& later)
{
    upload(earlier, *mEarlier);
    upload(later, *mLater);
    mSubtract.execute();
    return download(*mDifference);
}

Scene FramePass::scene()
{
    Scene scene;
    scene.earlier = mRecent.front();
    if (mFrames == 1) {
        scene.later = shifted(scene.earlier);
        scene.earlierCaption = {"The picture", "As it was read"};
        scene.laterCaption = {"The picture, moved", std::to_string(kShift) + " pixels to the right and down"};
        scene.origin = "One picture";
    } else {
        const std::string first = std::to_string(earlierNumber());
        const std::string last = std::to_string(mFrames);
        scene.later = mRecent.back();
        scene.history = mHistory->picture();
        scene.historyCentre = mHistory->centre();
        scene.earlierCaption = {"Frame " + first, "The earlier of the two frames"};
        scene.laterCaption = {"Frame " + last, "The later of the two frames"};
        scene.origin = "Frames " + first + " and " + last;
    }
    scene.moving = movingPixels(differenceOf(scene.earlier, scene.later));
    scene.dark = darkPixels(scene.later);
    return scene;
}

void FramePass::report(const std::string& input, Summary& summary) const
{
    std::string text = input + ", " + sizeText(mOriginalSize) + " pixels";
    if (mRecent.back().size() != mOriginalSize)
        text += ", scaled down to " + sizeText(mRecent.back().size());
    summary.addFact("input", text + ", " + countText(mFrames, "frame"));
    std::string motion = "nothing moves";
    if (mFrames == 1)
        motion = "no moving result of a single frame; a copy of it, moved by " + std::to_string(kShift) +
                 " pixels, serves as the later one";
    else if (mLiveliest != 0)
        motion = percentText(mMovement / (mFrames - 1)) + " of the pixels move on average, " +
                 percentText(mMostMovement) + " at most, in frame " + std::to_string(mLiveliest);
    summary.addFact("motion", motion);
}

} // namespace velmor::examples
