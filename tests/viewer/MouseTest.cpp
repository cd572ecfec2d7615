// What the mouse does to a picture.

#include "tests/viewer/PictureTest.h"

namespace velmor::tests {
namespace {

class Mouse : public PictureTest
{
protected:
    /// The picture, and of the negative what lies in some regions.
    cv::Mat negativeIn(const std::vector<cv::Rect>& regions) const
    {
        cv::Mat result;
        picture.convertTo(result, CV_32F);
        for (const cv::Rect& region : regions)
            negativeOf(picture)(region).copyTo(result(region));
        return result;
    }

    /// A picture where some rectangles are, and black elsewhere.
    static cv::Mat only(const std::vector<cv::Rect>& places, const cv::Mat& inside)
    {
        cv::Mat result(inside.size(), CV_8UC3, cv::Scalar::all(0));
        for (const cv::Rect& place : places)
            inside(place).copyTo(result(place));
        return result;
    }
};

TEST_F(Mouse, FiltersWorkInTheRegionsThatWereDrawn)
{
    openBare(file);
    awaitPicture(negativeOf(picture));
    // Both corners belong to what was drawn, in whichever order.
    const cv::Rect first(20, 30, 101, 41);
    const cv::Rect second(150, 150, 61, 71);
    drag(kLeft, {20, 30}, {120, 70});
    awaitPicture(negativeIn({first}));
    drag(kLeft, {210, 220}, {150, 150});
    awaitPicture(negativeIn({first, second}));
    drag(kLeft, {300, 10}, {300, 10}); // a click draws nothing
    press({"n", "p"});                 // they stay for other operators
    awaitTitle("velmor-viewer: Not  ");
    awaitPicture(negativeIn({first, second}));
    press({"r"});
    awaitPicture(negativeOf(picture));
    quit();
}

TEST_F(Mouse, AFrameShowsWhereARegionLies)
{
    open(file);
    drag(kLeft, {100, 50}, {160, 110});
    const cv::Mat expected = negativeIn({{100, 50, 61, 61}});
    const cv::Vec3b yellow(0, 220, 255), black(0, 0, 0);
    await("the frame is shown", [&] { return shown().at<cv::Vec3b>(49, 130) == yellow; });
    const cv::Mat now = shown();
    for (const cv::Point& place : {cv::Point(99, 80), cv::Point(161, 80), cv::Point(130, 111), cv::Point(99, 49)})
        EXPECT_EQ(now.at<cv::Vec3b>(place), yellow) << place;
    EXPECT_EQ(now.at<cv::Vec3b>(48, 130), black);
    const cv::Rect inside(100, 50, 61, 61), beside(0, 0, 98, 190);
    EXPECT_EQ(largestDifference(now(inside), expected(inside)), 0);
    EXPECT_EQ(largestDifference(now(beside), expected(beside)), 0);
    press({"i"});
    awaitPicture(expected);
    quit();
}

TEST_F(Mouse, RegionsOfALetterboxedWindowLieUnderThePointer)
{
    // The picture twice as large, with bars of 40 rows.
    const auto enlarge = [this] {
        resize({640, 560});
        await("the bars are drawn", [this] {
            const cv::Mat now = shown();
            return now.at<cv::Vec3b>(39, 320) == now.at<cv::Vec3b>(520, 320) &&
                   now.at<cv::Vec3b>(519, 320) == cv::Vec3b(75, 185, 135); // the negative of the ground
        });
    };
    openBare(file);
    enlarge();
    drag(kLeft, {100, 140}, {201, 261});
    resize(kSize);
    // Columns 100 / 2 to 201 / 2, rows (140 - 40) / 2 to (261 - 40) / 2.
    awaitPicture(negativeIn({{50, 50, 51, 61}}));
    press({"r"});
    enlarge();
    drag(kLeft, {600, 500}, {639, 559}); // beyond the picture it ends at the edge
    resize(kSize);
    awaitPicture(negativeIn({{300, 230, 20, 10}}));
    quit();
}

// Colours of a patch vary by three levels, so a model of them has a standard deviation of about one: within a patch the
// likelihood is far above the threshold of 1/65536, five levels from it far below but not 0, and a hundred levels away
// nothing is left of it.

TEST_F(Mouse, ModelsAreThoseOfThePatchThatWasDrawn)
{
    const cv::Mat white(kSize, CV_8UC3, cv::Scalar::all(255));
    const auto learnYellow = [this] {
        drag(kRight, kYellow.tl() + cv::Point(10, 10), kYellow.br() - cv::Point(10, 10));
    };
    openBare(file);
    learnYellow();
    goTo("ColorGMM");
    awaitPicture(only({kYellow, kDot}, white));
    press({"Up"}); // colours in place of the mask
    awaitPicture(only({kYellow, kDot}, picture));
    press({"Tab", "Down", "Down", "Down", "Down"}); // no threshold
    awaitPicture(only({kYellow, kDot, kNear}, picture));
    press({"0"});
    drag(kRight, kGreen.br() - cv::Point(10, 10), kGreen.tl() + cv::Point(10, 10));
    awaitPicture(only({kGreen}, white));
    goTo("PixelCount");
    awaitPicture(only({kGreen}, white));

    learnYellow();
    goTo("ColorGMM2");
    const cv::Vec3b likePatch(90, 170, 60);
    await("the patch is of its class",
          [&] { return largestDifference(shown()(kYellow), cv::Mat(kYellow.size(), CV_8UC3, likePatch)) == 0; });
    EXPECT_NE(shown().at<cv::Vec3b>(kGreen.tl()), likePatch);
    goTo("ColourDetector"); // it takes colours whose red is like green
    awaitPicture(only({kYellow, kDot}, white));
    press({"Up"}); // with morphology, which takes the pixel away
    awaitPicture(only({kYellow}, white));
    goTo("Moments");
    // The axes of the one ellipse cross in the middle of the patch.
    const cv::Vec3b mark(0, 60, 230);
    await("the ellipse is drawn", [&] {
        return largestDifference(shown()(cv::Rect((kYellow.tl() + kYellow.br()) / 2, cv::Size(1, 1))),
                                 cv::Mat(1, 1, CV_8UC3, mark)) < 80;
    });
    quit();
}

// The filter was made with the models before: it has to see the new ones in their places.
TEST_F(Mouse, ClassesFollowAPatchThatIsDrawnWhileTheyAreShown)
{
    const cv::Vec3b likePatch(90, 170, 60);
    openBare(file);
    goTo("ColorGMM2");
    for (const cv::Rect& patch : {kYellow, kGreen, kYellow}) {
        drag(kRight, patch.tl() + cv::Point(10, 10), patch.br() - cv::Point(10, 10));
        await("the patch is of its class",
              [&] { return largestDifference(shown()(patch), cv::Mat(patch.size(), CV_8UC3, likePatch)) == 0; });
        EXPECT_NE(shown().at<cv::Vec3b>((patch == kYellow ? kGreen : kYellow).tl()), likePatch);
    }
    quit();
}

TEST_F(Mouse, TheFirstModelIsOfTheMiddle)
{
    const cv::Rect middle(110, 70, 100, 100); // around the patch that is learnt, of a twelfth of the height
    cv::Mat other = picture.clone();
    other(middle).setTo(cv::Scalar(10, 30, 220));
    ASSERT_TRUE(cv::imwrite(file, other));
    openBare(file);
    goTo("ColorGMM");
    press({"Up"});
    awaitPicture(only({middle}, other));
    drag(kRight, kGreen.tl() + cv::Point(20, 45), kGreen.br() - cv::Point(10, 10));
    cv::Mat green = only({kGreen}, other);
    green(middle).setTo(0);
    awaitPicture(green);
    press({"c"});
    awaitPicture(only({middle}, other));
    quit();
}

TEST_F(Mouse, HistogramsCountTheFirstRegion)
{
    // The chart is reduced to 128 x 96 pixels in the upper right corner; this is in its first bar.
    const cv::Point firstBar(kSize.width - 128 + 8, 70);
    const auto awaitBar = [&](const cv::Vec3b& colour) {
        await("the first bar has its colour", [&] {
            return largestDifference(shown()(cv::Rect(firstBar, cv::Size(1, 1))), cv::Mat(1, 1, CV_8UC3, colour)) <= 2;
        });
    };
    openBare(file);
    goTo("ColorHistShader"); // 4 x 4 x 4 cells, shown in the colour of their middle
    awaitBar({160, 96, 96});
    drag(kLeft, kGreen.tl(), kGreen.br() - cv::Point(1, 1));
    awaitBar({32, 224, 32});
    goTo("ColourHist2D"); // 8 x 8 x 8
    awaitBar({48, 208, 16});
    drag(kLeft, kYellow.tl(), kYellow.br() - cv::Point(1, 1)); // a second one does not count
    goTo("Moments");
    press({"p"});
    awaitTitle("velmor-viewer: ColourHist2D  ");
    awaitBar({48, 208, 16});
    press({"r"});
    awaitBar({176, 80, 112});
    quit();
}

} // namespace
} // namespace velmor::tests
