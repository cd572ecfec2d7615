// Every operator comes up, is named with its time, and draws without an error of OpenGL.

#include "tests/viewer/OperatorNames.h"
#include "tests/viewer/ViewerTest.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/objdetect.hpp>

namespace velmor::tests {
namespace {

class ViewerOperators : public ViewerTest
{
};

TEST_F(ViewerOperators, AllTwentySixAreReachedByKey)
{
    open(VELMOR_TEST_PHOTOGRAPH);
    for (const char* const name : kOperatorNames) {
        awaitTitle("velmor-viewer: " + std::string(name) + "  ");
        EXPECT_TRUE(hasLine(title(), "velmor-viewer: " + std::string(name) + "  [0-9]+[.][0-9][0-9] ms")) << title();
        press({"Up", "Tab", "Up", "n"}); // with other parameters too
    }
    awaitTitle("velmor-viewer: Not  "); // the first one again

    drag(kLeft, {100, 100}, {300, 250});
    drag(kLeft, {10, 10}, {90, 60});
    for (std::size_t i = std::size(kOperatorNames); i-- > 0;) {
        press({"p"});
        awaitTitle("velmor-viewer: " + std::string(kOperatorNames[i]) + "  ");
    }
    EXPECT_EQ(quit().out, "");
}

TEST_F(ViewerOperators, FacesAreFramed)
{
    const cv::Mat photograph = cv::imread(VELMOR_TEST_PHOTOGRAPH);
    std::vector<cv::Rect> faces;
    cv::CascadeClassifier("/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml")
        .detectMultiScale(photograph, faces, 1.1, 2, cv::CASCADE_DO_CANNY_PRUNING, {40, 40});
    ASSERT_FALSE(faces.empty());
    cv::Mat expected = photograph.clone();
    for (const cv::Rect& face : faces)
        expected(face).setTo(cv::Scalar(0, 60, 230));

    openBare(VELMOR_TEST_PHOTOGRAPH);
    goTo("FaceDetect");
    const cv::Rect& face = faces.front();
    const cv::Vec3b mark(0, 60, 230);
    await("the face is framed", [&] { return shown().at<cv::Vec3b>(face.tl()) == mark; });
    const cv::Mat now = shown();
    EXPECT_EQ(now.at<cv::Vec3b>(face.br() - cv::Point(1, 1)), mark);
    const cv::Rect inside(face.tl() + cv::Point(8, 8), face.br() - cv::Point(8, 8));
    if (faces.size() == 1) {
        EXPECT_EQ(largestDifference(now(inside), photograph(inside)), 0);
    }
    quit();
}

} // namespace
} // namespace velmor::tests
