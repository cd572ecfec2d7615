#include "native/internal/GreyOfBlueFirst.h"

#include "tests/native/Colours.h"

namespace velmor::tests {
namespace {

using native::GreyOfBlueFirst;

constexpr int kRed = 2; // the channel

TEST(GreyOfBlueFirst, WeightsChannelTwoByTheWeightOfRed)
{
    EXPECT_EQ(onPixel<uchar>(GreyOfBlueFirst(), {0, 0, 255}).at<uchar>(0), 54);
    EXPECT_EQ(onPixel<uchar>(GreyOfBlueFirst(), {255, 0, 0}).at<uchar>(0), 18);
    EXPECT_EQ(onPixel(GreyOfBlueFirst(), {0.0F, 0.0F, 1.0F}).at<float>(0), 0.212671F);
}

TEST(GreyOfBlueFirst, IsTheRuleEverywhere)
{
    expectEverywhere({GreyOfBlueFirst(), kColourTypes, greyLoop(kRed), {-1, CV_8U, CV_32F}});
}

TEST(GreyOfBlueFirst, OfFloatsIsTheShadersSumWhateverTheyAre)
{
    expectOnOddColours(GreyOfBlueFirst(), greyLoop(kRed));
}

TEST(GreyOfBlueFirstSweep, IsExactForEveryColour)
{
    expectOnEveryColour(GreyOfBlueFirst(), greyLoop(kRed));
}

} // namespace
} // namespace velmor::tests
