#include "native/BGR2HSV.h"

#include "tests/native/Colours.h"

namespace velmor::tests {
namespace {

using native::BGR2HSV;

/// Value, saturation and hue of a colour whose first channel is red.
cv::Vec3b hsvOf(uchar c0, uchar c1, uchar c2)
{
    return onPixel<uchar>(BGR2HSV(), {c0, c1, c2}).at<cv::Vec3b>(0);
}

TEST(BGR2HSV, GivesValueSaturationAndHue)
{
    EXPECT_EQ(hsvOf(255, 0, 0), cv::Vec3b(255, 255, 0));
    EXPECT_EQ(hsvOf(0, 255, 0), cv::Vec3b(255, 255, 85));
    EXPECT_EQ(hsvOf(0, 0, 255), cv::Vec3b(255, 255, 170));
    EXPECT_EQ(hsvOf(200, 100, 100), cv::Vec3b(200, 128, 0)); // a saturation of 127.5
}

TEST(BGR2HSV, OfTwoLargestRedCountsFirstAndThenGreen)
{
    EXPECT_EQ(hsvOf(255, 255, 0), cv::Vec3b(255, 255, 43));  // 60 degrees: 42.5
    EXPECT_EQ(hsvOf(0, 255, 255), cv::Vec3b(255, 255, 128)); // 180 degrees: 127.5
    EXPECT_EQ(hsvOf(255, 0, 255), cv::Vec3b(255, 255, 213)); // 300 degrees: 212.5
}

TEST(BGR2HSV, OfGreyHasNeitherHueNorSaturation)
{
    EXPECT_EQ(hsvOf(0, 0, 0), cv::Vec3b(0, 0, 0));
    EXPECT_EQ(hsvOf(1, 1, 1), cv::Vec3b(1, 0, 0));
    EXPECT_EQ(hsvOf(255, 255, 255), cv::Vec3b(255, 0, 0));
}

TEST(BGR2HSV, AHueJustBelowTheWholeCircleIsTheLargestByte)
{
    EXPECT_EQ(hsvOf(255, 0, 1), cv::Vec3b(255, 255, 255)); // 359.76 degrees
}

TEST(BGR2HSV, IsTheRuleEverywhere)
{
    expectEverywhere({BGR2HSV(), kColourTypes, hsvLoop(0), {-1, CV_8U, CV_32F}});
}

TEST(BGR2HSV, OfFloatsIsWhatTheShaderDoesWhateverTheyAre)
{
    expectOnOddColours(BGR2HSV(), hsvLoop(0));
}

TEST(BGR2HSV, TouchesNothingBehindThePixels)
{
    expectNothingTouchedBehind({BGR2HSV(), kColourTypes, hsvLoop(0)});
}

TEST(BGR2HSV, RefusesWhatItDoesNotTake)
{
    expectRefusals(BGR2HSV(), "BGR2HSV");
}

TEST(BGR2HSVSweep, IsExactForEveryColour)
{
    expectOnEveryColour(BGR2HSV(), hsvLoop(0));
}

TEST(BGR2HSVSweep, IsTheRuleForPicturesLargerThanTheCaches)
{
    expectOnLargePictures({BGR2HSV(), kColourTypes, hsvLoop(0)});
}

} // namespace
} // namespace velmor::tests
