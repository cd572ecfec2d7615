#pragma once

#include "cvprocess/gpuStdShaders/Subtract.h"
#include "examples/shared/Inputs.h"

#include <deque>
#include <optional>

namespace velmor::examples {

class Clip;
class Summary;

/// Most differences are small, and so dark: pictures show them so many times brighter.
constexpr int kDifferenceBrightness = 3;

/// The two lines under a picture.
struct Caption
{
    std::string title;
    std::string sentence;
};

/// What the sections of the sheet work with: two real frames and two masks made from them, all of one size.
struct Scene
{
    cv::Mat earlier; ///< 8-bit BGR
    cv::Mat later;   ///< 8-bit BGR
    Caption earlierCaption;
    Caption laterCaption;
    std::string origin; ///< of both, such as "Frames 96 and 100"
    cv::Mat moving;     ///< 8-bit grey, 255 where a pixel changed between the frames
    cv::Mat dark;       ///< 8-bit grey, 255 where the later frame is dark
    cv::Mat history;    ///< 8-bit grey, what moved up to the later frame, the brighter the later; empty of one picture
    std::optional<cv::Point2d> historyCentre; ///< centre of mass of the history; none when nothing moves
};

/// Goes through the frames one by one: makes the moving results of them, and keeps those that the sheet is made of.
class FramePass
{
public:
    /// @param clip  takes the moving results; must outlive the pass
    explicit FramePass(Clip& clip) : mClip(clip) {}

    /// Takes a frame; all are of one size. Frames larger than the driver's textures, or than 4096 pixels on a side, are
    /// scaled down.
    void add(const cv::Mat& frame);

    /// "Frame 12" after twelve frames.
    std::string frameName() const { return "Frame " + std::to_string(mFrames); }

    /// What the sheet is made of: the last frame, and one some frames before it. Of a single frame a shifted copy is
    /// the later one.
    Scene scene();

    /// Tells how many frames there were and what moved in them.
    void report(const std::string& input, Summary& summary) const;

private:
    void begin();
    cv::Mat differenceOf(const cv::Mat& earlier, const cv::Mat& later);
    int earlierNumber() const { return mFrames - static_cast<int>(mRecent.size()) + 1; }

    Clip& mClip;
    std::unique_ptr<RectTexture> mEarlier; ///< made when the size is known, as the next ones
    std::unique_ptr<RectTexture> mLater;
    std::unique_ptr<RectTexture> mDifference;
    std::optional<MotionHistory> mHistory;
    cvprocess::Subtract mSubtract;
    std::deque<cv::Mat> mRecent; ///< the last frames
    cv::Size mOriginalSize;
    int mFrames = 0;
    double mMovement = 0;     ///< shares of moving pixels of all frames
    double mMostMovement = 0; ///< the largest of them
    int mLiveliest = 0;       ///< the frame that it belongs to
};

} // namespace velmor::examples
