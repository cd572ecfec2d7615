// What keys do to a picture.

#include "catalogue/Catalogue.h"
#include "tests/viewer/PictureTest.h"

namespace velmor::tests {
namespace {

constexpr double kRounding = 0.51; ///< half a step to a byte, and a little for floats next to a half
constexpr int kStripHeight = 44;   ///< two lines of text at the foot

class Keys : public PictureTest
{
protected:
};

TEST_F(Keys, OperatorsAndTheirParametersShowInThePicture)
{
    openBare(file);
    awaitPicture(negativeOf(picture));
    press({"o"});
    awaitTitle("velmor-viewer: original");
    awaitPicture(picture);
    press({"o"});
    awaitPicture(negativeOf(picture));

    goTo("RGB2GRAY");
    awaitPicture(eachPixel(picture,
                           [](const cv::Vec3f& bgr) {
                               return cv::Vec3f::all(0.072169F * bgr[0] + 0.71516F * bgr[1] + 0.212671F * bgr[2]);
                           }),
                 kRounding);

    goTo("Laplacian");
    awaitPicture(neighbourDifference(picture, 8), kRounding);
    press({"Up"});
    awaitPicture(neighbourDifference(picture, 4), kRounding);
    press({"Down"});
    awaitPicture(neighbourDifference(picture, 8), kRounding);
    press({"Down"}); // not below the first kernel
    press({"Up", "Tab", "Up"});
    awaitPicture(neighbourDifference(picture, 4, 2), kRounding);
    press({"Tab", "Down"}); // the first parameter again
    awaitPicture(neighbourDifference(picture, 8, 2), kRounding);
    press({"0"});
    awaitPicture(neighbourDifference(picture, 8), kRounding);

    cv::Mat flipped;
    cv::flip(picture, flipped, 0);
    goTo("FlipV");
    awaitPicture(flipped);
    press({"Right"});
    awaitTitle("velmor-viewer: " + (catalogue::find("FlipV") + 1)->name + "  ");
    press({"Left"});
    awaitTitle("velmor-viewer: FlipV  ");
    quit();
}

TEST_F(Keys, HelpLiesOverThePictureAndGoesAwayWithoutATrace)
{
    openBare(file);
    const cv::Mat negative = negativeOf(picture);
    awaitPicture(negative);
    for (const char* const key : {"h", "F1"}) {
        press({key});
        // The panel is dark, with bright letters, and reaches over most of a window of this size.
        await("help is shown", [this] {
            cv::Mat centre;
            cv::cvtColor(shown()(cv::Rect(80, 20, 160, 200)), centre, cv::COLOR_BGR2GRAY);
            return cv::mean(centre < 90)[0] > 128 && cv::mean(centre > 150)[0] > 5;
        });
        press({key});
        awaitPicture(negative);
    }
    quit();
}

TEST_F(Keys, TheLineTellsTheParametersAndCanBeHidden)
{
    open(file);
    goTo("Laplacian");
    const cv::Rect above(0, 0, kSize.width, kSize.height - kStripHeight);
    const cv::Rect strip(0, above.height, kSize.width, kStripHeight);
    const cv::Mat result = neighbourDifference(picture, 8);
    await("the picture is shown above the line",
          [&] { return largestDifference(shown()(above), result(above)) <= kRounding; });
    const cv::Mat line = stillPicture()(strip).clone();     // its times too
    EXPECT_GT(largestDifference(line, result(strip)), 100); // letters

    press({"Tab"}); // another parameter is marked
    await("the line changes", [&] { return largestDifference(shown()(strip), line) > 100; });
    EXPECT_LE(largestDifference(shown()(above), result(above)), kRounding);
    press({"Tab"});
    await("the line is as before", [&] { return largestDifference(shown()(strip), line) == 0; });

    press({"i"});
    awaitPicture(result, kRounding);
    quit();
}

TEST_F(Keys, SavedPicturesAreWhatIsShown)
{
    openBare(file);
    awaitPicture(negativeOf(picture));
    press({"s", "o", "s", "s"});
    awaitTitle("velmor-viewer: original");
    const std::string names[] = {"velmor-viewer-Not-1.png", "velmor-viewer-original-1.png",
                                 "velmor-viewer-original-2.png"};
    waitForFile(".", names[2]);
    const ProgramEnd end = quit();
    EXPECT_EQ(largestDifference(cv::imread(path(names[0]).string()), negativeOf(picture)), 0);
    EXPECT_EQ(largestDifference(cv::imread(path(names[1]).string()), picture), 0);
    EXPECT_EQ(largestDifference(cv::imread(path(names[2]).string()), picture), 0);
    std::string said;
    for (const std::string& name : names)
        said += "saved " + path(name).string() + "\n";
    EXPECT_EQ(end.out, said);
}

} // namespace
} // namespace velmor::tests
