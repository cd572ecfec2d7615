#pragma once

#include "examples/viewer/ColourView.h"
#include "examples/viewer/Material.h"
#include "examples/viewer/Operator.h"
#include "examples/viewer/Panels.h"
#include "examples/viewer/PassTimes.h"
#include "examples/viewer/Placement.h"
#include "examples/viewer/Player.h"
#include "glsupport/RectTexture.h"

#include <opencv2/core.hpp>

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace velmor::viewer {

class Screen;
struct OperatorEntry;

constexpr const char* kProgramName = "velmor-viewer";

/// What the window shows, and what keys and mouse do to it. Needs an OpenGL context while it lives.
class Viewer
{
public:
    /// @param player  the frames; must outlive the viewer
    /// @param log     takes what filters print; must outlive the viewer
    Viewer(Player& player, const demo::MessageLog& log);
    ~Viewer();

    /// Goes on to the next frame, unless the user has stopped it. Of a single picture the operator's time is taken
    /// again until it can be told.
    /// @return  seconds until it is to be called again
    /// @throws std::runtime_error  when the input fails
    double tick();

    /// Whether there is something new to draw.
    bool isStale() const { return mIsStale; }

    /// Draws into a window of that size.
    void draw(const cv::Size& window);

    /// Operator and time of a pass.
    std::string title() const;

    /// Whether the user wants to quit.
    bool isDone() const { return mIsDone; }

    // What keys do.
    void nextOperator();
    void previousOperator();
    void nextParameter();
    void increase();
    void decrease();
    void resetParameters();
    void removeRegions();
    void learnMiddle();
    void keepAsSecond();
    void togglePause();
    void singleStep();
    void toggleOriginal();
    void toggleInfo();
    void toggleHelp();
    void savePicture();
    void quit() { mIsDone = true; }

    /// What a drag of the mouse marks.
    enum class Mark
    {
        REGION,
        PATCH
    };

    // A drag of the mouse, in pixels of the window.
    void beginDrag(Mark mark, const cv::Point& pixel);
    void continueDrag(const cv::Point& pixel);
    void endDrag(const cv::Point& pixel);

private:
    struct Drag
    {
        Mark mark;
        cv::Point from; ///< pixels of the frame
        cv::Point to;
    };

    const OperatorEntry& entry() const;
    void select(std::size_t index);
    void makeOperator();
    void takeFrame();
    void changeParameter(int steps);
    void changed();

    void update();
    void runOperator();
    void showResult(const Operator::Result& result);
    void drawFrames(Screen& screen, const Placement& placement) const;
    void drawStrip(Screen& screen, const cv::Size& window);
    std::vector<Line> stripLines() const;
    std::string hint() const;
    void reportErrors();

    Player& mPlayer;
    const demo::MessageLog& mLog;
    Material mMaterial;
    glsupport::RectTexture mPicture;       ///< what is shown, of the frame's size
    std::vector<Operator::Values> mValues; ///< of each operator
    std::size_t mIndex = 0;                ///< of the operator
    std::size_t mParameter = 0;            ///< the chosen one of the operator
    std::unique_ptr<Operator> mOperator;   ///< made when it is needed
    std::unique_ptr<ColourView> mView;     ///< of the operator's result
    std::vector<cv::Rect> mViewRegions;    ///< that the view has
    PassTimes mTimes;
    std::string mFound; ///< by the last pass
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

} // namespace velmor::viewer
