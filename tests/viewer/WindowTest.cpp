// The viewer's window.

#include "catalogue/Catalogue.h"
#include "tests/viewer/PictureTest.h"

#include <opencv2/imgcodecs.hpp>

namespace velmor::tests {
namespace {

class Window : public PictureTest
{
protected:
    /// A picture in the middle of a larger window.
    static cv::Mat between(const cv::Mat& enlarged, const cv::Size& window)
    {
        cv::Mat result(window, enlarged.type(), cv::Scalar::all(23)); // 0.09 of 255
        enlarged.copyTo(result(cv::Rect((window.width - enlarged.cols) / 2, (window.height - enlarged.rows) / 2,
                                        enlarged.cols, enlarged.rows)));
        return result;
    }
};

TEST_F(Window, ItHasTheSizeOfTheFrameAndKeepsProportionsWhenResized)
{
    openBare(file);
    const cv::Mat negative = negativeOf(picture);
    EXPECT_EQ(shown().size(), kSize);
    awaitPicture(negative);

    // Twice as large, between bars above and below. Weights are quarters; drivers may compute them in 1/256.
    cv::Mat doubled;
    cv::resize(negative, doubled, kSize * 2, 0, 0, cv::INTER_LINEAR);
    resize({640, 560});
    awaitPicture(between(doubled, {640, 560}), 2);

    // Of its own size between bars on all sides: every pixel as it is.
    resize({400, 240});
    awaitPicture(between(negative, {400, 240}));
    resize(kSize);
    awaitPicture(negative);
    quit();
}

TEST_F(Window, MuchEnlargedPixelsAreSquares)
{
    const cv::Mat part = picture(cv::Rect(20, 4, 130, 100));
    ASSERT_TRUE(cv::imwrite(file, part));
    openBare(file);
    resize({600, 400});
    cv::Mat enlarged;
    cv::resize(negativeOf(part), enlarged, part.size() * 4, 0, 0, cv::INTER_NEAREST);
    awaitPicture(between(enlarged, {600, 400}));
    quit();
}

TEST_F(Window, APictureLargerThanTheScreenIsReduced)
{
    cv::Mat large;
    cv::resize(picture, large, {1600, 900}, 0, 0, cv::INTER_NEAREST);
    ASSERT_TRUE(cv::imwrite(file, large));
    open(file);
    EXPECT_EQ(shown().size(), cv::Size(800, 450)); // of a screen of 800 x 600
    quit();
}

TEST_F(Window, EscapeEndsIt)
{
    open(file);
    press({"Escape"});
    expectSuccess(wait());
}

TEST_F(Window, ClosingItEndsIt)
{
    open(file);
    closeWindow();
    expectSuccess(wait());
}

TEST_F(Window, ATinyPictureIsNoTroubleToAnyOperator)
{
    ASSERT_TRUE(cv::imwrite(file, picture(cv::Rect(50, 50, 1, 1))));
    open(file);
    resize({100, 100}); // keys need a window that the pointer can be in
    for (const catalogue::Operator& each : catalogue::operators())
        goTo(each.name);
    quit();
}

} // namespace
} // namespace velmor::tests
