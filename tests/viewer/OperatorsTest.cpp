// Every operator comes up, is named with its time, and draws without an error of OpenGL.

#include "catalogue/Catalogue.h"
#include "tests/viewer/PictureTest.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/objdetect.hpp>

#include <algorithm>
#include <string>
#include <vector>

namespace velmor::tests {
namespace {

constexpr double kRounding = 0.51; ///< half a step to a byte, and a little for floats next to a half
constexpr double kTwice = 1.01;    ///< where a result is rounded to bytes on the way as well

float luminance(const cv::Vec3f& bgr)
{
    return 0.072169F * bgr[0] + 0.71516F * bgr[1] + 0.212671F * bgr[2];
}

/// Hue, saturation and value on 0..255, in the places of blue, green and red.
cv::Vec3f hsvOf(const cv::Vec3f& bgr)
{
    const auto [b, g, r] = bgr.val;
    const float most = std::max({r, g, b}), range = most - std::min({r, g, b});
    float hue = 0;
    if (range > 0 && most == r)
        hue = 60 * (g - b) / range;
    else if (range > 0 && most == g)
        hue = 120 + 60 * (b - r) / range;
    else if (range > 0)
        hue = 240 + 60 * (r - g) / range;
    return {(hue < 0 ? hue + 360 : hue) / 360 * 255, most == 0 ? 0 : range / most * 255, most};
}

/// Half the strength of a picture's gradients.
cv::Mat halfStrength(const cv::Mat& picture)
{
    cv::Mat grey, across, down, strength;
    cv::extractChannel(eachPixel(picture, [](const cv::Vec3f& bgr) { return cv::Vec3f::all(luminance(bgr)); }), grey,
                       0);
    cv::Sobel(grey, across, CV_32F, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE);
    cv::Sobel(grey, down, CV_32F, 0, 1, 3, 1, 0, cv::BORDER_REPLICATE);
    cv::magnitude(across, down, strength);
    strength = cv::min(strength / 2, 255);
    cv::merge(std::vector<cv::Mat>(3, strength), strength);
    return strength;
}

class Operators : public PictureTest
{
};

TEST_F(Operators, EachIsReachedByKey)
{
    open(file);
    drag(kLeft, {100, 100}, {300, 180});
    drag(kLeft, {10, 10}, {90, 60});
    for (const catalogue::Operator& each : catalogue::operators()) {
        awaitTitle("velmor-viewer: " + each.name + "  ");
        EXPECT_TRUE(hasLine(title(), "velmor-viewer: " + each.name + "  [0-9]+[.][0-9][0-9] ms")) << title();
        press({"Up", "Tab", "Up"}); // with other parameters too
        press({"n"});
    }
    awaitTitle("velmor-viewer: Not  "); // the first one again
    EXPECT_EQ(quit().out, "");
}

TEST_F(Operators, FiltersShowWhatTheyAreNamedFor)
{
    openBare(file); // the second picture is the same one

    const auto expectEach = [&](const std::string& name, const auto& rule, double tolerance = kRounding) {
        goTo(name);
        awaitPicture(eachPixel(picture, rule), tolerance);
    };
    const auto nothing = [](const cv::Vec3f&) {
        return cv::Vec3f();
    };
    const auto grey = [](const cv::Vec3f& bgr) {
        return cv::Vec3f::all(luminance(bgr));
    };
    expectEach("Subtract", nothing);
    expectEach("And", [](const cv::Vec3f& bgr) {
        return cv::Vec3f(bgr[0] >= 100 ? 255 : 0, bgr[1] >= 100 ? 255 : 0, bgr[2] >= 100 ? 255 : 0);
    });
    expectEach("Or", [](const cv::Vec3f& bgr) {
        return cv::Vec3f(std::min(2 * bgr[0], 255.F), std::min(2 * bgr[1], 255.F), std::min(2 * bgr[2], 255.F));
    });
    expectEach("Xor", nothing);
    expectEach("Classify", nothing);
    expectEach("BGR2GRAY", grey);
    expectEach("RGB2GRAY", grey);
    expectEach("BGR2HSV", hsvOf);
    expectEach("RGB2HSV", [](const cv::Vec3f& bgr) { return hsvOf({bgr[2], bgr[1], bgr[0]}); });

    // Where the colour is the same all around, a mosaic tells all of it.
    const cv::Rect even(130, 30, 60, 200);
    const auto awaitEven = [&](const cv::Mat& expected, double tolerance) {
        await("the even part is as expected",
              [&] { return largestDifference(shown()(even), expected(even)) <= tolerance; });
    };
    goTo("BayerRG2RGB");
    awaitEven(picture, kRounding);
    goTo("BayerRG2GRAY");
    awaitEven(eachPixel(picture, grey), kRounding);

    goTo("GRAY2Sobel");
    awaitPicture(halfStrength(picture), kRounding);
    goTo("NonMaxSupression");
    awaitEven(cv::Mat::zeros(picture.size(), CV_8UC3), 0);
    EXPECT_GT(largestDifference(shown(), cv::Mat::zeros(picture.size(), CV_8UC3)), 100); // the edges of patches

    cv::Mat perceived;
    cv::cvtColor(picture, perceived, cv::COLOR_BGR2GRAY);
    cv::cvtColor(perceived, perceived, cv::COLOR_GRAY2BGR);
    goTo("DebugUInt2Float");
    awaitPicture(perceived, kTwice);
    quit();
}

TEST_F(Operators, FacesAreFramed)
{
    const cv::Mat photograph = cv::imread(VELMOR_TEST_PHOTOGRAPH);
    std::vector<cv::Rect> faces;
    cv::CascadeClassifier("/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml")
        .detectMultiScale(photograph, faces, 1.1, 2, cv::CASCADE_DO_CANNY_PRUNING, {40, 40});
    ASSERT_FALSE(faces.empty());
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
