#pragma once

#include "examples/shared/Sources.h"
#include "examples/viewer/Operators.h"
#include "examples/viewer/Screen.h"

#include <chrono>
#include <deque>
#include <optional>
#include <set>
#include <vector>

namespace velmor::examples {

class MessageLog;

constexpr const char* kProgramName = "velmor-viewer";

/// How long the recent passes of an operator took.
class PassTimes
{
public:
    void add(double milliseconds);

    /// The median of the recent passes, as it was at most half a second ago: a figure that can be read.
    double shown() const { return mShown; }

    /// Whether there are any passes, and whether there are as many as are looked at.
    bool areEmpty() const { return mRecent.empty(); }
    bool areSettled() const { return mRecent.size() == kPasses; }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t kPasses = 9;

    std::deque<double> mRecent;
    double mShown = 0;
    Clock::time_point mShownSince;
};

/// What the window shows, and what keys and mouse do to it. Needs an OpenGL context while it lives.
class Viewer
{
public:
    /// Source and log, which takes what filters print, must outlive the viewer.
    Viewer(FrameSource& source, const MessageLog& log, const std::vector<HelpLine>& help);

    /// Goes on to the next frame, unless the user has stopped it. Of a single picture the operator's time is taken
    /// again until it can be told.
    /// @return  seconds until it is to be called again
    double tick();

    void draw(const cv::Size& window);
    std::string title() const;
    bool isStale() const { return mIsStale; } ///< whether there is something new to draw
    bool isDone() const { return mIsDone; }   ///< whether the user wants to quit

    // What keys do.
    void nextOperator() { select((mIndex + 1) % shownOperators().size()); }
    void previousOperator() { select((mIndex + shownOperators().size() - 1) % shownOperators().size()); }
    void nextParameter();
    void increase() { changeParameter(1); }
    void decrease() { changeParameter(-1); }
    void resetParameters();
    void removeRegions();
    void learnMiddle();
    void keepAsSecond();
    void togglePause();
    void singleStep();
    void toggleMemory();
    void toggleOriginal();
    void toggleInfo() { mShowsInfo = !mShowsInfo; }
    void toggleHelp() { mShowsHelp = !mShowsHelp; }
    void savePicture();
    void quit() { mIsDone = true; }

    // A drag of the mouse, in pixels of the window: it marks a patch to learn, or else a region.
    void beginDrag(bool marksPatch, const cv::Point& pixel);
    void continueDrag(const cv::Point& pixel);
    void endDrag(const cv::Point& pixel);

private:
    struct Drag
    {
        bool marksPatch;
        cv::Point from; ///< pixels of the frame
        cv::Point to;

        /// From pixel to pixel, with all between them.
        cv::Rect place() const { return cv::Rect(from, cv::Size(1, 1)) | cv::Rect(to, cv::Size(1, 1)); }
    };

    const catalogue::Operator& shown() const { return shownOperators()[mIndex]; }
    void select(std::size_t index);
    void makeOperator();
    bool advance();
    void changeParameter(int steps);
    void changed();

    void update();
    void runOperator();
    void showResult(const Operator::Result& result);
    void drawFrames(Screen& screen, const Placement& placement) const;
    bool isInMemory() const;
    Line timesLine() const;
    std::vector<Line> stripLines() const;
    std::string hint() const;
    void reportErrors();

    FrameSource& mSource;
    const MessageLog& mLog;
    std::vector<HelpLine> mHelp;
    Material mMaterial;
    RectTexture mPicture;                   ///< what is shown, of the frame's size
    std::vector<catalogue::Values> mValues; ///< of each operator
    std::size_t mIndex = 0;                 ///< of the operator
    std::size_t mParameter = 0;             ///< the chosen one of the operator
    std::unique_ptr<Operator> mOperator;    ///< made when it is needed
    std::unique_ptr<ColourView> mView;      ///< of the operator's result
    PassTimes mTextureTimes;                ///< on textures, and in main memory: of what the operator does
    PassTimes mMemoryTimes;
    bool mWorksInMemory = false; ///< the filters whose results are shown, where there is a choice
    std::string mFound;          ///< by the last pass
    cv::Size mWindow;
    std::optional<Drag> mDrag;
    std::string mNote; ///< what the last key did, until the next one
    bool mHasOwnPatch = false;
    bool mIsStale = true; ///< the picture is not that of the present frame and settings
    bool mIsPaused = false;
    bool mShowsOriginal = false;
    bool mShowsInfo = true;
    bool mShowsHelp = false;
    bool mIsDone = false;
    std::set<std::string> mReported; ///< errors that were reported
};

} // namespace velmor::examples
