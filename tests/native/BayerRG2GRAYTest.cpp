#include "native/BayerRG2GRAY.h"

#include "tests/native/BayerLoop.h"
#include "tests/support/InstructionSets.h"

namespace velmor::tests {
namespace {

using native::BayerRG2GRAY;

const PlainLoop kLoop = bayerLoop(
    [](const ExactColours& colours, uchar* out) {
        const auto [red, green, blue] = colours.numerators;
        *out = toByte(212671 * red + 715160 * green + 72169 * blue, 1000000 * colours.denominator);
    },
    [](const std::array<float, 3>& colours, float* out) {
        *out = colours[0] * 0.212671F + colours[1] * 0.715160F + colours[2] * 0.072169F;
    });

TEST(BayerRG2GRAY, IsTheRuleEverywhere)
{
    expectEverywhere({BayerRG2GRAY(), {CV_8UC1, CV_32FC1}, kLoop, {-1, CV_8U, CV_32F}});
}

TEST(BayerRG2GRAY, IsTheRuleForNeighboursOfManyBrightnesses)
{
    for (const int sumBeside : {0, 1, 255, 509, 510})
        expectForAllNeighbours({BayerRG2GRAY(), {}, kLoop}, sumBeside);
}

TEST(BayerRG2GRAYSweep, IsTheRuleForManyBytes)
{
    for (unsigned seed = 0; seed < 64 && !HasFailure(); ++seed) {
        cv::Mat raw(1024, 1024, CV_8UC1);
        cv::RNG(seed + 1).fill(raw, cv::RNG::UNIFORM, 0, 1 << (seed % 8 + 1)); // dark ones too
        expectOn({BayerRG2GRAY(), {}, kLoop}, raw);
    }
    for (int sumBeside = 0; sumBeside <= 510 && !HasFailure(); sumBeside += 3)
        expectForAllNeighbours({BayerRG2GRAY(), {}, kLoop}, sumBeside);
}

TEST(BayerRG2GRAY, GivesTheValueOfAnEvenPicture)
{
    for (const int value : {0, 1, 100, 255}) {
        cv::Mat result;
        BayerRG2GRAY().execute(cv::Mat(5, 83, CV_8UC1, cv::Scalar(value)), result);
        expectEqual(result, cv::Mat(5, 83, CV_8UC1, cv::Scalar(value)), std::to_string(value));
    }
}

TEST(BayerRG2GRAY, NeitherRoundsNorLimitsTheColoursBefore)
{
    // The red pixel in the middle: red 100, green 255 * 100 / (200 / 3) = 382.5, blue 0. The sum is 294.8; with green
    // limited to 255 it would be 203.6.
    cv::Mat raw = cv::Mat::zeros(5, 5, CV_8UC1);
    raw.at<uchar>(2, 2) = raw.at<uchar>(2, 0) = 100;
    raw.at<uchar>(2, 1) = raw.at<uchar>(2, 3) = 255;
    cv::Mat result;
    BayerRG2GRAY().execute(raw, result);
    EXPECT_EQ(result.at<uchar>(2, 2), 255);
    // Green 0.5 alone: the sum is 0.36; with green rounded to 1 it would be 0.72.
    raw = cv::Mat::zeros(5, 5, CV_8UC1);
    raw.at<uchar>(2, 1) = 1;
    BayerRG2GRAY().execute(raw, result);
    EXPECT_EQ(result.at<uchar>(2, 2), 0);
}

TEST(BayerRG2GRAY, RoundsHalvesUp)
{
    struct Site
    {
        cv::Point place;
        int value;
        int twoNextToIt; ///< sum of the two pixels of its colour
        int twoBeside;
        int twoAcross;
        int grey; ///< a half more than the exact value
    };
    // The first one is red 32, green 308 / 2 * 32 / ((32 + 73) / 3) = 140.8 and blue 0, so that its grey is
    // 6.805472 + 100.694528 = 107.5.
    const Site sites[] = {{{2, 2}, 32, 73, 308, 0, 108},
                          {{3, 2}, 100, 58, 294, 374, 157},
                          {{2, 3}, 64, 35, 308, 253, 120},
                          {{3, 3}, 50, 28, 154, 132, 137}};
    for (const Site& site : sites) {
        cv::Mat raw = cv::Mat::zeros(6, 6, CV_8UC1);
        const auto setPair = [&](int dx, int dy, int sum) {
            raw.at<uchar>(site.place - cv::Point(dx, dy)) = static_cast<uchar>(sum / 2);
            raw.at<uchar>(site.place + cv::Point(dx, dy)) = static_cast<uchar>(sum - sum / 2);
        };
        raw.at<uchar>(site.place) = static_cast<uchar>(site.value);
        setPair(2, 0, site.twoNextToIt);
        setPair(1, 0, site.twoBeside);
        setPair(site.place.x == site.place.y ? 1 : 0, 1, site.twoAcross); // of red and blue pixels: diagonal
        onEachInstructionSet([&](const std::string& set) {
            cv::Mat result;
            BayerRG2GRAY().execute(raw, result);
            EXPECT_EQ(result.at<uchar>(site.place), site.grey) << set << ", column " << site.place.x;
        });
    }
}

TEST(BayerRG2GRAY, KeepsInfinitiesAndWhatIsNoNumber)
{
    expectOn({BayerRG2GRAY(), {}, kLoop, {CV_8U, CV_32F}}, specialFloats());
}

TEST(BayerRG2GRAY, RefusesOtherTypes)
{
    expectRefusal([](cv::Mat& result) { BayerRG2GRAY().execute(cv::Mat(2, 2, CV_32FC4), result); },
                  "native::BayerRG2GRAY::execute(): expected 1 channel of bytes or floats, got 4 channels of floats");
    expectRefusal([](cv::Mat& result) { BayerRG2GRAY().execute(cv::Mat(2, 2, CV_32FC1), result, CV_32S); },
                  "native::BayerRG2GRAY::execute(): expected a result of bytes or floats, got 32-bit integers");
}

} // namespace
} // namespace velmor::tests
