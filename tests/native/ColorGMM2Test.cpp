#include "native/ColorGMM2.h"

#include "tests/support/InstructionSets.h"
#include "tests/support/NativeMixtures.h"
#include "tests/support/NativeTest.h"
#include "tests/support/ThrownText.h"

#include <limits>
#include <set>
#include <stdexcept>

namespace velmor::tests {
namespace {

using native::ColorGMM2;
using Model = core::cvdata::ColorGMM;
using Models = std::vector<Model>;

const std::vector<int> kTypes = {CV_8UC2, CV_8UC3, CV_8UC4, CV_32FC2, CV_32FC3, CV_32FC4};

/// Models of one to nine components. With one of them the threshold plays a part.
Models wideModels(int count)
{
    Models models;
    for (int i = 0; i < count; ++i)
        models.push_back(wideModel(1 + i % 9, 100U + static_cast<unsigned>(i), 1e-5));
    return models;
}

template<typename T>
uchar classOf(const Models& models, const T* pixel)
{
    if (models.size() == 1)
        return densityAt(models[0], pixel) > models[0].detectionThreshold ? 255 : 0;
    long double largest = -1.0;
    std::size_t best = 0;
    for (std::size_t i = 0; i < models.size(); ++i) {
        const long double density = densityAt(models[i], pixel);
        if (density > largest) {
            largest = density;
            best = i;
        }
    }
    return static_cast<uchar>(best);
}

PlainLoop loopOf(const Models& models)
{
    return [&models](const cv::Mat& source, const cv::Mat&, int type) {
        cv::Mat result(source.size(), type);
        for (int y = 0; y < source.rows; ++y)
            for (int x = 0; x < source.cols; ++x)
                result.ptr(y)[x] = source.depth() == CV_8U
                                       ? classOf(models, source.ptr(y) + x * source.channels())
                                       : classOf(models, source.ptr<float>(y) + x * source.channels());
        return result;
    };
}

cv::Mat classesOf(const Models& models, const cv::Mat& picture)
{
    cv::Mat result;
    ColorGMM2(models).execute(picture, result);
    return result;
}

TEST(ColorGMM2, IsTheRuleForEveryPairOfBytes)
{
    for (const int count : {1, 2, 3, 11}) {
        SCOPED_TRACE(count);
        const Models models = wideModels(count);
        expectOn({ColorGMM2(models), {}, loopOf(models)}, allPairsOf(2 + count % 3));
        const cv::Mat classes = classesOf(models, allPairsOf(2));
        const std::set<uchar> seen(classes.begin<uchar>(), classes.end<uchar>());
        EXPECT_GE(static_cast<int>(seen.size()), count == 1 ? 2 : (count + 1) / 2);
    }
}

TEST(ColorGMM2, IsTheRuleForEveryNumberOfAnySize)
{
    for (const Model& model : unusualModels(1e-5)) {
        const Models models = {wideModel(3, 7, 1e-5), model};
        expectOn({ColorGMM2(models), {}, loopOf(models)}, allPairsOf(3));
    }
}

TEST(ColorGMM2, IsTheRuleEverywhere)
{
    const Models one = wideModels(1), three = wideModels(3);
    expectEverywhere({ColorGMM2(one), {CV_8UC4, CV_32FC2}, loopOf(one), {CV_8U}});
    expectEverywhere({ColorGMM2(three), kTypes, loopOf(three)});
}

TEST(ColorGMM2, HasANumberForEachOf256Classes)
{
    Models models;
    for (int i = 0; i < 256; ++i)
        models.push_back(makeModel({gaussianOf(i, 128, 0.25, 0, 90000, 1.0F)}, 1.0)); // no threshold applies
    const cv::Mat bytes = allPairsOf(2);
    cv::Mat expected(256, 256, CV_8UC1);
    cv::extractChannel(bytes, expected, 0);
    expectEqual(classesOf(models, bytes), expected, "bytes");
    expectEqual(classesOf(models, floatsOf(bytes)), expected, "floats");
}

TEST(ColorGMM2, GivesTheFirstOfEqualClasses)
{
    const Model one = wideModel(2, 8, 1.0), other = makeModel({gaussianOf(100, 100, 400, 0, 400, 1e-30F)}, 1.0);
    const cv::Mat bytes = allPairsOf(2);
    EXPECT_EQ(cv::countNonZero(classesOf({one, one, other}, bytes)), 0);
    EXPECT_EQ(cv::countNonZero(classesOf({one, one, other}, floatsOf(bytes))), 0);
    EXPECT_EQ(cv::countNonZero(classesOf({other, one, one}, bytes) != 1), 0);
    EXPECT_EQ(cv::countNonZero(classesOf({other, one, one}, floatsOf(bytes)) != 1), 0);
}

TEST(ColorGMM2, GivesClass0WhereAllDensitiesAre0)
{
    // Forms beyond 1500 make densities of 0: e to the power of -750 is less than half of the smallest double.
    const Model left = makeModel({gaussianOf(0, 0, 1, 0, 1, 1.0F)}, 0.0);
    const Model right = makeModel({gaussianOf(255, 0, 1, 0, 1, 1.0F)}, 0.0);
    const cv::Mat pixels = (cv::Mat_<uchar>(1, 10) << 1, 0, 100, 200, 253, 2, 255, 39, 200, 0);
    const cv::Mat expected = (cv::Mat_<uchar>(1, 5) << 0, 0, 1, 0, 0);
    expectEqual(classesOf({left, right}, pixels.reshape(2)), expected, "bytes");
    expectEqual(classesOf({left, right}, floatsOf(pixels.reshape(2))), expected, "floats");
    // A density of 1e-320 is above 0.
    const cv::Mat small(1, 1, CV_8UC2, cv::Scalar(255, 38)); // form 1444
    EXPECT_EQ(classesOf({left, right}, small).at<uchar>(0, 0), 1);
    // Class 0 also has no density at all here.
    EXPECT_EQ(classesOf({makeModel({}, 0.0), right}, small).at<uchar>(0, 0), 1);
}

TEST(ColorGMM2, IsTheRuleFarFromNarrowClasses)
{
    // Far from their means the densities of narrow classes are 0, and the wide one is larger.
    const Models models = {makeModel({gaussianOf(20, 30, 1, 0, 1, 1.0F)}, 0.0), wideModel(2, 4, 0.0),
                           makeModel({gaussianOf(200, 100, 4, 1, 2, 1.0F)}, 0.0)};
    const cv::Mat bytes = allPairsOf(2);
    expectOn({ColorGMM2(models), {}, loopOf(models)}, bytes);
    expectOn({ColorGMM2(models), {}, loopOf(models)}, floatsOf(bytes));
}

TEST(ColorGMM2, BearsAThousandComponentsThatAreFarAway)
{
    // The squared distance from the first class is 1373, and its density e to the power of -688. Those of the others
    // are 0, however many there are.
    const Model near = makeModel({gaussianOf(0, 0, 1, 0, 1, 1.0F)}, 0.0);
    const Model far = makeModel(std::vector<Gaussian>(1000, gaussianOf(255, 255, 1, 0, 1, 1.0F)), 0.0);
    const cv::Mat bytes(1, 1, CV_8UC2, cv::Scalar(37, 2));
    EXPECT_EQ(classesOf({far, near}, bytes).at<uchar>(0, 0), 1);
    EXPECT_EQ(classesOf({far, near}, floatsOf(bytes)).at<uchar>(0, 0), 1);
}

TEST(ColorGMM2, BearsFormsThatAreNotPositive)
{
    // e to the power of 32512 is infinite, and no larger twice.
    const Gaussian saddle = {{{-1.0, 0}, {0, 1.0}}, 1.0F, {0, 0}, 1.0F};
    const Model once = makeModel({saddle}, 0.0), twice = makeModel({saddle, saddle}, 0.0), wide = wideModel(2, 4, 0.0);
    const cv::Mat bytes = (cv::Mat_<uchar>(1, 4) << 255, 0, 0, 255);
    for (const cv::Mat& picture : {bytes.reshape(2), floatsOf(bytes.reshape(2))}) {
        expectEqual(classesOf({wide, once}, picture), (cv::Mat_<uchar>(1, 2) << 1, 0), "an infinite class");
        expectEqual(classesOf({wide, once, twice}, picture), (cv::Mat_<uchar>(1, 2) << 1, 0), "two infinite classes");
    }
}

TEST(ColorGMM2, PutsWhatIsNotANumberIntoClass0)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Models models = wideModels(3);
    const cv::Mat pixels = (cv::Mat_<float>(1, 6) << nan, 0.5F, 0.5F, nan, nan, nan);
    onEachInstructionSet([&](const std::string& set) {
        expectEqual(classesOf(models, pixels.reshape(2)), cv::Mat(1, 3, CV_8UC1, cv::Scalar(0)), set);
        expectEqual(classesOf({models[0]}, pixels.reshape(2)), cv::Mat(1, 3, CV_8UC1, cv::Scalar(0)), set);
    });
}

TEST(ColorGMM2, NeverChoosesADensityThatIsNotANumber)
{
    const auto withDeterminant = [](float determinant, float weight) {
        return makeModel({{{{0.01, 0}, {0, 0.01}}, determinant, {100, 50}, weight}}, 0.0);
    };
    const Model usual = withDeterminant(1e4F, 1.0F), negative = withDeterminant(-1.0F, 1.0F);
    const Model zero = withDeterminant(0.0F, 1.0F), none = withDeterminant(0.0F, 0.0F);
    const Model nan = withDeterminant(std::numeric_limits<float>::quiet_NaN(), 1.0F);
    const Model below = withDeterminant(1.0F, -100.0F); // a density of -15.9 at the mean
    for (const int type : {CV_8UC2, CV_32FC2}) {
        const cv::Mat mean(1, 1, type, type == CV_8UC2 ? cv::Scalar(100, 50) : cv::Scalar(100 / 255.0, 50 / 255.0));
        const auto chosen = [&](const Models& models) {
            return int{classesOf(models, mean).at<uchar>(0, 0)};
        };
        onEachInstructionSet([&](const std::string& set) {
            SCOPED_TRACE(set);
            EXPECT_EQ(chosen({negative, usual, nan}), 1);
            EXPECT_EQ(chosen({negative, nan, none}), 0);
            EXPECT_EQ(chosen({usual, zero, zero}), 1); // infinite
            EXPECT_EQ(chosen({none, zero}), 1);
            EXPECT_EQ(chosen({below, below}), 0);
            EXPECT_EQ(chosen({below, usual}), 1);
            EXPECT_EQ(chosen({below, makeModel({}, 0.0)}), 1);
        });
    }
}

TEST(ColorGMM2, KeepsItsModelsWhateverBecomesOfTheCallers)
{
    Models models = wideModels(3);
    const Models same = wideModels(3);
    const ColorGMM2 filter(models);
    models[0].mixture[0]->mean[0] = 0.0; // shared by all copies of the model
    models[1].mixture.clear();
    models.pop_back();
    expectOn({filter, {}, loopOf(same)}, allPairsOf(3));
    expectOn({filter, {}, loopOf(same)}, randomPicture({50, 40}, CV_32FC3, 1));
}

TEST(ColorGMM2, RefusesModelsThatItCannotTakeOrNumber)
{
    const auto textOf = [](const Models& models) {
        return thrownText<std::invalid_argument>([&] { ColorGMM2 filter(models); });
    };
    EXPECT_EQ(textOf({}), "native::ColorGMM2::ColorGMM2(): expected 1 to 256 models, got 0");
    EXPECT_EQ(textOf(Models(257)), "native::ColorGMM2::ColorGMM2(): expected 1 to 256 models, got 257");
    Models models = wideModels(2);
    models[1].mixture.emplace_back(new core::cvdata::GM(3));
    EXPECT_EQ(textOf(models), "native::ColorGMM2::ColorGMM2(): expected components of 2 dimensions, got 3");
}

TEST(ColorGMM2, RefusesOtherTypes)
{
    const ColorGMM2 filter(wideModels(2));
    expectRefusal(
        [&](cv::Mat& result) { filter.execute(cv::Mat(2, 2, CV_8UC1, cv::Scalar(1)), result); },
        "native::ColorGMM2::execute(): expected 2, 3 or 4 channels of bytes or floats, got 1 channel of bytes");
    expectRefusal([&](cv::Mat& result) { filter.execute(cv::Mat(2, 2, CV_64FC3, cv::Scalar::all(1)), result); },
                  "native::ColorGMM2::execute(): expected 2, 3 or 4 channels of bytes or floats, got 3 channels of "
                  "doubles");
    expectRefusal([&](cv::Mat& result) { filter.execute(cv::Mat(2, 2, CV_32FC3, cv::Scalar::all(1)), result, CV_32F); },
                  "native::ColorGMM2::execute(): expected a result of bytes, got floats");
}

} // namespace
} // namespace velmor::tests
