// Operators on images, made by name: each does what its class does with those settings, and what does not fit is
// refused.

#include "catalogue/CpuOperators.h"

#include "core/cvdata/ColorGMM.h"
#include "cvprocess/ColourDetector.h"
#include "cvprocess/ColourHist2D.h"
#include "cvprocess/FaceDetect.h"
#include "cvprocess/Moments.h"
#include "imageio/ImageIo.h"
#include "tests/support/Models.h"
#include "tests/support/ThrownText.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <ctime>
#include <limits>

namespace velmor::tests {
namespace {

using catalogue::CpuResult;
using catalogue::Data;
using catalogue::Given;
using catalogue::makeCpu;
using catalogue::Operator;
using catalogue::Values;
using core::cvdata::Image;

constexpr unsigned kWidth = 64, kHeight = 48;
const char* const kCascade = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml";

/// A model of one colour, red and green 100.
core::cvdata::ColorGMM& model()
{
    static core::cvdata::ColorGMM model = makeModel({{{{0.01, 0}, {0, 0.01}}, 1e4f, {100, 100}, 1.0f}}, 1e-6);
    return model;
}

Given given()
{
    Given result;
    result.models = {&model()};
    result.size = {kWidth, kHeight};
    result.cascadeFile = kCascade;
    return result;
}

/// A black picture with rectangles of a colour.
Image picture(Image::ChannelLayout layout, const std::vector<cv::Rect>& rectangles, const cv::Scalar& colour)
{
    Image result(kWidth, kHeight, layout);
    cv::Mat pixels = result.mat();
    for (const cv::Rect& rectangle : rectangles)
        cv::rectangle(pixels, rectangle, colour, cv::FILLED);
    return result;
}

const cv::Scalar kModelColour(100, 100, 50);

Image pictureFor(const Operator& made)
{
    const std::vector<cv::Rect> rectangles = {{10, 10, 21, 11}};
    return made.takes == Data::MASK ? picture(Image::GREYSCALE, rectangles, 255)
                                    : picture(Image::RGB, rectangles, kModelColour);
}

TEST(CpuOperators, EachIsMadeAndGivesWhatTheCatalogueSays)
{
    for (const Operator& each : catalogue::operators()) {
        if (each.kind != catalogue::Kind::CPU_OPERATOR)
            continue;
        SCOPED_TRACE(each.name);
        const CpuResult result = makeCpu(each.name, {}, given())(pictureFor(each));
        EXPECT_EQ(result.picture.has_value(), catalogue::isPicture(each.gives));
        EXPECT_EQ(result.histogram.has_value(), each.gives == Data::HISTOGRAM);
        EXPECT_EQ(!result.blobs.blobs.empty(), each.gives == Data::BLOBS);
        if (each.gives != Data::RECTANGLES) {
            EXPECT_TRUE(result.rectangles.empty());
        }
        if (result.picture) {
            EXPECT_EQ(result.picture->mat().size(), given().size);
            EXPECT_EQ(result.picture->channels(), Image::GREYSCALE);
            EXPECT_GE(cv::countNonZero(result.picture->mat()), 21 * 11);
        }
    }
}

TEST(CpuOperators, ColourDetectorTakesItsModelAndItsMorphology)
{
    const Image source = picture(Image::RGB, {{10, 10, 20, 10}, {50, 40, 1, 1}}, kModelColour);
    const auto pixels = [&](double morphology) {
        const CpuResult result = makeCpu("ColourDetector", {{"morphology", morphology}}, given())(source);
        return cv::countNonZero(result.picture->mat());
    };
    EXPECT_EQ(pixels(0), 201);
    EXPECT_EQ(pixels(1), 200); // a pixel by itself goes
}

TEST(CpuOperators, ColourHist2DTakesItsBinsAndItsRegion)
{
    const Image source = picture(Image::RGB, {{10, 10, 20, 10}}, {255, 255, 255});
    Given region;
    region.region = {5, 5, 15, 10}; // a part of it black, which is not counted
    const CpuResult counted = makeCpu("ColourHist2D", {{"bins", 4}}, region)(source);
    unsigned char bins[3];
    counted.histogram->getNofBins(bins[0], bins[1], bins[2]);
    for (const unsigned char each : bins)
        EXPECT_EQ(each, 4);
    EXPECT_DOUBLE_EQ(counted.histogram->getValue(3, 3, 3), 1.0);

    region.region = {40, 30, 20, 10}; // all black
    EXPECT_EQ(makeCpu("ColourHist2D", {}, region)(source).histogram->getValue(7, 7, 7), 0.0);
    for (const cv::Rect& partly :
         {cv::Rect(25, 15, 1000, 1000), cv::Rect(-5, -5, 20, 20)}) { // reach beyond the picture
        region.region = partly;
        EXPECT_DOUBLE_EQ(makeCpu("ColourHist2D", {}, region)(source).histogram->getValue(7, 7, 7), 1.0);
    }
    EXPECT_DOUBLE_EQ(makeCpu("ColourHist2D")(source).histogram->getValue(7, 7, 7), 1.0);
}

TEST(CpuOperators, MomentsTakesTheLeastAreaAndTheNumberOfRegions)
{
    // Contours run through the outermost pixels: areas of 100, 64 and 9.
    const Image source = picture(Image::GREYSCALE, {{5, 5, 11, 11}, {30, 5, 9, 9}, {50, 30, 4, 4}}, 255);
    const auto areas = [&](const Values& values) {
        std::vector<unsigned> result;
        for (const auto& blob : makeCpu("Moments", values)(source).blobs.blobs)
            result.push_back(blob.area);
        std::sort(result.begin(), result.end());
        return result;
    };
    EXPECT_EQ(areas({{"least-area", 0}}), (std::vector<unsigned>{9, 64, 100}));
    EXPECT_EQ(areas({}), (std::vector<unsigned>{64, 100}));
    EXPECT_EQ(areas({{"least-area", 64.5}}), (std::vector<unsigned>{100}));
    EXPECT_EQ(areas({{"least-area", 0}, {"most-regions", 2}}).size(), 2u);
}

TEST(CpuOperators, MotionSegmentRemembersFramesAcrossItsCopies)
{
    const catalogue::CpuOperator first = makeCpu("MotionSegment", {}, given());
    const catalogue::CpuOperator copy = first;
    const Image before = picture(Image::RGB, {{0, 0, kWidth, kHeight}}, {200, 200, 200});
    Image after = before;
    after.mat()(cv::Rect(20, 20, 5, 4)).setTo(cv::Scalar());
    EXPECT_EQ(cv::countNonZero(first(before).picture->mat() == 255), int{kWidth * kHeight}); // against black
    const std::clock_t then = std::clock();
    while (std::clock() - then < CLOCKS_PER_SEC / 50) {
    } // what moved before has faded a little
    EXPECT_EQ(cv::countNonZero(copy(after).picture->mat() == 255), 5 * 4);
}

TEST(CpuOperators, FaceDetectReducesThePictureFirst)
{
    const Image photograph = imageio::load(VELMOR_TEST_PHOTOGRAPH, Image::BGR);
    Image twice(2 * photograph.width(), 2 * photograph.height(), Image::BGR);
    cv::Mat pixels = twice.mat();
    cv::resize(photograph.mat(), pixels, pixels.size(), 0, 0, cv::INTER_NEAREST);

    std::vector<math::Vector4> expected;
    cvprocess::FaceDetect(kCascade).findFaces(&photograph, expected);
    ASSERT_FALSE(expected.empty());
    const std::vector<cv::Rect> whole = makeCpu("FaceDetect", {}, given())(photograph).rectangles;
    const std::vector<cv::Rect> reduced = makeCpu("FaceDetect", {{"reduced", 2}}, given())(twice).rectangles;
    ASSERT_EQ(whole.size(), expected.size());
    ASSERT_EQ(reduced.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const cv::Rect face(cvRound(expected[i][0]), cvRound(expected[i][1]), cvRound(expected[i][2]),
                            cvRound(expected[i][3]));
        EXPECT_EQ(whole[i], face);
        // Each pixel stands there four times, so that reducing gives the photograph back.
        EXPECT_EQ(reduced[i], cv::Rect(face.tl() * 2, face.size() * 2));
    }
}

std::string refusal(const std::string& name, const Values& values = {}, const Given& what = {})
{
    return thrownText<std::invalid_argument>([&] { makeCpu(name, values, what); });
}

TEST(CpuOperators, SayWhatDoesNotFit)
{
    const std::string expected = "catalogue::makeCpu(): expected ";
    EXPECT_EQ(refusal("Bogus"), expected + "the name of an operator on images, got 'Bogus'");
    EXPECT_EQ(refusal("Not"), expected + "the name of an operator on images, got 'Not'"); // which is a filter
    EXPECT_EQ(refusal("Moments", {{"bins", 4}}),
              expected + "a parameter of Moments (least-area, most-regions), got 'bins'");
    EXPECT_EQ(refusal("MotionSegment", {{"bins", 4}}, given()), expected + "no parameter of MotionSegment, got 'bins'");
    EXPECT_EQ(refusal("Moments", {{"least-area", -1}}), expected + "least-area of Moments on 0..5000, got -1");
    EXPECT_EQ(refusal("Moments", {{"least-area", 5000.5}}), expected + "least-area of Moments on 0..5000, got 5000.5");
    EXPECT_EQ(refusal("Moments", {{"least-area", std::numeric_limits<double>::quiet_NaN()}}),
              expected + "least-area of Moments on 0..5000, got nan");
    EXPECT_EQ(refusal("Moments", {{"most-regions", 1.5}}),
              expected + "most-regions of Moments to be a whole number, got 1.5");
    EXPECT_EQ(refusal("ColourDetector"), expected + "one model for ColourDetector, got 0");
    Given models;
    models.models = {&model(), &model()};
    EXPECT_EQ(refusal("ColourDetector", {}, models), expected + "one model for ColourDetector, got 2");
    models.models = {nullptr};
    EXPECT_EQ(refusal("ColourDetector", {}, models), expected + "models for ColourDetector, got a null pointer");
    EXPECT_EQ(refusal("MotionSegment"), expected + "the size of the pictures for MotionSegment, got 0 x 0");
    Given flat;
    flat.size = {8, 0};
    EXPECT_EQ(refusal("MotionSegment", {}, flat), expected + "the size of the pictures for MotionSegment, got 8 x 0");
    EXPECT_EQ(refusal("FaceDetect"), expected + "a cascade file for FaceDetect, got none");
}

TEST(CpuOperators, TakeTheEndsOfEachRange)
{
    for (const Operator& each : catalogue::operators()) {
        if (each.kind != catalogue::Kind::CPU_OPERATOR)
            continue;
        for (const catalogue::Parameter& parameter : each.parameters)
            for (const double value : {parameter.least, parameter.most})
                EXPECT_EQ(refusal(each.name, {{parameter.name, value}}, given()), "no exception");
    }
}

} // namespace
} // namespace velmor::tests
