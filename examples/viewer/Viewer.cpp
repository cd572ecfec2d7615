#include "examples/viewer/Viewer.h"

#include "catalogue/NativeFilters.h"
#include "examples/shared/Findings.h"
#include "examples/shared/Program.h"
#include "glsupport/StateGuard.h"

#include <GL/glu.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace velmor::examples {
namespace {

using catalogue::Regions;

constexpr double kIdlePeriod = 0.05;        ///< seconds
const cv::Vec3b kRegionColour(0, 220, 255); ///< BGR
const cv::Vec3b kPatchColour(90, 90, 255);

constexpr std::chrono::milliseconds kShownFor(500);

const char* const kNoneInMemory = "there is no such filter in memory";

bool isFilter(const catalogue::Operator& shown)
{
    return shown.kind == catalogue::Kind::FILTER;
}

cv::Mat firstFrame(FrameSource& source)
{
    cv::Mat frame;
    source.next(frame);
    return frame;
}

/// The initial values of all operators' parameters.
std::vector<catalogue::Values> initialValues()
{
    std::vector<catalogue::Values> result;
    for (const catalogue::Operator& each : shownOperators()) {
        result.emplace_back();
        for (const catalogue::Parameter& parameter : each.parameters)
            result.back()[parameter.name] = parameter.initial;
    }
    return result;
}

/// "kernel four beside"
std::string parameterText(const catalogue::Parameter& parameter, double value)
{
    std::ostringstream text;
    text << parameter.name << ' ';
    if (parameter.choices.empty())
        text << value;
    else
        text << parameter.choices[static_cast<std::size_t>(value)];
    return text.str();
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

void PassTimes::add(double milliseconds)
{
    mRecent.push_back(milliseconds);
    if (mRecent.size() > kPasses)
        mRecent.pop_front();
    const Clock::time_point now = Clock::now();
    if (mRecent.size() > 1 && now - mShownSince < kShownFor)
        return;
    std::vector<double> sorted(mRecent.begin(), mRecent.end());
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    mShown = *middle;
    mShownSince = now;
}

Viewer::Viewer(FrameSource& source, const MessageLog& log, const std::vector<HelpLine>& help)
    : mSource(source), mLog(log), mHelp(help), mMaterial(firstFrame(source)),
      mPicture(mMaterial.frameTexture->width(), mMaterial.frameTexture->height(), RectTexture::RGB8),
      mValues(initialValues()), mWindow(source.size())
{
}

double Viewer::tick()
{
    if (mIsPaused)
        return kIdlePeriod;
    if (advance())
        return 1 / mSource.rate();
    if (!mTextureTimes.areSettled() && !mMemoryTimes.areSettled())
        mIsStale = true;
    return kIdlePeriod;
}

/// Goes on to the next frame; false for a single picture.
bool Viewer::advance()
{
    cv::Mat frame;
    if (!mSource.nextForEver(frame))
        return false;
    mMaterial.setFrame(frame);
    mIsStale = true;
    return true;
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

void Viewer::nextParameter()
{
    if (!shown().parameters.empty())
        mParameter = (mParameter + 1) % shown().parameters.size();
    mNote.clear();
}

void Viewer::changeParameter(int steps)
{
    if (shown().parameters.empty())
        return;
    const catalogue::Parameter& parameter = shown().parameters[mParameter];
    double& value = mValues[mIndex].at(parameter.name);
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
    mMaterial.learnMiddle();
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
    advance();
}

void Viewer::toggleMemory()
{
    if (catalogue::hasNative(shown())) {
        mWorksInMemory = !mWorksInMemory;
        changed();
    } else
        mNote = isFilter(shown()) ? kNoneInMemory : "this operator always works in memory";
}

void Viewer::toggleOriginal()
{
    mShowsOriginal = !mShowsOriginal;
    changed();
}

void Viewer::savePicture()
{
    update();
    const std::string name = freeName(mShowsOriginal ? "original" : shown().name);
    try {
        examples::savePicture(download(mPicture), name);
        mNote = "saved as " + name;
        std::cout << "saved " << std::filesystem::absolute(name).string() << std::endl;
    } catch (const std::runtime_error& error) {
        mNote = error.what();
        reportFailure(kProgramName, error.what());
    }
}

void Viewer::beginDrag(bool marksPatch, const cv::Point& pixel)
{
    const cv::Point place = Placement(mWindow, mMaterial.frame.size()).pixelAt(pixel);
    mDrag = Drag{marksPatch, place, place};
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
    if (drag.marksPatch) {
        mMaterial.learn(drag.place());
        mHasOwnPatch = true;
    } else
        mMaterial.regions.push_back(drag.place());
    changed();
}

void Viewer::update()
{
    if (!mIsStale)
        return;
    mIsStale = false;
    if (mShowsOriginal)
        upload(mMaterial.frame, mPicture);
    else
        runOperator();
}

void Viewer::makeOperator()
{
    mOperator = examples::makeOperator(shown(), mMaterial);
    mView = std::make_unique<ColourView>();
    mTextureTimes = mMemoryTimes = {};
    mOperator->run(mValues[mIndex],
                   mWorksInMemory); // drivers do part of their work in the first pass: it is not counted
}

void Viewer::runOperator()
{
    const glsupport::StateGuard guard;
    const MessageLog::Capture capture(mLog, STDOUT_FILENO); // filters tell of each shader
    if (!mOperator)
        makeOperator();
    const Operator::Result result = mOperator->run(mValues[mIndex], mWorksInMemory);
    if (result.times.onTextures)
        mTextureTimes.add(*result.times.onTextures);
    if (result.times.inMemory)
        mMemoryTimes.add(*result.times.inMemory);
    mFound = result.found;
    showResult(result);
}

void Viewer::showResult(const Operator::Result& result)
{
    mView->prepareExecution(*result.texture, mPicture);
    mView->setColours(result.colours);
    mView->resetROIs();
    if (shown().regions == Regions::EACH)
        for (const cv::Rect& region : mMaterial.regions)
            mView->addROI(region.x, region.y, region.br().x, region.br().y);
    upload(mMaterial.frame, mPicture); // for what lies outside the regions
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
        screen.strip(stripLines());
    }
    if (mShowsHelp)
        screen.help(mHelp);
    reportErrors();
}

void Viewer::drawFrames(Screen& screen, const Placement& placement) const
{
    if (shown().regions != Regions::NONE)
        for (const cv::Rect& region : mMaterial.regions) {
            screen.frame(placement.covered(region), kRegionColour);
            if (shown().regions == Regions::FIRST)
                break;
        }
    if (takesPatch(shown()))
        screen.frame(placement.covered(mMaterial.patch), kPatchColour);
    if (mDrag)
        screen.frame(placement.covered(mDrag->place()), mDrag->marksPatch ? kPatchColour : kRegionColour);
}

/// Whether the result that is shown was computed in main memory.
bool Viewer::isInMemory() const
{
    return !isFilter(shown()) || (mWorksInMemory && catalogue::hasNative(shown()));
}

/// How long the operator takes wherever it works; the place whose result is shown stands out.
Line Viewer::timesLine() const
{
    Line line;
    const auto add = [&line](const std::string& place, const PassTimes& times, bool isShown) {
        if (!times.areEmpty())
            line.push_back(
                {place + " " + decimalText(times.shown(), 2) + " ms", isShown ? Piece::STRONG : Piece::PLAIN});
    };
    add("textures", mTextureTimes, !isInMemory());
    add("memory", mMemoryTimes, isInMemory());
    return line;
}

std::vector<Line> Viewer::stripLines() const
{
    if (mShowsOriginal)
        return {{{"original", Piece::STRONG}, {"the frame as it is", Piece::PLAIN}}, {{"h: keys", Piece::QUIET}}};
    Line first = {{shown().name, Piece::STRONG}, {shown().meaning, Piece::PLAIN}};
    if (!mFound.empty())
        first.push_back({mFound, Piece::STRONG});
    Line second = {{"h: keys", Piece::QUIET}};
    for (std::size_t i = 0; i < shown().parameters.size(); ++i) {
        const bool isChosen = i == mParameter;
        const catalogue::Parameter& parameter = shown().parameters[i];
        const std::string text = parameterText(parameter, mValues[mIndex].at(parameter.name));
        second.push_back({isChosen ? "[" + text + "]" : text, isChosen ? Piece::STRONG : Piece::PLAIN});
    }
    for (const Piece& time : timesLine())
        second.push_back(time);
    second.push_back({hint(), Piece::QUIET});
    return {first, second};
}

std::string Viewer::hint() const
{
    if (!mNote.empty())
        return mNote;
    if (mWorksInMemory && !isInMemory())
        return kNoneInMemory;
    if (shown().regions == Regions::NONE && !mMaterial.regions.empty())
        return "regions have no effect here";
    if (shown().regions == Regions::FIRST && mMaterial.regions.size() > 1)
        return "the first region counts";
    if (takesPatch(shown()) && !mHasOwnPatch)
        return "right-drag: other colours";
    if (takesSecondPicture(shown()))
        return "b: this becomes the second picture";
    return shown().parameters.empty() ? "" : shown().parameters[mParameter].meaning;
}

void Viewer::reportErrors()
{
    for (GLenum error = glGetError(); error != GL_NO_ERROR; error = glGetError()) {
        const std::string text =
            shown().name + ": OpenGL reports " + reinterpret_cast<const char*>(gluErrorString(error));
        if (mReported.insert(text).second)
            reportFailure(kProgramName, text);
    }
}

std::string Viewer::title() const
{
    std::string text = std::string(kProgramName) + ": ";
    if (mShowsOriginal)
        text += "original";
    else
        text += shown().name + (isFilter(shown()) && isInMemory() ? " in memory" : "") + "  " +
                decimalText((isInMemory() ? mMemoryTimes : mTextureTimes).shown(), 2) + " ms";
    return mIsPaused ? text + "  (stopped)" : text;
}

} // namespace velmor::examples
