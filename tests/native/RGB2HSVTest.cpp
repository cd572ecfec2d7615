#include "native/RGB2HSV.h"

#include "tests/native/Colours.h"

namespace velmor::tests {
namespace {

using native::RGB2HSV;

/// Value, saturation and hue of a colour whose first channel is blue.
cv::Vec3b hsvOf(uchar c0, uchar c1, uchar c2)
{
    return onPixel<uchar>(RGB2HSV(), {c0, c1, c2}).at<cv::Vec3b>(0);
}

TEST(RGB2HSV, TakesChannelZeroForBlue)
{
    // By design, and the other way round than its name says.
    EXPECT_EQ(hsvOf(255, 0, 0), cv::Vec3b(255, 255, 170));
    EXPECT_EQ(hsvOf(0, 255, 0), cv::Vec3b(255, 255, 85));
    EXPECT_EQ(hsvOf(0, 0, 255), cv::Vec3b(255, 255, 0));
    const cv::Mat blue = onPixel(RGB2HSV(), {1.0F, 0.0F, 0.0F});
    EXPECT_EQ(blue.at<cv::Vec3f>(0), cv::Vec3f(1.0F, 1.0F, 240.0F / 360.0F));
}

TEST(RGB2HSV, IsTheRuleEverywhere)
{
    expectEverywhere({RGB2HSV(), kColourTypes, hsvLoop(2), {-1, CV_8U, CV_32F}});
}

TEST(RGB2HSV, OfFloatsIsWhatTheShaderDoesWhateverTheyAre)
{
    expectOnOddColours(RGB2HSV(), hsvLoop(2));
}

TEST(RGB2HSV, RefusesWhatItDoesNotTake)
{
    expectRefusals(RGB2HSV(), "RGB2HSV");
}

TEST(RGB2HSVSweep, IsExactForEveryColour)
{
    expectOnEveryColour(RGB2HSV(), hsvLoop(2));
}

TEST(RGB2HSVSweep, IsTheRuleForPicturesLargerThanTheCaches)
{
    expectOnLargePictures({RGB2HSV(), kColourTypes, hsvLoop(2)});
}

} // namespace
} // namespace velmor::tests
