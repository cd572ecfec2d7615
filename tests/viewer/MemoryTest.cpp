// The key that switches between filters on textures and those in main memory.

#include "catalogue/Catalogue.h"
#include "catalogue/NativeFilters.h"
#include "tests/examples/Videos.h"
#include "tests/viewer/Pictures.h"
#include "tests/viewer/ViewerTest.h"

namespace velmor::tests {
namespace {

constexpr int kStripHeight = 22; ///< the lower line of text, at the foot
constexpr std::chrono::milliseconds kWhenStopped(200);
const cv::Size kWide(720, 540); ///< with room for all of the line

class Memory : public ViewerTest
{
protected:
    /// Stops on a frame of a video, with another one as the second picture.
    void openStopped()
    {
        const cv::Mat picture = patchedPicture();
        cv::Mat turned, flipped;
        cv::rotate(picture, turned, cv::ROTATE_180);
        cv::flip(picture, flipped, 1);
        const std::string file = path("video.avi").string();
        writeFrames(file, {picture, turned, flipped});
        openBare(file);
        press({"space", "b", "period"});
        await("the viewer stops", [this] { return title().find("(stopped)") != std::string::npos; });
    }

    /// Expects the present filter to show the same on textures and in main memory.
    void expectSameInMemory(const std::string& name)
    {
        SCOPED_TRACE(name);
        press({"Down", "Down"}); // no brighter than it is
        press({"m"});
        awaitTitle("velmor-viewer: " + name + " in memory  ");
        EXPECT_TRUE(hasLine(title(), "velmor-viewer: " + name + " in memory  [0-9]+[.][0-9][0-9] ms  \\(stopped\\)"))
            << title();
        const cv::Mat inMemory = stillPicture(kWhenStopped);
        press({"m"});
        awaitTitle("velmor-viewer: " + name + "  ");
        const cv::Mat onTextures = stillPicture(kWhenStopped); // keys are handled in turn: the first ones are by now

        EXPECT_GT(cv::norm(onTextures, cv::NORM_INF), 0); // there is something to see
        cv::Mat difference, others;
        cv::absdiff(onTextures, inMemory, difference);
        cv::inRange(difference, cv::Scalar::all(0), cv::Scalar::all(1), others);
        // Rounding makes a step of difference, and decides what lies on a border, of a model for instance. How many
        // pixels lie there hangs on the frame on which the viewer stopped, of which the models are made.
        EXPECT_LE(1 - cv::mean(others)[0] / 255, 0.003);
    }

    /// Shows the line of text and makes the window wide enough for it.
    void showLine() const
    {
        press({"i"});
        resize(kWide);
    }

    cv::Mat line() const { return stillPicture(kWhenStopped).rowRange(kWide.height - kStripHeight, kWide.height); }

    /// The first column of the line that has letters that stand out, and likewise plain ones.
    static int firstColumn(const cv::Mat& line, bool standsOut)
    {
        for (int x = 0; x < line.cols; ++x)
            for (int y = 0; y < line.rows; ++y) {
                const auto pixel = line.at<cv::Vec3b>(y, x); // yellow, or nearly white
                if (pixel[2] > 200 && (pixel[0] < 120) == standsOut)
                    return x;
            }
        return line.cols;
    }

    /// Expects the key to change nothing but the line of text.
    void expectNoSwitch(const std::string& name)
    {
        SCOPED_TRACE(name);
        goTo(name);
        const cv::Mat before = line();
        press({"m"});
        await("the line changes", [&] { return largestDifference(line(), before) > 100; });
        EXPECT_EQ(title().rfind("velmor-viewer: " + name + "  ", 0), 0u) << title();
    }
};

TEST_F(Memory, FiltersShowTheSameOnTexturesAndInMainMemory)
{
    openStopped();
    for (const catalogue::Operator& each : catalogue::operators())
        if (catalogue::hasNative(each)) {
            goTo(each.name);
            expectSameInMemory(each.name);
            if (each.need == catalogue::Need::NOTHING)
                continue;
            drag(kRight, {60, 60}, {110, 90}); // other models
            expectSameInMemory(each.name);
        }
    goTo("Subtract");
    drag(kLeft, {100, 60}, {250, 200});
    expectSameInMemory("Subtract"); // in a region
    quit();
}

TEST_F(Memory, TheChoiceStaysFromFilterToFilter)
{
    openStopped();
    press({"m"});
    awaitTitle("velmor-viewer: Not in memory  ");
    press({"n"});
    awaitTitle("velmor-viewer: Subtract in memory  ");
    press({"o"});
    awaitTitle("velmor-viewer: original");
    press({"o", "p"});
    awaitTitle("velmor-viewer: Not in memory  ");
    press({"p"}); // an operator that has no such choice
    awaitTitle("velmor-viewer: " + catalogue::operators().back().name + "  ");
    press({"m", "n"}); // where it has no effect
    awaitTitle("velmor-viewer: Not in memory  ");
    press({"m"});
    awaitTitle("velmor-viewer: Not  ");
    quit();
}

TEST_F(Memory, TheLineTellsBothTimes)
{
    openStopped();
    showLine();
    const cv::Mat onTextures = line(); // that of textures is the first of them
    EXPECT_LT(firstColumn(onTextures, true), firstColumn(onTextures, false));
    EXPECT_LT(firstColumn(onTextures, false), kWide.width);
    press({"m"});
    awaitTitle("velmor-viewer: Not in memory  ");
    const cv::Mat inMemory = line();
    EXPECT_GT(firstColumn(inMemory, true), firstColumn(inMemory, false));
    EXPECT_LT(firstColumn(inMemory, true), kWide.width);
    EXPECT_EQ(firstColumn(inMemory, false), firstColumn(onTextures, true));
    quit();
}

TEST_F(Memory, TheLineSaysWhereThereIsNoChoice)
{
    openStopped();
    showLine();
    expectNoSwitch("PixelCount");
    expectNoSwitch("ColorHistShader");
    expectNoSwitch("Moments");
    quit();
}

} // namespace
} // namespace velmor::tests
