#include "native/BGR2GRAY.h"

#include "tests/native/Colours.h"

#include <cmath>
#include <cstdlib>

namespace velmor::tests {
namespace {

using native::BGR2GRAY;

uchar greyOf(uchar c0, uchar c1, uchar c2)
{
    return onPixel<uchar>(BGR2GRAY(), {c0, c1, c2}).at<uchar>(0);
}

TEST(BGR2GRAY, WeightsChannelZeroByTheWeightOfRed)
{
    EXPECT_EQ(greyOf(255, 0, 0), 54);  // 54.23
    EXPECT_EQ(greyOf(0, 255, 0), 182); // 182.37
    EXPECT_EQ(greyOf(0, 0, 255), 18);  // 18.40
    EXPECT_EQ(greyOf(255, 255, 255), 255);
    EXPECT_EQ(onPixel(BGR2GRAY(), {1.0F, 0.0F, 0.0F, 0.5F}).at<float>(0), 0.212671F);
    EXPECT_EQ(onPixel(BGR2GRAY(), {0.0F, 0.0F, 1.0F, 0.5F}).at<float>(0), 0.072169F);
}

TEST(BGR2GRAY, IsExactWhereTheSumIsNearlyAHalf)
{
    // No sum of the weights is a half. The nearest ones lie 5 millionths beside it.
    std::vector<cv::Vec3b> below, above;
    int nearest = 1000000;
    for (int red = 0; red < 256; ++red)
        for (int green = 0; green < 256; ++green)
            for (int blue = 0; blue < 256; ++blue) {
                const int beyondHalf = (212671 * red + 715160 * green + 72169 * blue) % 1000000 - 500000;
                nearest = std::min(nearest, std::abs(beyondHalf));
                if (std::abs(beyondHalf) == 5)
                    (beyondHalf < 0 ? below : above).emplace_back(red, green, blue);
            }
    EXPECT_EQ(nearest, 5);
    expectOn({BGR2GRAY(), {}, greyLoop()}, cv::Mat(below));
    expectOn({BGR2GRAY(), {}, greyLoop()}, cv::Mat(above));
}

TEST(BGR2GRAY, IsTheRuleEverywhere)
{
    expectEverywhere({BGR2GRAY(), kColourTypes, greyLoop(), {-1, CV_8U, CV_32F}});
}

TEST(BGR2GRAY, OfFloatsIsTheShadersSumWhateverTheyAre)
{
    expectOnOddColours(BGR2GRAY(), greyLoop());
}

TEST(BGR2GRAY, AlphaCountsOnlyWhereZeroTimesItIsNotZero)
{
    EXPECT_EQ(onPixel(BGR2GRAY(), {0.0F, 1.0F, 0.0F, -7.0F}).at<float>(0), 0.715160F);
    EXPECT_TRUE(std::isnan(onPixel(BGR2GRAY(), {0.0F, 1.0F, 0.0F, std::nanf("")}).at<float>(0)));
    EXPECT_TRUE(
        std::isnan(onPixel(BGR2GRAY(), {0.0F, 1.0F, 0.0F, std::numeric_limits<float>::infinity()}).at<float>(0)));
}

TEST(BGR2GRAY, TouchesNothingBehindThePixels)
{
    expectNothingTouchedBehind({BGR2GRAY(), kColourTypes, greyLoop()});
}

TEST(BGR2GRAY, RefusesWhatItDoesNotTake)
{
    expectRefusals(BGR2GRAY(), "BGR2GRAY");
}

TEST(BGR2GRAYSweep, IsExactForEveryColour)
{
    expectOnEveryColour(BGR2GRAY(), greyLoop());
}

TEST(BGR2GRAYSweep, IsTheRuleForPicturesLargerThanTheCaches)
{
    expectOnLargePictures({BGR2GRAY(), kColourTypes, greyLoop()});
}

} // namespace
} // namespace velmor::tests
