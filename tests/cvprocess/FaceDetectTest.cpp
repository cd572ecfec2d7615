// Compiled without access control, to see fields.

#include "cvprocess/FaceDetect.h"

#include "imageio/ImageIo.h"
#include "tests/support/Cascades.h"
#include "tests/support/DeathText.h"
#include "tests/support/FieldOrder.h"
#include "tests/support/Pictures.h"
#include "tests/support/Rounds.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>

#include <algorithm>
#include <tuple>

using velmor::core::cvdata::Image;
using velmor::cvprocess::FaceDetect;
using velmor::math::Vector4;

namespace velmor::tests {
namespace {

const std::string kCascades = "/usr/share/opencv4/";
const std::string kFaces = kCascades + "haarcascades/haarcascade_frontalface_alt.xml";
const std::string kManyFaces = kCascades + "haarcascades/haarcascade_frontalface_default.xml";

Image photograph(Image::ChannelLayout layout)
{
    return imageio::load(VELMOR_TEST_PHOTOGRAPH, layout);
}

/// What OpenCV finds with the same settings, by row, then column, then size.
std::vector<cv::Rect> expectedFaces(const std::string& cascade, const cv::Mat& image)
{
    cv::CascadeClassifier classifier(cascade);
    std::vector<cv::Rect> faces;
    classifier.detectMultiScale(image, faces, 1.1, 2, 1, cv::Size(40, 40));
    std::sort(faces.begin(), faces.end(), [](const cv::Rect& a, const cv::Rect& b) {
        return std::tie(a.y, a.x, a.height, a.width) < std::tie(b.y, b.x, b.height, b.width);
    });
    return faces;
}

cv::Rect rectangleOf(const Vector4& face)
{
    return {static_cast<int>(face[0]), static_cast<int>(face[1]), static_cast<int>(face[2]), static_cast<int>(face[3])};
}

template<typename Faces>
std::vector<cv::Rect> rectanglesOf(const Faces& faces)
{
    std::vector<cv::Rect> result;
    for (const auto& face : faces) {
        if constexpr (std::is_same_v<std::decay_t<decltype(face)>, CvRect>)
            result.push_back(face);
        else
            result.push_back(rectangleOf(face));
    }
    return result;
}

/// A copy of an image with other width and height.
Image resized(const Image& image, double factor)
{
    cv::Mat pixels;
    cv::resize(image.mat(), pixels, cv::Size(), factor, factor, cv::INTER_LINEAR);
    Image result(static_cast<unsigned>(pixels.cols), static_cast<unsigned>(pixels.rows), image.channels());
    pixels.copyTo(cv::Mat(result.mat()));
    return result;
}

// The footballer's face: as a person sees it, its middle is about (242, 109).
TEST(FaceDetect, FindsTheFaceInAPhotograph)
{
    const Image image = photograph(Image::BGR);
    FaceDetect detector(kFaces);
    std::vector<Vector4> faces;
    ASSERT_EQ(detector.findFaces(&image, faces), 1);
    ASSERT_EQ(faces.size(), 1u);
    EXPECT_NEAR(faces[0][0] + faces[0][2] / 2.0, 242.0, 12.0);
    EXPECT_NEAR(faces[0][1] + faces[0][3] / 2.0, 109.0, 12.0);
    EXPECT_GE(faces[0][2], 40.0);
    EXPECT_LT(faces[0][2], 70.0);
}

TEST(FaceDetect, FindsWhatOpenCvFindsWithTheSameSettings)
{
    for (const std::string& cascade : {kFaces, kManyFaces}) {
        FaceDetect detector(cascade);
        for (const double factor : {1.0, 1.4, 0.83}) {
            const Image image = resized(photograph(Image::BGR), factor);
            std::vector<Vector4> faces;
            const std::vector<cv::Rect> expected = expectedFaces(cascade, image.mat());
            ASSERT_FALSE(expected.empty() && factor >= 1.0);
            EXPECT_EQ(detector.findFaces(&image, faces), expected.empty() ? -1 : static_cast<int>(expected.size()));
            EXPECT_EQ(rectanglesOf(faces), expected);
        }
    }
}

TEST(FaceDetect, BothOverloadsAgreeAtScaleOne)
{
    FaceDetect detector(kManyFaces);
    for (const auto layout : {Image::BGR, Image::RGB, Image::GREYSCALE}) {
        Image image = photograph(layout);
        std::vector<Vector4> faces;
        std::vector<CvRect> rectangles;
        const int count = detector.findFaces(&image, faces);
        EXPECT_EQ(detector.findFaces(&image, rectangles, 1), count);
        EXPECT_EQ(rectanglesOf(rectangles), rectanglesOf(faces));
        EXPECT_GE(count, 1);
    }
}

// Grey values are those of blue, green, red: a photograph in that order is what its grey version is.
TEST(FaceDetect, ColoursAreTakenAsBlueGreenRed)
{
    FaceDetect detector(kManyFaces);
    const Image colour = photograph(Image::BGR);
    Image grey(colour.width(), colour.height(), Image::GREYSCALE);
    cv::Mat pixels = grey.mat();
    cv::cvtColor(colour.mat(), pixels, cv::COLOR_BGR2GRAY);
    Image sameBytes(colour.width(), colour.height(), Image::RGB);
    colour.mat().copyTo(cv::Mat(sameBytes.mat()));
    std::vector<Vector4> ofColour, ofGrey, ofSameBytes;
    detector.findFaces(&colour, ofColour);
    detector.findFaces(&grey, ofGrey);
    detector.findFaces(&sameBytes, ofSameBytes);
    EXPECT_EQ(rectanglesOf(ofColour), rectanglesOf(ofGrey));
    EXPECT_EQ(rectanglesOf(ofSameBytes), rectanglesOf(ofGrey));
}

TEST(FaceDetect, ASearchWithAScaleIsOneOfTheReducedImage)
{
    for (const auto layout : {Image::BGR, Image::GREYSCALE}) {
        Image image = resized(photograph(layout), 2.01); // odd sizes
        FaceDetect detector(kManyFaces);
        for (const int scale : {2, 3}) {
            cv::Mat reduced;
            cv::resize(image.mat(), reduced,
                       cv::Size(static_cast<int>(image.width()) / scale, static_cast<int>(image.height()) / scale), 0.0,
                       0.0, cv::INTER_LINEAR);
            std::vector<cv::Rect> expected = expectedFaces(kManyFaces, reduced);
            for (cv::Rect& face : expected)
                face = {face.x * scale, face.y * scale, face.width * scale, face.height * scale};
            std::vector<CvRect> faces;
            EXPECT_EQ(detector.findFaces(&image, faces, scale),
                      expected.empty() ? -1 : static_cast<int>(expected.size()));
            EXPECT_EQ(rectanglesOf(faces), expected);
            EXPECT_FALSE(expected.empty() && scale == 2);
            for (const CvRect& face : faces)
                for (const int number : {face.x, face.y, face.width, face.height})
                    EXPECT_EQ(number % scale, 0);
        }
    }
}

TEST(FaceDetect, FacesSmallerThanFortyPixelsAreNotFound)
{
    FaceDetect detector(kFaces);
    std::vector<Vector4> faces;
    const Image half = resized(photograph(Image::BGR), 0.5); // a face of some 22 pixels
    EXPECT_EQ(detector.findFaces(&half, faces), -1);
    Image image = photograph(Image::BGR); // 44 pixels, less than 2 * 40
    std::vector<CvRect> rectangles;
    EXPECT_EQ(detector.findFaces(&image, rectangles, 2), -1);
    Image twice = resized(image, 2.0);
    EXPECT_EQ(detector.findFaces(&twice, rectangles, 2), 1);
    EXPECT_GE(rectangles[0].width, 80);
}

TEST(FaceDetect, NothingFoundIsMinusOneAndAnEmptyList)
{
    FaceDetect detector(kFaces);
    std::vector<Vector4> faces(3, Vector4(1.0, 2.0, 3.0, 4.0));
    std::vector<CvRect> rectangles(3, cvRect(1, 2, 3, 4));
    for (const auto& [width, height] : {std::pair{200u, 150u}, std::pair{39u, 39u}, std::pair{1u, 1u}}) {
        Image image(width, height, Image::BGR);
        EXPECT_EQ(detector.findFaces(&image, faces), -1);
        EXPECT_TRUE(faces.empty());
        EXPECT_EQ(detector.findFaces(&image, rectangles, 1), -1);
        EXPECT_TRUE(rectangles.empty());
    }
}

TEST(FaceDetect, ResultsReplaceThoseOfTheCallBefore)
{
    FaceDetect detector(kManyFaces);
    const Image image = photograph(Image::BGR);
    std::vector<Vector4> faces;
    const int count = detector.findFaces(&image, faces);
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(detector.findFaces(&image, faces), count);
        EXPECT_EQ(faces.size(), static_cast<std::size_t>(count));
    }
}

TEST(FaceDetect, SearchesRandomImagesAsOpenCvDoes)
{
    std::mt19937 random(1);
    FaceDetect detector(kManyFaces);
    cv::CascadeClassifier classifier(kManyFaces);
    for (int k = 0, rounds = randomRounds(); k < rounds; ++k) {
        const Image image =
            randomImage(randomSide(random), randomSide(random), k % 2 == 0 ? Image::BGR : Image::GREYSCALE, random);
        std::vector<cv::Rect> expected;
        classifier.detectMultiScale(image.mat(), expected, 1.1, 2, 1, cv::Size(40, 40));
        std::vector<Vector4> faces;
        ASSERT_EQ(detector.findFaces(&image, faces), expected.empty() ? -1 : static_cast<int>(expected.size()));
    }
}

TEST(FaceDetect, LoadsCascadesOfBothFormats)
{
    for (const std::string& file : {oldFormatCascade(), kCascades + "haarcascades/haarcascade_eye.xml",
                                    kCascades + "lbpcascades/lbpcascade_frontalface.xml"}) {
        FaceDetect detector(file);
        const Image image = photograph(Image::BGR);
        std::vector<Vector4> faces;
        detector.findFaces(&image, faces);
        EXPECT_EQ(rectanglesOf(faces), expectedFaces(file, image.mat())) << file;
    }
}

TEST(FaceDetect, FieldsStandInTheOrderStated)
{
    const FaceDetect detector(kFaces);
    EXPECT_TRUE(standInOrder({&detector.mStorage, &detector.mCascade}));
    EXPECT_NE(detector.mStorage, nullptr);
    EXPECT_NE(detector.mCascade, nullptr);
}

// ---- misuse

TEST(FaceDetectDeathTest, AScaleOfZeroDividesByZero)
{
    FaceDetect detector(kFaces);
    Image image(100, 100, Image::BGR);
    std::vector<CvRect> faces;
    EXPECT_DEATH(detector.findFaces(&image, faces, 0), "");
}

#ifndef NDEBUG
TEST(FaceDetectDeathTest, AFileWithoutACascade)
{
    const TemporaryFolder folder;
    const std::string cascade = contentOf(kFaces);
    const std::string oldCascade = contentOf(oldFormatCascade());
    ASSERT_GT(oldCascade.size(), 40000u);
    const std::string nothing =
        assertion("cvprocess/FaceDetect.cpp", "mCascade && \"ERROR: Haar classifier not found!\"");
    EXPECT_DEATH(FaceDetect(""), nothing);
    EXPECT_DEATH(FaceDetect(folder.file("missing.xml")), nothing);
    EXPECT_DEATH(FaceDetect(folder.file("")), nothing);
    EXPECT_DEATH(FaceDetect(folder.write("empty.xml", "")), nothing);
    EXPECT_DEATH(FaceDetect(folder.write("text.xml", "no cascade\n")), nothing);
    EXPECT_DEATH(FaceDetect(folder.write("cut.xml", cascade.substr(0, cascade.size() / 2))), nothing);
    EXPECT_DEATH(FaceDetect(folder.write("cut-old.xml", oldCascade.substr(0, oldCascade.size() / 2))), nothing);
    EXPECT_DEATH(FaceDetect(VELMOR_TEST_PHOTOGRAPH), nothing);
    EXPECT_DEATH(FaceDetect(folder.write("feature.xml", cascadeWithoutItsFeature())), nothing);
    EXPECT_DEATH(FaceDetect(folder.write("zeros.xml", cascadeWithZeros())), nothing);
}

TEST(FaceDetectDeathTest, AnImageWithoutPixels)
{
    FaceDetect detector(kFaces);
    std::vector<Vector4> faces;
    for (const auto& [width, height] : {std::pair{0u, 0u}, std::pair{0u, 50u}, std::pair{50u, 0u}}) {
        const Image image(width, height, Image::BGR);
        EXPECT_DEATH(detector.findFaces(&image, faces),
                     assertion("cvprocess/FaceDetect.cpp",
                               "image->width() > 0 && image->height() > 0 && \"ERROR: the image is empty!\""));
    }
}

TEST(FaceDetectDeathTest, AnImageReducedToNothing)
{
    FaceDetect detector(kFaces);
    std::vector<CvRect> faces;
    for (const auto& [width, height, scale] :
         {std::tuple{0u, 0u, 1}, std::tuple{100u, 4u, 5}, std::tuple{4u, 100u, 5}, std::tuple{100u, 100u, -1}}) {
        Image image(width, height, Image::BGR);
        EXPECT_DEATH(detector.findFaces(&image, faces, scale),
                     assertion("cvprocess/FaceDetect.cpp",
                               "size.width > 0 && size.height > 0 && \"ERROR: the image is reduced to nothing!\""));
    }
}
#endif

} // namespace
} // namespace velmor::tests
