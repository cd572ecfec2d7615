// What the CPU operators allocate, and what they leave behind. A program of its own, with malloc() and free() counted.

#include "core/cvdata/Blobs.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "core/cvdata/Image.h"
#include "cvprocess/ColourDetector.h"
#include "cvprocess/ColourHist2D.h"
#include "cvprocess/FaceDetect.h"
#include "cvprocess/Moments.h"
#include "cvprocess/MotionSegment.h"
#include "math/Vector2.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Pictures.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <cstdlib>
#include <memory>

using namespace velmor::cvprocess;
using velmor::core::cvdata::Blobs;
using velmor::core::cvdata::ColorGMM;
using velmor::core::cvdata::ColourHist2d;
using velmor::core::cvdata::GM;
using velmor::core::cvdata::Image;

namespace velmor::tests {
namespace {

constexpr std::size_t kCalls = 100;
const char* const kCascade = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml";

/// Allocations per call: how many were made, and how many are still there. Some calls come before, for what OpenCV
/// allocates once.
template<typename Code>
Allocations perCall(const Code& code)
{
    cv::setNumThreads(1);
    for (int k = 0; k < 3; ++k)
        code();
    const Allocations before = allocations();
    for (std::size_t k = 0; k < kCalls; ++k)
        code();
    const Allocations after = allocations();
    EXPECT_EQ((after.alive - before.alive) % kCalls, 0u);
    return {(after.made - before.made) / kCalls, (after.alive - before.alive) / kCalls};
}

ColorGMM threeComponents()
{
    ColorGMM model;
    for (const double mean : {40.0, 100.0, 190.0}) {
        boost::shared_ptr<GM> component(new GM);
        component->mean[0] = mean;
        component->invCovariance[0][0] = component->invCovariance[1][1] = 0.01;
        component->determinant = 1e4f;
        component->weight = 0.3f;
        model.mixture.push_back(component);
    }
    return model;
}

TEST(Allocations, TheCounterCounts)
{
    const Allocations made = perCall([] { Image image(4, 3, Image::RGB); });
    EXPECT_EQ(made.made, 1u);
    EXPECT_EQ(made.alive, 0u);
    std::vector<std::unique_ptr<int>> kept;
    kept.reserve(1000);
    EXPECT_EQ(perCall([&] { kept.push_back(std::make_unique<int>(1)); }).alive, 1u);
}

TEST(Allocations, ColourDetectorMakesNonePerCall)
{
    std::mt19937 random(1);
    ColorGMM model = threeComponents();
    ColourDetector detector(&model, nullptr);
    const Image input = randomImage(100, 80, Image::RGB, random);
    Image output(100, 80, Image::GREYSCALE);
    EXPECT_EQ(perCall([&] { detector.preProcess(input, output); }).made, 0u);
    EXPECT_EQ(perCall([&] {
                  model.detectionThreshold *= 1.001;
                  detector.preProcess(input, output);
              }).made,
              0u);
}

TEST(Allocations, ColourHist2DMakesNone)
{
    std::mt19937 random(1);
    const Image image = randomImage(100, 80, Image::RGB, random);
    Image mask = randomImage(100, 80, Image::GREYSCALE, random, 2);
    ColourHist2d histogram(32, 32, 32);
    for (Image* const usedMask : {static_cast<Image*>(nullptr), &mask})
        for (const unsigned width : {20u, 100u})
            EXPECT_EQ(perCall([&] {
                          ColourHist2D::computeHistogram(image, histogram, 0, 0, width, 80, CvtColour::RGB, usedMask);
                      }).made,
                      0u);
}

TEST(Allocations, MassCentreMakesNone)
{
    std::mt19937 random(1);
    MotionSegment motion(1, 1);
    Image image = randomImage(3000, 80, Image::GREYSCALE, random);
    math::Vector2 centre;
    EXPECT_EQ(perCall([&] { motion.getMassCenter(&image, &centre); }).made, 0u);
}

TEST(Allocations, MotionHistoryMakesNone)
{
    std::mt19937 random(1);
    MotionSegment motion(300, 200);
    const Image still(300, 200, Image::BGR), moving = randomImage(300, 200, Image::BGR, random);
    Image output(300, 200, Image::GREYSCALE);
    EXPECT_EQ(perCall([&] {
                  motion.getMHI(&still, &output);
                  motion.getMHI(&moving, &output);
              }).made,
              0u);
}

TEST(Allocations, ABlobMakesNoneForItsMatrices)
{
    Blobs blobs;
    EXPECT_EQ(perCall([&] {
                  blobs.clear();
                  blobs.addBlob();
                  blobs.addBlob();
              }).made,
              0u);
}

// ---- what training takes

TEST(AllocationTraining, TheCounterFindsTheMost)
{
    EXPECT_EQ(mostBytesDuring([] {}), 0u);
    const std::size_t most = mostBytesDuring([] {
        std::vector<char>(300000);
        void* volatile grown = std::realloc(std::malloc(100000), 500000);
        std::free(grown);
        std::vector<char>(200000);
    });
    EXPECT_GE(most, 500000u);
    EXPECT_LT(most, 610000u); // with what realloc() has copied from
}

/// Three columns of dark, middle and bright colours.
Image threeColours(unsigned width, unsigned height)
{
    std::mt19937 random(1);
    Image image = randomImage(width, height, Image::RGB, random, 50);
    for (unsigned y = 0; y < height; ++y)
        for (unsigned x = 0; x < width; ++x)
            for (unsigned channel = 0; channel < 3; ++channel)
                byteAt(image, x, y, channel) = static_cast<unsigned char>(byteAt(image, x, y, channel) + 100 * (x % 3));
    return image;
}

// Of each pixel that is selected, 8 bytes are the colours that OpenCV is given. The rest is OpenCV's: those as doubles,
// the shares of the components, a likelihood and a label, 28 + 8 k bytes. An eighth of that is left for what it needs
// besides.
TEST(AllocationTraining, TakesMemoryForThePixelsSelectedOnly)
{
    cv::setNumThreads(1);
    constexpr unsigned side = 80, components = 3;
    const Image samples = threeColours(side, side);
    Image mask(side, side, Image::GREYSCALE);
    fillRectangle(mask, 0, 0, side, side / 4, 255);
    ColorGMM model;
    model.train(samples, nullptr, components); // for what OpenCV allocates once
    const auto mostBytes = [&](const Image* usedMask) {
        return mostBytesDuring([&] { model.train(samples, usedMask, components); });
    };
    constexpr unsigned expected = 8 + 28 + 8 * components;
    EXPECT_GE(mostBytes(nullptr), side * side * expected); // it counts what OpenCV allocates
    EXPECT_LT(mostBytes(nullptr), side * side * expected * 9 / 8);
    EXPECT_LT(mostBytes(&mask), side * side / 4 * expected * 9 / 8);
}

// ---- what stays: the two leaks that the classes speak of, and nothing else

TEST(AllocationStatedLeaks, MotionSegmentLeavesItsFrameRing)
{
    EXPECT_EQ(perCall([] { MotionSegment motion(30, 20); }).alive, 1u);
}

TEST(AllocationStatedLeaks, FaceDetectLeavesTheReducedImage)
{
    std::mt19937 random(1);
    FaceDetect detector(kCascade);
    Image image = randomImage(120, 100, Image::GREYSCALE, random);
    std::vector<CvRect> faces;
    for (const int scale : {1, 2}) // header and pixels
        EXPECT_EQ(perCall([&] { detector.findFaces(&image, faces, scale); }).alive, 2u);
}

TEST(AllocationStatedLeaks, NothingElseStays)
{
    std::mt19937 random(1);
    const Image colour = randomImage(60, 50, Image::RGB, random);
    Image grey = randomImage(60, 50, Image::GREYSCALE, random, 2);
    ColorGMM model = threeComponents();

    FaceDetect detector(kCascade);
    std::vector<math::Vector4> faces;
    EXPECT_EQ(perCall([&] { detector.findFaces(&grey, faces); }).alive, 0u);

    MotionSegment motion(60, 50);
    EXPECT_EQ(perCall([&] { motion.getMHI(&colour, &grey); }).alive, 0u);

    ColourDetector::Param params(0);
    params.useMorphology = true;
    EXPECT_EQ(perCall([&] {
                  ColourDetector own(&model, nullptr);
                  own.preProcess(colour, grey);
                  ColourDetector borrowing(&model, &params);
                  borrowing.preProcess(colour, grey);
              }).alive,
              0u);
    EXPECT_EQ(perCall([&] {
                  Moments moments;
                  Blobs blobs;
                  for (int k = 0; k < 5; ++k)
                      moments.findBlobs(grey, blobs, -1, 0.0);
              }).alive,
              0u);
}

TEST(AllocationStatedLeaks, FaceDetectLeavesNothingWhenItGoes)
{
    const auto makeAndDelete = [] {
        FaceDetect detector(kCascade);
    };
    makeAndDelete();
    const std::size_t before = allocations().alive;
    for (int k = 0; k < 3; ++k)
        makeAndDelete();
    EXPECT_EQ(allocations().alive, before);
}

} // namespace
} // namespace velmor::tests
