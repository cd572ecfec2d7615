#include "native/ColorGMM.h"

#include "tests/support/InstructionSets.h"
#include "tests/support/NativeMixtures.h"
#include "tests/support/NativeTest.h"
#include "tests/support/ThrownText.h"

#include <limits>
#include <stdexcept>

namespace velmor::tests {
namespace {

using native::ColorGMM;
using Model = core::cvdata::ColorGMM;

const std::vector<int> kTypes = {CV_8UC2, CV_8UC3, CV_8UC4, CV_32FC2, CV_32FC3, CV_32FC4};

template<typename T>
void keep(const Model& model, const cv::Mat& source, cv::Mat& result)
{
    const int channels = source.channels();
    for (int y = 0; y < source.rows; ++y) {
        for (int x = 0; x < source.cols; ++x) {
            const T* const pixel = source.ptr<T>(y) + x * channels;
            const bool isKept = densityAt(model, pixel) > model.detectionThreshold;
            if (result.channels() == 1)
                result.ptr(y)[x] = isKept ? 255 : 0;
            else
                for (int c = 0; c < channels; ++c)
                    result.ptr<T>(y)[x * channels + c] = isKept ? pixel[c] : T{0};
        }
    }
}

PlainLoop loopOf(const Model& model)
{
    return [&model](const cv::Mat& source, const cv::Mat&, int type) {
        cv::Mat result(source.size(), type);
        if (source.depth() == CV_8U)
            keep<uchar>(model, source, result);
        else
            keep<float>(model, source, result);
        return result;
    };
}

double shareOfKept(const Model& model)
{
    cv::Mat mask;
    ColorGMM(model, true).execute(allPairsOf(2), mask);
    return cv::countNonZero(mask) / 65536.0;
}

TEST(ColorGMM, IsTheRuleForEveryPairOfBytes)
{
    for (const int components : {1, 2, 3, 4, 9, 20}) {
        SCOPED_TRACE(components);
        const Model model = wideModel(components, 7, 2e-5);
        EXPECT_GT(shareOfKept(model), 0.05);
        EXPECT_LT(shareOfKept(model), 0.95);
        for (const int channels : {2, 3, 4}) {
            expectOn({ColorGMM(model), {}, loopOf(model)}, allPairsOf(channels));
            expectOn({ColorGMM(model, true), {}, loopOf(model)}, allPairsOf(channels));
        }
    }
}

TEST(ColorGMM, IsTheRuleForEveryNumberOfAnySize)
{
    for (const Model& model : unusualModels(2e-5))
        expectOn({ColorGMM(model), {}, loopOf(model)}, allPairsOf(3));
}

TEST(ColorGMM, IsTheRuleEverywhere)
{
    const Model model = wideModel(3, 11, 2e-5);
    expectEverywhere({ColorGMM(model), kTypes, loopOf(model)});
    expectEverywhere({ColorGMM(model, true), {CV_8UC3, CV_32FC4}, loopOf(model), {CV_8U}});
}

TEST(ColorGMM, RejectsADensityThatEqualsTheThreshold)
{
    const Gaussian none = gaussianOf(60, 70, 400, 0, 300, 0.0F); // density 0 everywhere
    for (const int type : {CV_8UC3, CV_32FC3}) {
        const cv::Mat picture(3, 40, type, cv::Scalar::all(type == CV_8UC3 ? 64 : 0.25));
        cv::Mat result;
        ColorGMM(makeModel({none}, 0.0), true).execute(picture, result);
        EXPECT_EQ(cv::countNonZero(result), 0);
        ColorGMM(makeModel({none}, -1e-300), true).execute(picture, result);
        EXPECT_EQ(cv::countNonZero(result), 120);
    }
}

TEST(ColorGMM, RejectsTheDensityOfTheMeanAtItsOwnValue)
{
    // At the mean the exponential is 1, and with these numbers the density is that of the formula without rounding
    // of its own: 1 / (6.2831853 * 16).
    const double atMean = 1.0 / (6.2831853 * 16.0);
    const Gaussian one = {{{1.0 / 16, 0}, {0, 1.0 / 16}}, 256.0F, {100, 50}, 1.0F};
    const cv::Mat bytes(1, 1, CV_8UC2, cv::Scalar(100, 50));
    cv::Mat result;
    ColorGMM(makeModel({one}, atMean), true).execute(bytes, result);
    EXPECT_EQ(result.at<uchar>(0, 0), 0);
    ColorGMM(makeModel({one}, std::nextafter(atMean, 0.0)), true).execute(bytes, result);
    EXPECT_EQ(result.at<uchar>(0, 0), 255);
}

/// Colours of bytes around one that is far from 0 and 255, at most so far away.
int coloursWithin(int squaredDistance)
{
    int count = 0;
    for (int y = -40; y <= 40; ++y)
        for (int x = -40; x <= 40; ++x)
            count += x * x + y * y <= squaredDistance;
    return count;
}

TEST(ColorGMM, OfThreeComponentsIsTheTrueMixtureUnlikeTheShader)
{
    // Three alike, far apart: a density above that at the squared distance 399.5 from a mean.
    constexpr double kMeans[3][2] = {{50, 50}, {128, 200}, {200, 60}};
    std::vector<Gaussian> alike;
    for (const auto& mean : kMeans)
        alike.push_back(gaussianOf(mean[0], mean[1], 100, 0, 100, 0.25F));
    const double threshold = 0.25 / (6.2831853 * 100) * std::exp(-399.5 / 200);
    cv::Mat mask;
    ColorGMM(makeModel(alike, threshold), true).execute(allPairsOf(2), mask);
    EXPECT_EQ(cv::countNonZero(mask), 3 * coloursWithin(399));

    // The shader's text adds the third density for the second too: its colours are lost, and more are found around the
    // third mean, where twice the density is enough: up to the squared distance 399.5 + 200 ln 2 = 538.1.
    alike[1].mean[0] = kMeans[2][0];
    alike[1].mean[1] = kMeans[2][1];
    cv::Mat ofText;
    ColorGMM(makeModel(alike, threshold), true).execute(allPairsOf(2), ofText);
    EXPECT_EQ(cv::countNonZero(ofText), coloursWithin(399) + coloursWithin(538));
    EXPECT_EQ(cv::countNonZero(mask != ofText), coloursWithin(538));
}

TEST(ColorGMM, OfNoComponentsHasTheDensity0)
{
    const cv::Mat picture(1, 1, CV_8UC2, cv::Scalar::all(9));
    cv::Mat result;
    ColorGMM(makeModel({}, 0.0), true).execute(picture, result);
    EXPECT_EQ(result.at<uchar>(0, 0), 0);
    ColorGMM(makeModel({}, -0.5), true).execute(picture, result);
    EXPECT_EQ(result.at<uchar>(0, 0), 255);
}

TEST(ColorGMM, KeepsNoPixelThatIsNotANumber)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Model model = wideModel(2, 3, -1.0); // every number is above it
    const cv::Mat pixels = (cv::Mat_<float>(1, 8) << nan, 0.5F, 0.5F, nan, nan, nan, 0.5F, 0.5F);
    cv::Mat result;
    onEachInstructionSet([&](const std::string& set) {
        ColorGMM(model, true).execute(pixels.reshape(2), result);
        expectEqual(result, (cv::Mat_<uchar>(1, 4) << 0, 0, 0, 255), set);
    });
    // Only the first two channels count.
    const cv::Mat third(1, 1, CV_32FC3, cv::Scalar(0.5, 0.5, nan));
    ColorGMM(model).execute(third, result);
    expectEqual(result, third, "a third channel that is not a number");
}

TEST(ColorGMM, KeepsNothingAtAnInfiniteDistance)
{
    // The density is 0 or, as the difference of infinite terms, not a number.
    const float infinity = std::numeric_limits<float>::infinity();
    const cv::Mat pixels = (cv::Mat_<float>(1, 8) << infinity, 0.5F, 0.5F, -infinity, infinity, infinity, 3e38F, 0.5F);
    cv::Mat result;
    onEachInstructionSet([&](const std::string& set) {
        ColorGMM(wideModel(2, 3, 0.0), true).execute(pixels.reshape(2), result);
        expectEqual(result, cv::Mat(1, 4, CV_8UC1, cv::Scalar(0)), set);
    });
}

TEST(ColorGMM, BearsEveryDeterminant)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const auto keptWith = [](float determinant, float weight, double threshold) {
        const Gaussian one = {{{0.01, 0}, {0, 0.01}}, determinant, {100, 50}, weight};
        cv::Mat bytes, floats;
        ColorGMM(makeModel({one}, threshold), true).execute(cv::Mat(1, 1, CV_8UC2, cv::Scalar(100, 50)), bytes);
        ColorGMM(makeModel({one}, threshold), true).execute(cv::Mat(1, 1, CV_32FC2, cv::Scalar(0.4, 0.2)), floats);
        EXPECT_EQ(bytes.at<uchar>(0, 0), floats.at<uchar>(0, 0));
        return bytes.at<uchar>(0, 0) == 255;
    };
    onEachInstructionSet([&](const std::string& set) {
        SCOPED_TRACE(set);
        EXPECT_TRUE(keptWith(0.0F, 1.0F, 1e300)); // infinite
        EXPECT_FALSE(keptWith(0.0F, 1.0F, infinity));
        EXPECT_FALSE(keptWith(0.0F, 0.0F, -1.0)); // not a number
        EXPECT_FALSE(keptWith(-4.0F, 1.0F, -1.0));
        EXPECT_FALSE(keptWith(std::numeric_limits<float>::quiet_NaN(), 1.0F, -1.0));
        EXPECT_FALSE(keptWith(4.0F, 1.0F, std::nan("")));
        EXPECT_TRUE(keptWith(std::numeric_limits<float>::infinity(), 1.0F, -1.0)); // 0
    });
}

TEST(ColorGMM, BearsAFormThatIsNotPositive)
{
    const Gaussian saddle = {{{-1.0, 0}, {0, 1.0}}, 1.0F, {0, 0}, 1.0F};
    const cv::Mat far(1, 1, CV_8UC2, cv::Scalar(255, 0)), other(1, 1, CV_8UC2, cv::Scalar(0, 255));
    cv::Mat result;
    const ColorGMM filter(makeModel({saddle}, 1e300), true);
    filter.execute(far, result); // e to the power of 32512 is infinite
    EXPECT_EQ(result.at<uchar>(0, 0), 255);
    filter.execute(other, result);
    EXPECT_EQ(result.at<uchar>(0, 0), 0);
}

TEST(ColorGMM, KeepsItsModelWhateverBecomesOfTheCallers)
{
    Model model = wideModel(2, 5, 2e-5);
    const Model same = wideModel(2, 5, 2e-5);
    const ColorGMM filter(model);
    model.mixture[0]->mean[0] = 0.0; // shared by all copies of the model
    model.mixture[1]->weight = 0.0F;
    model.mixture.pop_back();
    model.detectionThreshold = 1.0;
    expectOn({filter, {}, loopOf(same)}, allPairsOf(3));
    expectOn({filter, {}, loopOf(same)}, randomPicture({50, 40}, CV_32FC3, 1));
}

TEST(ColorGMM, RefusesOtherDimensionsThanTwo)
{
    const auto textOf = [](const boost::shared_ptr<core::cvdata::GM>& component) {
        Model model = wideModel(1, 1, 0.0);
        model.mixture.push_back(component);
        return thrownText<std::invalid_argument>([&] { ColorGMM filter(model); });
    };
    const std::string text = "native::ColorGMM::ColorGMM(): expected components of 2 dimensions, got ";
    EXPECT_EQ(textOf(boost::shared_ptr<core::cvdata::GM>(new core::cvdata::GM(3))), text + "3");
    EXPECT_EQ(textOf(boost::shared_ptr<core::cvdata::GM>(new core::cvdata::GM(1))), text + "1");
    // Fields may contradict each other.
    const boost::shared_ptr<core::cvdata::GM> component(new core::cvdata::GM(2));
    component->dimension = -1;
    EXPECT_EQ(textOf(component), text + "-1");
    component->dimension = 2;
    component->mean = math::Vector(0);
    EXPECT_EQ(textOf(component), text + "0");
    const boost::shared_ptr<core::cvdata::GM> large(new core::cvdata::GM(4));
    large->dimension = 2;
    large->mean = math::Vector(2);
    EXPECT_EQ(textOf(large), text + "4");
}

TEST(ColorGMM, RefusesOtherTypes)
{
    const ColorGMM colours(wideModel(1, 1, 0.0)), binary(wideModel(1, 1, 0.0), true);
    expectRefusal(
        [&](cv::Mat& result) { colours.execute(cv::Mat(2, 2, CV_8UC1, cv::Scalar(1)), result); },
        "native::ColorGMM::execute(): expected 2, 3 or 4 channels of bytes or floats, got 1 channel of bytes");
    expectRefusal([&](cv::Mat& result) { colours.execute(cv::Mat(2, 2, CV_16UC3, cv::Scalar::all(1)), result); },
                  "native::ColorGMM::execute(): expected 2, 3 or 4 channels of bytes or floats, got 3 channels of "
                  "16-bit unsigned "
                  "integers");
    expectRefusal([&](cv::Mat& result) { colours.execute(cv::Mat(2, 2, CV_8UC3, cv::Scalar::all(1)), result, CV_32F); },
                  "native::ColorGMM::execute(): expected a result of bytes, got floats");
    expectRefusal([&](cv::Mat& result) { binary.execute(cv::Mat(2, 2, CV_32FC3, cv::Scalar::all(1)), result, CV_32F); },
                  "native::ColorGMM::execute(): expected a result of bytes, got floats");
    EXPECT_EQ(colours.resultType(CV_32FC4), CV_32FC4);
    EXPECT_EQ(binary.resultType(CV_32FC4), CV_8UC1);
}

} // namespace
} // namespace velmor::tests
