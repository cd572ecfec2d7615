#include "examples/viewer/Viewer.h"

#include "examples/shared/Findings.h"
#include "examples/shared/GpuPictures.h"
#include "examples/shared/MessageLog.h"
#include "examples/shared/PictureFile.h"
#include "examples/shared/Program.h"
#include "examples/viewer/OperatorTable.h"
#include "examples/viewer/Screen.h"
#include "glsupport/StateGuard.h"

#include <GL/glu.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <stdexcept>

namespace velmor::viewer {
namespace {

constexpr double kPanelOpacity = 0.85;
constexpr double kIdlePeriod = 0.05;        ///< seconds
const cv::Vec3b kRegionColour(0, 220, 255); ///< BGR
const cv::Vec3b kPatchColour(90, 90, 255);

/// The initial values of all operators' parameters.
std::vector<Operator::Values> initialValues()
{
    std::vector<Operator::Values> result;
    for (const OperatorEntry& each : operatorTable()) {
        result.emplace_back();
        for (const Parameter& parameter : each.parameters)
            result.back().push_back(parameter.initial);
    }
    return result;
}

/// A name that no file of the working folder has.
std::string freeName(const std::string& shown)
{
    for (int i = 1;; ++i) {
        const std::string name = std::string(kProgramName) + "-" + shown + "-" + std::to_string(i) + ".png";
        if (!std::filesystem::exists(name))
            return name;
    }
}

} // namespace

Viewer::Viewer(Player& player, const demo::MessageLog& log)
    : mPlayer(player), mLog(log), mMaterial(player.frame()),
      mPicture(mMaterial.frameTexture->width(), mMaterial.frameTexture->height(), glsupport::RectTexture::RGB8),
      mValues(initialValues()), mWindow(player.frame().size())
{
}

Viewer::~Viewer() = default;

const OperatorEntry& Viewer::entry() const
{
    return operatorTable()[mIndex];
}

double Viewer::tick()
{
    if (mIsPaused)
        return kIdlePeriod;
    if (mPlayer.advance()) {
        takeFrame();
        return 1 / mPlayer.rate();
    }
    if (!mTimes.areSettled())
        mIsStale = true;
    return kIdlePeriod;
}

void Viewer::takeFrame()
{
    mMaterial.setFrame(mPlayer.frame());
    mIsStale = true;
}

void Viewer::changed()
{
    mNote.clear();
    mIsStale = true;
}

void Viewer::select(std::size_t index)
{
    mIndex = index;
    mParameter = 0;
    mShowsOriginal = false;
    mView.reset();
    mOperator.reset();
    changed();
}

void Viewer::nextOperator()
{
    select((mIndex + 1) % operatorTable().size());
}

void Viewer::previousOperator()
{
    select((mIndex + operatorTable().size() - 1) % operatorTable().size());
}

void Viewer::nextParameter()
{
    if (!entry().parameters.empty())
        mParameter = (mParameter + 1) % entry().parameters.size();
    mNote.clear();
}

void Viewer::increase()
{
    changeParameter(1);
}

void Viewer::decrease()
{
    changeParameter(-1);
}

void Viewer::changeParameter(int steps)
{
    if (entry().parameters.empty())
        return;
    const Parameter& parameter = entry().parameters[mParameter];
    double& value = mValues[mIndex][mParameter];
    value = std::clamp(value + steps * parameter.step, parameter.least, parameter.most);
    changed();
}

void Viewer::resetParameters()
{
    mValues[mIndex] = initialValues()[mIndex];
    changed();
}

void Viewer::removeRegions()
{
    mMaterial.regions.clear();
    changed();
}

void Viewer::learnMiddle()
{
    mMaterial.learn(middlePatch(mMaterial.frame.size()));
    mHasOwnPatch = false;
    changed();
}

void Viewer::keepAsSecond()
{
    mMaterial.keepAsSecond();
    changed();
    mNote = "this frame is the second picture now";
}

void Viewer::togglePause()
{
    mIsPaused = !mIsPaused;
    mNote.clear();
}

void Viewer::singleStep()
{
    mIsPaused = true;
    mNote.clear();
    if (mPlayer.advance())
        takeFrame();
}

void Viewer::toggleOriginal()
{
    mShowsOriginal = !mShowsOriginal;
    changed();
}

void Viewer::toggleInfo()
{
    mShowsInfo = !mShowsInfo;
}

void Viewer::toggleHelp()
{
    mShowsHelp = !mShowsHelp;
}

void Viewer::savePicture()
{
    update();
    const std::string name = freeName(mShowsOriginal ? "original" : entry().name);
    try {
        demo::savePicture(demo::download(mPicture), name);
        mNote = "saved as " + name;
        std::cout << "saved " << std::filesystem::absolute(name).string() << std::endl;
    } catch (const std::runtime_error& error) {
        mNote = error.what();
        demo::reportFailure(kProgramName, error.what());
    }
}

void Viewer::beginDrag(Mark mark, const cv::Point& pixel)
{
    const cv::Point place = Placement(mWindow, mMaterial.frame.size()).pixelAt(pixel);
    mDrag = Drag{mark, place, place};
}

void Viewer::continueDrag(const cv::Point& pixel)
{
    if (mDrag)
        mDrag->to = Placement(mWindow, mMaterial.frame.size()).pixelAt(pixel);
}

void Viewer::endDrag(const cv::Point& pixel)
{
    if (!mDrag)
        return;
    continueDrag(pixel);
    const Drag drag = *mDrag;
    mDrag.reset();
    if (drag.from == drag.to) // a click
        return;
    const cv::Rect marked = spanned(drag.from, drag.to);
    if (drag.mark == Mark::REGION)
        mMaterial.regions.push_back(marked);
    else {
        mMaterial.learn(marked);
        mHasOwnPatch = true;
    }
    changed();
}

void Viewer::update()
{
    if (!mIsStale)
        return;
    mIsStale = false;
    if (mShowsOriginal)
        demo::upload(mMaterial.frame, mPicture);
    else
        runOperator();
}

void Viewer::makeOperator()
{
    mOperator = entry().make(mMaterial);
    mView = std::make_unique<ColourView>();
    mViewRegions.clear();
    mTimes = {};
    mOperator->run(mValues[mIndex]); // drivers do part of their work in the first pass: it is not counted
}

void Viewer::runOperator()
{
    const glsupport::StateGuard guard;
    const demo::MessageLog::Capture capture(mLog, STDOUT_FILENO); // filters tell of each shader
    if (!mOperator)
        makeOperator();
    const Operator::Result result = mOperator->run(mValues[mIndex]);
    mTimes.add(result.milliseconds);
    mFound = result.found;
    showResult(result);
}

void Viewer::showResult(const Operator::Result& result)
{
    const std::vector<cv::Rect> regions =
        entry().regions == Regions::EACH ? mMaterial.regions : std::vector<cv::Rect>();
    mView->prepareExecution(*result.texture, mPicture);
    mView->setColours(result.colours);
    if (regions != mViewRegions) {
        mView->resetROIs();
        for (const cv::Rect& region : regions)
            mView->addROI(region.x, region.y, region.br().x, region.br().y);
        mViewRegions = regions;
    }
    demo::upload(mMaterial.frame, mPicture); // for what lies outside the regions
    mView->execute();
}

void Viewer::draw(const cv::Size& window)
{
    mWindow = window;
    update();
    const Placement placement(window, mMaterial.frame.size());
    Screen screen(window);
    screen.texture(mPicture, placement.area());
    if (mShowsInfo) {
        drawFrames(screen, placement);
        drawStrip(screen, window);
    }
    if (mShowsHelp) {
        const cv::Mat help = helpPicture(window);
        screen.panel(help, {(window.width - help.cols) / 2, (window.height - help.rows) / 2}, kPanelOpacity);
    }
    reportErrors();
}

void Viewer::drawFrames(Screen& screen, const Placement& placement) const
{
    if (entry().regions != Regions::NONE)
        for (const cv::Rect& region : mMaterial.regions) {
            screen.frame(placement.covered(region), kRegionColour);
            if (entry().regions == Regions::FIRST)
                break;
        }
    if (entry().extra == Extra::PATCH)
        screen.frame(placement.covered(mMaterial.models.patch), kPatchColour);
    if (mDrag)
        screen.frame(placement.covered(spanned(mDrag->from, mDrag->to)),
                     mDrag->mark == Mark::REGION ? kRegionColour : kPatchColour);
}

void Viewer::drawStrip(Screen& screen, const cv::Size& window)
{
    const cv::Mat strip = stripPicture(stripLines(), window.width);
    screen.panel(strip, {0, window.height - strip.rows}, kPanelOpacity);
}

std::vector<Line> Viewer::stripLines() const
{
    if (mShowsOriginal)
        return {{{"original", Piece::STRONG}, {"the frame as it is", Piece::PLAIN}}, {{"h: keys", Piece::QUIET}}};
    Line first = {{entry().name, Piece::STRONG}, {entry().shows, Piece::PLAIN}};
    if (!mFound.empty())
        first.push_back({mFound, Piece::STRONG});
    Line second = {{"h: keys", Piece::QUIET}};
    for (std::size_t i = 0; i < entry().parameters.size(); ++i) {
        const bool isChosen = i == mParameter;
        const std::string text = parameterText(entry().parameters[i], mValues[mIndex][i]);
        second.push_back({isChosen ? "[" + text + "]" : text, isChosen ? Piece::STRONG : Piece::PLAIN});
    }
    second.push_back({hint(), Piece::QUIET});
    return {first, second};
}

std::string Viewer::hint() const
{
    if (!mNote.empty())
        return mNote;
    if (entry().regions == Regions::NONE && !mMaterial.regions.empty())
        return "regions have no effect here";
    if (entry().regions == Regions::FIRST && mMaterial.regions.size() > 1)
        return "the first region counts";
    if (entry().extra == Extra::PATCH && !mHasOwnPatch)
        return "colours of the middle: right-drag over others";
    if (entry().extra == Extra::SECOND_PICTURE)
        return "b: this frame becomes the second picture";
    return {};
}

void Viewer::reportErrors()
{
    for (GLenum error = glGetError(); error != GL_NO_ERROR; error = glGetError()) {
        const std::string text =
            entry().name + ": OpenGL reports " + reinterpret_cast<const char*>(gluErrorString(error));
        if (mReported.insert(text).second)
            demo::reportFailure(kProgramName, text);
    }
}

std::string Viewer::title() const
{
    std::string text = std::string(kProgramName) + ": ";
    if (mShowsOriginal)
        text += "original";
    else
        text += entry().name + "  " + demo::decimalText(mTimes.shown(), 2) + " ms";
    return mIsPaused ? text + "  (stopped)" : text;
}

} // namespace velmor::viewer
