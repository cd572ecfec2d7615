#include "native/RGB2GRAY.h"

#include "tests/native/Colours.h"

namespace velmor::tests {
namespace {

using native::RGB2GRAY;

TEST(RGB2GRAY, WeightsChannelZeroByTheWeightOfRed)
{
    // As BGR2GRAY does, by design.
    EXPECT_EQ(onPixel<uchar>(RGB2GRAY(), {255, 0, 0}).at<uchar>(0), 54);
    EXPECT_EQ(onPixel<uchar>(RGB2GRAY(), {0, 0, 255}).at<uchar>(0), 18);
    EXPECT_EQ(onPixel(RGB2GRAY(), {1.0F, 0.0F, 0.0F}).at<float>(0), 0.212671F);
    EXPECT_EQ(onPixel(RGB2GRAY(), {0.0F, 0.0F, 1.0F}).at<float>(0), 0.072169F);
}

TEST(RGB2GRAY, IsTheRuleEverywhere)
{
    expectEverywhere({RGB2GRAY(), kColourTypes, greyLoop(), {-1, CV_8U, CV_32F}});
}

TEST(RGB2GRAY, OfFloatsIsTheShadersSumWhateverTheyAre)
{
    expectOnOddColours(RGB2GRAY(), greyLoop());
}

TEST(RGB2GRAY, RefusesWhatItDoesNotTake)
{
    expectRefusals(RGB2GRAY(), "RGB2GRAY");
}

TEST(RGB2GRAYSweep, IsExactForEveryColour)
{
    expectOnEveryColour(RGB2GRAY(), greyLoop());
}

TEST(RGB2GRAYSweep, IsTheRuleForPicturesLargerThanTheCaches)
{
    expectOnLargePictures({RGB2GRAY(), kColourTypes, greyLoop()});
}

} // namespace
} // namespace velmor::tests
