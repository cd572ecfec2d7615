#include "native/BayerRG2RGB.h"

#include "tests/native/BayerLoop.h"

namespace velmor::tests {
namespace {

using native::BayerRG2RGB;

const PlainLoop kLoop = bayerLoop(
    [](const ExactColours& colours, uchar* out) {
        for (std::size_t c = 0; c < 3; ++c)
            out[c] = toByte(colours.numerators[c], colours.denominator);
    },
    [](const std::array<float, 3>& colours, float* out) { std::copy(colours.begin(), colours.end(), out); });

TEST(BayerRG2RGB, IsTheRuleEverywhere)
{
    expectEverywhere({BayerRG2RGB(), {CV_8UC1, CV_32FC1}, kLoop, {-1, CV_8U, CV_32F}});
}

TEST(BayerRG2RGB, IsTheRuleForNeighboursOfManyBrightnesses)
{
    for (const int sumBeside : {0, 1, 2, 127, 255, 256, 509, 510})
        expectForAllNeighbours({BayerRG2RGB(), {}, kLoop}, sumBeside);
}

TEST(BayerRG2RGBSweep, IsTheRuleForAllBytesThatAColourDependsOn)
{
    for (int sumBeside = 0; sumBeside <= 510 && !HasFailure(); ++sumBeside)
        expectForAllNeighbours({BayerRG2RGB(), {}, kLoop}, sumBeside);
}

TEST(BayerRG2RGB, GivesOneColourOfAnEvenPicture)
{
    for (const int value : {0, 1, 100, 255}) {
        cv::Mat result;
        BayerRG2RGB().execute(cv::Mat(5, 83, CV_8UC1, cv::Scalar(value)), result);
        expectEqual(result, cv::Mat(5, 83, CV_8UC3, cv::Scalar::all(value)), std::to_string(value));
    }
    cv::Mat result;
    BayerRG2RGB().execute(cv::Mat(5, 83, CV_32FC1, cv::Scalar(0.5)), result);
    expectEqual(result, cv::Mat(5, 83, CV_32FC3, cv::Scalar::all(0.5)), "a half");
}

TEST(BayerRG2RGB, TakesThePatternFromTheFirstPixel)
{
    // Red 10, green 20, blue 30 throughout. At the edge the edge's pixels stand for others of another colour.
    cv::Mat raw(9, 9, CV_8UC1);
    for (int y = 0; y < raw.rows; ++y)
        for (int x = 0; x < raw.cols; ++x)
            raw.at<uchar>(y, x) = static_cast<uchar>(10 + 10 * (y % 2) + 10 * (x % 2));
    const cv::Rect inside(2, 2, 4, 4);
    cv::Mat result;
    BayerRG2RGB().execute(raw, result);
    expectEqual(result(inside), cv::Mat(4, 4, CV_8UC3, cv::Scalar(10, 20, 30)), "from a red pixel");
    // By design red and blue are exchanged when a blue pixel is the first.
    BayerRG2RGB().execute(raw(cv::Rect(1, 1, 8, 8)), result);
    expectEqual(result(inside), cv::Mat(4, 4, CV_8UC3, cv::Scalar(30, 20, 10)), "from a blue pixel");
}

TEST(BayerRG2RGB, ScalesNothingInABlackNeighbourhood)
{
    // Black in the row as far as the average reaches, but not above and below it.
    cv::Mat raw(3, 90, CV_8UC1, cv::Scalar(31));
    raw.row(1).setTo(0);
    cv::Mat result;
    BayerRG2RGB().execute(raw, result);
    EXPECT_EQ(result.at<cv::Vec3b>(1, 40), cv::Vec3b(31, 0, 0)); // green in a row of blue: red is above and below
    raw.row(2).setTo(30);
    BayerRG2RGB().execute(raw, result);
    EXPECT_EQ(result.at<cv::Vec3b>(1, 40), cv::Vec3b(31, 0, 0)); // 30.5 is rounded up
    expectOn({BayerRG2RGB(), {}, kLoop, {CV_8U, CV_32F}}, raw);
}

TEST(BayerRG2RGB, KeepsInfinitiesAndWhatIsNoNumber)
{
    expectOn({BayerRG2RGB(), {}, kLoop, {CV_8U, CV_32F}}, specialFloats());
}

TEST(BayerRG2RGB, KeepsTheSignOfZerosAsTheShaderDoes)
{
    // Sums begin at +0: those of negative zeros alone are positive.
    const cv::Mat raw(5, 70, CV_32FC1, cv::Scalar(-0.0));
    cv::Mat result;
    BayerRG2RGB().execute(raw, result);
    expectEqual(result, cv::Mat::zeros(5, 70, CV_32FC3), "zeros");
}

TEST(BayerRG2RGB, RefusesOtherTypes)
{
    expectRefusal([](cv::Mat& result) { BayerRG2RGB().execute(cv::Mat(2, 2, CV_8UC3), result); },
                  "native::BayerRG2RGB::execute(): expected 1 channel of bytes or floats, got 3 channels of bytes");
    expectRefusal([](cv::Mat& result) { BayerRG2RGB().execute(cv::Mat(2, 2, CV_16UC1), result); },
                  "native::BayerRG2RGB::execute(): expected 1 channel of bytes or floats, got 1 channel of 16-bit "
                  "unsigned integers");
    expectRefusal([](cv::Mat& result) { BayerRG2RGB().execute(cv::Mat(2, 2, CV_8UC1), result, CV_16U); },
                  "native::BayerRG2RGB::execute(): expected a result of bytes or floats, got 16-bit unsigned integers");
}

} // namespace
} // namespace velmor::tests
