#include "tests/demo/GpuExpectations.h"

#include "tests/demo/SheetPictures.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <regex>

namespace velmor::tests {
namespace {

/// What the summary says an operator found.
std::string foundBy(const std::string& summary, const std::string& name)
{
    std::smatch match;
    EXPECT_TRUE(std::regex_search(summary, match, std::regex("\n" + name + " +[0-9]+ x [0-9]+ +[0-9.]+  (.+)\n")))
        << name;
    return match.size() == 2 ? match[1].str() : std::string();
}

/// The number in what an operator found.
/// @param form  a regular expression with the number as its group
double numberFoundBy(const std::string& summary, const std::string& name, const std::string& form)
{
    const std::string found = foundBy(summary, name);
    std::smatch match;
    EXPECT_TRUE(std::regex_match(found, match, std::regex(form))) << found;
    return match.size() == 2 ? std::stod(match[1].str()) : -1;
}

std::string percent(double share)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %%", 100 * share);
    return text;
}

/// Share of the pixels with a channel that is not zero.
double shareSet(const cv::Mat& picture)
{
    int set = 0;
    for (const cv::Vec3b& pixel : cv::Mat_<cv::Vec3b>(picture))
        set += pixel != cv::Vec3b();
    return set / static_cast<double>(picture.total());
}

/// A float picture of 0..1 as the sheet shows it.
cv::Mat asShown(const cv::Mat& values, const cv::Size& size)
{
    cv::Mat bytes;
    values.convertTo(bytes, CV_8U, 255);
    if (bytes.channels() == 1)
        cv::cvtColor(bytes, bytes, cv::COLOR_GRAY2BGR);
    return reduced(bytes, size);
}

cv::Mat floatsOf(const cv::Mat& frame)
{
    cv::Mat floats;
    frame.convertTo(floats, CV_32F, 1 / 255.0);
    return floats;
}

/// The luminance of ITU-R BT.709, rounded to bytes, on 0..1.
cv::Mat luminanceOf(const cv::Mat& frame)
{
    cv::Mat grey;
    cv::transform(frame, grey, cv::Matx13f(0.072169f, 0.715160f, 0.212671f));
    return floatsOf(grey);
}

/// Value, saturation and hue in red, green and blue.
cv::Mat hsvOf(const cv::Mat& frame, int conversion)
{
    cv::Mat hsv;
    cv::cvtColor(floatsOf(frame), hsv, conversion);
    return hsv.mul(cv::Scalar(1 / 360.0, 1, 1));
}

/// Share of the pixels whose gradient is larger than those of the two pixels ahead and behind.
double shareOfRidges(const cv::Mat& across, const cv::Mat& down, const cv::Mat& strength)
{
    const auto at = [&strength](double x, double y) {
        return strength.at<float>(std::clamp(static_cast<int>(std::floor(y)), 0, strength.rows - 1),
                                  std::clamp(static_cast<int>(std::floor(x)), 0, strength.cols - 1));
    };
    int ridges = 0;
    for (int y = 0; y < strength.rows; ++y)
        for (int x = 0; x < strength.cols; ++x) {
            const float own = strength.at<float>(y, x);
            const double dx = across.at<float>(y, x) / (1.4142 * own), dy = down.at<float>(y, x) / (1.4142 * own);
            ridges += own > 0 && at(x + 0.5 + dx, y + 0.5 + dy) < own && at(x + 0.5 - dx, y + 0.5 - dy) < own;
        }
    return ridges / static_cast<double>(strength.total());
}

void expectSobel(const std::vector<cv::Mat>& shown, const std::string& summary, const cv::Mat& frame)
{
    const cv::Size size = shown[SOBEL].size();
    const cv::Mat grey = luminanceOf(frame);
    cv::Mat across, down, strength;
    cv::Sobel(grey, across, CV_32F, 1, 0, 3, -1, 0, cv::BORDER_REPLICATE); // the filter's is the left less the right
    cv::Sobel(grey, down, CV_32F, 0, 1, 3, 1, 0, cv::BORDER_REPLICATE);
    cv::magnitude(across, down, strength);
    // A grey between two levels may be rounded to either: that moves a gradient by up to two levels.
    EXPECT_LE(largestDifference(shown[SOBEL], asShown(strength / 2, size)), 2);
    EXPECT_LE(largestDifference(shown[SOBEL_LEVEL], asShown(down / 2 + 0.5, size)), 2);
    EXPECT_LE(largestDifference(shown[SOBEL_UPRIGHT], asShown(across / 2 + 0.5, size)), 2);
    EXPECT_NEAR(numberFoundBy(summary, "GRAY2Sobel", "average strength ([0-9.]+)"), cv::mean(strength)[0], 0.001);

    cv::Mat expected;
    cv::merge(std::vector<cv::Mat>{down / 8 + 0.5, across / 8 + 0.5, strength / 4}, expected);
    EXPECT_LE(largestDifference(shown[THINNING_INPUT], asShown(expected, size)), 2);
    // Exact diagonals point to the corner of four pixels, of which rounding chooses one.
    EXPECT_NEAR(numberFoundBy(summary, "NonMaxSupression", "([0-9.]+) % of the pixels are kept"),
                100 * shareOfRidges(across, down, strength), 1);
}

void expectLaplacian(const cv::Mat& shown, const std::string& found, const cv::Mat& frame, const cv::Matx33f& kernel)
{
    cv::Mat response;
    cv::filter2D(floatsOf(frame), response, CV_32F, kernel, {-1, -1}, 0, cv::BORDER_REPLICATE);
    response = cv::abs(response);
    EXPECT_LE(largestDifference(shown, asShown(response, shown.size())), 1);
    char expected[64];
    std::snprintf(expected, sizeof expected, "average response %.3f in green", cv::mean(response)[1]);
    EXPECT_EQ(found, expected);
}

/// What a picture gained where no colour lost.
cv::Mat gainOf(const cv::Mat& before, const cv::Mat& after)
{
    cv::Mat gain(before.size(), CV_8UC3, cv::Scalar::all(0));
    for (int y = 0; y < gain.rows; ++y)
        for (int x = 0; x < gain.cols; ++x) {
            const cv::Vec3b &a = before.at<cv::Vec3b>(y, x), &b = after.at<cv::Vec3b>(y, x);
            if (b[0] >= a[0] && b[1] >= a[1] && b[2] >= a[2])
                gain.at<cv::Vec3b>(y, x) = b - a;
        }
    return gain;
}

void expectGain(const cv::Mat& shown, const std::string& found, const cv::Mat& gain)
{
    EXPECT_LE(largestDifference(shown, reduced(gain * 3, shown.size())), 1);
    EXPECT_EQ(found, percent(shareSet(gain)) + " of the pixels are set");
}

void expectClasses(const std::vector<cv::Mat>& shown, const std::string& found)
{
    double dark = 0, middling = 0, bright = 0;
    ASSERT_EQ(std::sscanf(found.c_str(), "%lf %% dark, %lf %% middling, %lf %% bright", &dark, &middling, &bright), 3);
    EXPECT_NEAR(dark + middling + bright, 100, 0.2);
    const cv::Scalar darkColour(170, 80, 20), middlingColour(90, 170, 60), brightColour(60, 170, 250);
    const cv::Scalar average =
        darkColour * (dark / 100) + middlingColour * (middling / 100) + brightColour * (bright / 100);
    EXPECT_LE(cv::norm(cv::mean(shown[CLASSES]), average, cv::NORM_INF), 1);

    const auto brightnessOf = [&shown](const cv::Scalar& colour) {
        cv::Mat members;
        cv::inRange(shown[CLASSES], colour, colour, members);
        EXPECT_GT(cv::countNonZero(members), 1000);
        return cv::mean(shown[BGR_TO_GREY], members)[0];
    };
    EXPECT_LT(brightnessOf(darkColour), brightnessOf(middlingColour));
    EXPECT_LT(brightnessOf(middlingColour), brightnessOf(brightColour));
}

void expectHistogram(const cv::Mat& shown, const std::string& found, const cv::Mat& frame)
{
    std::array<int, 64> cells = {};
    for (const cv::Vec3b& pixel : cv::Mat_<cv::Vec3b>(frame)) {
        const auto bin = [](uchar value) {
            return std::min(static_cast<std::size_t>(value / 255.0 * 4), std::size_t{3});
        };
        ++cells[bin(pixel[2]) + 4 * bin(pixel[1]) + 16 * bin(pixel[0])];
    }
    const auto fullest = std::max_element(cells.begin(), cells.end());
    EXPECT_EQ(found, percent(*fullest / static_cast<double>(frame.total())) +
                         " of the pixels in the fullest of 64 cells, at most 0.0 % off the CPU's counts");

    // The bar of the fullest cell stands in its place, and reaches over 610 of 670 rows, here half as many.
    const auto cell = static_cast<int>(fullest - cells.begin());
    const cv::Vec3i bins(cell / 16, cell / 4 % 4, cell % 4);
    const cv::Scalar colour = cv::Scalar(bins[0] + 0.5, bins[1] + 0.5, bins[2] + 0.5) * 64;
    cv::Mat bar;
    cv::inRange(shown.col((30 + cell * 13 + 6) / 2), colour - cv::Scalar::all(1), colour + cv::Scalar::all(1), bar);
    EXPECT_NEAR(cv::countNonZero(bar), 305, 2);
}

void expectPixelCount(const std::vector<cv::Mat>& shown, const std::string& summary)
{
    const std::string found = foundBy(summary, "PixelCount");
    const int count = std::atoi(found.c_str());
    EXPECT_EQ(found, std::to_string(count) + " pixels are set, " + std::to_string(count) + " by the CPU's count");
    EXPECT_EQ(foundBy(summary, "Subtract").rfind(percent(count / (768.0 * 576)) + " of the pixels move", 0), 0U);
    EXPECT_EQ(largestDifference(shown[PIXEL_COUNT], shown[MOVING]), 0);
}

} // namespace

void expectColourFilters(const std::vector<cv::Mat>& shown, const std::string& summary, const cv::Mat& frame)
{
    const cv::Size size = shown[LATER].size();
    const cv::Mat grey = luminanceOf(frame);
    EXPECT_LE(largestDifference(shown[BGR_TO_GREY], asShown(grey, size)), 1);
    EXPECT_EQ(largestDifference(shown[BGR_TO_GREY], shown[RGB_TO_GREY]), 0);
    EXPECT_EQ(foundBy(summary, "BGR2GRAY"),
              "average brightness " + std::to_string(std::lround(cv::mean(grey)[0] * 255)) + " of 255");
    EXPECT_EQ(foundBy(summary, "RGB2GRAY"), "0.0 % of the pixels differ from those of BGR2GRAY");

    const cv::Mat hsv = hsvOf(frame, cv::COLOR_BGR2HSV);
    const cv::Mat exchanged = hsvOf(frame, cv::COLOR_RGB2HSV);
    EXPECT_LE(largestDifference(shown[BGR_TO_HSV], asShown(hsv, size)), 1);
    EXPECT_LE(largestDifference(shown[RGB_TO_HSV], asShown(exchanged, size)), 1);
    EXPECT_NEAR(numberFoundBy(summary, "BGR2HSV", "average saturation ([0-9.]+) %"), 100 * cv::mean(hsv)[1], 0.1);
    cv::Mat bytes, exchangedBytes;
    hsv.convertTo(bytes, CV_8U, 255);
    exchanged.convertTo(exchangedBytes, CV_8U, 255);
    EXPECT_NEAR(numberFoundBy(summary, "RGB2HSV", "([0-9.]+) % of the pixels differ from those of BGR2HSV"),
                100 * shareSet(differenceOf(bytes, exchangedBytes)), 0.1);
}

void expectBayerFilters(const std::vector<cv::Mat>& shown, const std::string& summary, const cv::Mat& frame)
{
    // A pixel of the mosaic has one colour, which demosaicing leaves as it is. The detail is a sixteenth of the frame.
    const cv::Mat &mosaic = shown[MOSAIC_DETAIL], &colours = shown[BAYER_DETAIL];
    for (int row = 0; row < 36; ++row)
        for (int column = 0; column < 48; ++column) {
            const cv::Point centre(cvRound((column + 0.5) * mosaic.cols / 48), cvRound((row + 0.5) * mosaic.rows / 36));
            const int own = 2 - row % 2 - column % 2;
            for (int channel = 0; channel < 3; ++channel) {
                const int value = mosaic.at<cv::Vec3b>(centre)[channel];
                const int expected = channel == own ? colours.at<cv::Vec3b>(centre)[channel] : 0;
                ASSERT_LE(std::abs(value - expected), 1) << column << ", " << row << ", " << channel;
            }
        }
    EXPECT_LT(averageLevel(differenceOf(shown[BAYER_TO_RGB], shown[LATER])), 3);
    EXPECT_LT(averageLevel(differenceOf(shown[BAYER_TO_GREY], shown[BGR_TO_GREY])), 3);
    const double distance = numberFoundBy(summary, "BayerRG2RGB", "on average ([0-9.]+) of 255 levels from the frame");
    EXPECT_GE(distance, averageLevel(differenceOf(shown[BAYER_TO_RGB], shown[LATER])));
    EXPECT_LT(distance, 6);
    EXPECT_NEAR(numberFoundBy(summary, "BayerRG2GRAY", "average brightness ([0-9]+) of 255"),
                255 * cv::mean(luminanceOf(frame))[0], 2);
}

void expectEdgeFilters(const std::vector<cv::Mat>& shown, const std::string& summary, const cv::Mat& frame)
{
    expectSobel(shown, summary, frame);
    expectLaplacian(shown[LAPLACIAN], foundBy(summary, "Laplacian"), frame, {-1, -1, -1, -1, 8, -1, -1, -1, -1});
    expectLaplacian(shown[LAPLACIAN_FOUR], foundBy(summary, "Laplacian, four neighbours"), frame,
                    {0, 1, 0, 1, -4, 1, 0, 1, 0});
    expectLaplacian(shown[LAPLACIAN_EIGHT], foundBy(summary, "Laplacian, eight neighbours"), frame,
                    {-1, 2, -1, 2, -4, 2, -1, 2, -1});
}

void expectViews(const std::vector<cv::Mat>& shown, const std::string& summary, const cv::Mat& earlier,
                 const cv::Mat& later)
{
    expectGain(shown[BRIGHTER], foundBy(summary, "Classify"), gainOf(earlier, later));
    expectGain(shown[DARKER], foundBy(summary, "Classify, backwards"), gainOf(later, earlier));

    const cv::Size size = shown[LATER].size();
    cv::Mat upsideDown, grey;
    cv::flip(later, upsideDown, 0);
    EXPECT_LE(largestDifference(shown[FLIPPED], reduced(upsideDown, size)), 1);
    EXPECT_EQ(foundBy(summary, "FlipV"), "0.0 % of the pixels differ from the frame when flipped back");

    cv::cvtColor(floatsOf(later), grey, cv::COLOR_BGR2GRAY);
    EXPECT_LE(largestDifference(shown[INTEGERS], asShown(grey, size)), 1);
    EXPECT_NEAR(numberFoundBy(summary, "DebugUInt2Float", "average ([0-9.]+) of 1"), cv::mean(grey)[0], 0.001);
}

void expectMixtures(const std::vector<cv::Mat>& shown, const std::string& summary)
{
    const std::string form = "([0-9.]+) % of the pixels are set";
    const auto expectShare = [&](Place place, const std::string& name) {
        // Reducing a mask keeps its average, but for the rounding of each pixel by half a level.
        EXPECT_NEAR(numberFoundBy(summary, name, form), averageLevel(shown[place]) / 2.55, 0.3) << name;
    };
    expectShare(MIXTURE, "ColorGMM");
    expectShare(MIXTURE_HSV, "ColorGMM, behind BGR2HSV");
    EXPECT_EQ(foundBy(summary, "ColorGMM, in colour"), foundBy(summary, "ColorGMM"));

    int kept = 0, left = 0;
    for (int y = 0; y < shown[MIXTURE].rows; ++y)
        for (int x = 0; x < shown[MIXTURE].cols; ++x) {
            const uchar share = shown[MIXTURE].at<cv::Vec3b>(y, x)[0];
            if (share != 0 && share != 255)
                continue;
            ++(share == 255 ? kept : left);
            const cv::Vec3b expected = share == 255 ? shown[LATER].at<cv::Vec3b>(y, x) : cv::Vec3b();
            ASSERT_LE(cv::norm(shown[MIXTURE_COLOURS].at<cv::Vec3b>(y, x), expected, cv::NORM_INF), 1)
                << x << ", " << y;
        }
    EXPECT_GT(kept, 1000);
    EXPECT_GT(left, 1000);
}

void expectCounts(const std::vector<cv::Mat>& shown, const std::string& summary, const cv::Mat& frame)
{
    expectClasses(shown, foundBy(summary, "ColorGMM2"));
    expectHistogram(shown[GPU_HISTOGRAM], foundBy(summary, "ColorHistShader"), frame);
    expectPixelCount(shown, summary);
}

} // namespace velmor::tests
