// Filters on pictures in main memory, made by name: each is of the class of its name, has the settings asked for, and
// runs.

#include "catalogue/NativeFilters.h"

#include "tests/support/Models.h"
#include "tests/support/NativeOperators.h"
#include "tests/support/ThrownText.h"

#include <boost/core/demangle.hpp>
#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

namespace velmor::tests {
namespace {

using catalogue::Data;
using catalogue::Given;
using catalogue::Need;
using catalogue::Operator;
using catalogue::Values;
using native::Filter;

class NativeFilters : public testing::Test
{
protected:
    Given given()
    {
        Given result;
        result.models = {&model};
        result.size = {16, 16};
        return result;
    }

    /// A model of colours around 128 and around 64.
    core::cvdata::ColorGMM model = makeModel(
        {{{{1e-2, 0}, {0, 1e-2}}, 1e4f, {128, 128}, 0.5f}, {{{1e-2, 0}, {0, 1e-2}}, 1e4f, {64, 64}, 0.5f}}, 1e-5);
};

/// The type of a picture of what a filter takes.
int sourceType(Data data)
{
    switch (data) {
    case Data::GREY:
    case Data::MOSAIC:
        return CV_8UC1;
    case Data::DIRECTIONS:
        return CV_32FC3;
    case Data::INTEGERS:
        return CV_16UC1;
    default:
        return CV_8UC3;
    }
}

/// The type that a filter gives of that.
int resultType(const Operator& each)
{
    switch (each.gives) {
    case Data::GREY:
        return each.takes == Data::DIRECTIONS ? CV_32FC1 : CV_8UC1;
    case Data::GRADIENTS:
        return CV_32FC3;
    case Data::MASK:
    case Data::CLASSES:
        return CV_8UC1;
    default:
        break;
    }
    if (each.takes == Data::INTEGERS)
        return CV_32FC1;
    return each.name == "Laplacian" ? CV_32FC3 : CV_8UC3;
}

cv::Mat randomSource(Data data, unsigned seed, int side)
{
    cv::Mat result(side, side, sourceType(data));
    cv::RNG(seed).fill(result, cv::RNG::UNIFORM, 0, result.depth() == CV_32F ? 1 : 256);
    return result;
}

cv::Mat resultOf(const Filter& filter, const Operator& each, int side = 16)
{
    cv::Mat result;
    if (each.sources == 2)
        filter.execute(randomSource(each.takes, 1, side), randomSource(each.takes, 2, side), result);
    else
        filter.execute(randomSource(each.takes, 1, side), result);
    return result;
}

bool areEqual(const cv::Mat& a, const cv::Mat& b)
{
    return a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0;
}

TEST_F(NativeFilters, AreThoseThatGiveAPicture)
{
    EXPECT_TRUE(catalogue::hasNative(*catalogue::find("Not")));
    for (const Operator& each : nativeOperators()) {
        EXPECT_EQ(each.kind, catalogue::Kind::FILTER) << each.name;
        EXPECT_TRUE(each.gives != Data::COUNTS && each.gives != Data::HISTOGRAM) << each.name;
    }
}

TEST_F(NativeFilters, EachIsMadeAndRuns)
{
    for (const Operator& each : nativeOperators()) {
        SCOPED_TRACE(each.name);
        const auto filter = catalogue::makeNative(each.name, {}, given());
        const Filter& made = *filter;
        EXPECT_EQ(boost::core::demangle(typeid(made).name()), "velmor::native::" + each.name);
        EXPECT_EQ(made.sources(), each.sources);
        EXPECT_EQ(made.resultType(sourceType(each.takes)), resultType(each));
        const cv::Mat result = resultOf(made, each);
        EXPECT_EQ(result.type(), resultType(each));
        EXPECT_GT(cv::norm(result, cv::NORM_INF), 0);
    }
}

TEST_F(NativeFilters, TakeTheirParameters)
{
    for (const Operator& each : nativeOperators()) {
        const cv::Mat initial = resultOf(*catalogue::makeNative(each.name, {}, given()), each);
        for (const catalogue::Parameter& parameter : each.parameters)
            for (double value = parameter.least; value <= parameter.most; value += parameter.step) {
                const auto filter = catalogue::makeNative(each.name, {{parameter.name, value}}, given());
                EXPECT_EQ(areEqual(resultOf(*filter, each), initial), value == parameter.initial)
                    << each.name << ": " << parameter.name << ' ' << value;
            }
    }
}

TEST_F(NativeFilters, CopyTheirModels)
{
    for (const Operator& each : nativeOperators()) {
        if (each.need != Need::ONE_MODEL && each.need != Need::MODELS)
            continue;
        SCOPED_TRACE(each.name);
        const auto filter = catalogue::makeNative(each.name, {}, given());
        const cv::Mat before = resultOf(*filter, each);
        model.mixture[0]->mean[0] = 0;
        model.detectionThreshold /= 100;
        EXPECT_TRUE(areEqual(resultOf(*filter, each), before));
        EXPECT_FALSE(areEqual(resultOf(*catalogue::makeNative(each.name, {}, given()), each), before));
    }
}

TEST_F(NativeFilters, EachServesSeveralThreadsAtOnce)
{
    constexpr int kSide = 512; // so large that a call uses threads of OpenCV's too
    for (const Operator& each : nativeOperators()) {
        const auto filter = catalogue::makeNative(each.name, {}, given());
        std::vector<cv::Mat> results(4);
        std::vector<std::thread> threads;
        for (cv::Mat& result : results)
            threads.emplace_back([&] { result = resultOf(*filter, each, kSide); });
        for (std::thread& thread : threads)
            thread.join();
        const cv::Mat alone = resultOf(*filter, each, kSide);
        for (const cv::Mat& result : results)
            EXPECT_TRUE(areEqual(result, alone)) << each.name;
    }
}

std::string refusal(const std::string& name, const Values& values = {}, const Given& what = {})
{
    return thrownText<std::invalid_argument>([&] { catalogue::makeNative(name, values, what); });
}

TEST_F(NativeFilters, SayWhatDoesNotFit)
{
    const std::string expected = "catalogue::makeNative(): expected ";
    EXPECT_EQ(refusal("Bogus"), expected + "the name of a filter, got 'Bogus'");
    EXPECT_EQ(refusal("Moments"), expected + "the name of a filter, got 'Moments'");
    EXPECT_EQ(refusal("Not", {{"kernel", 1}}), expected + "no parameter of Not, got 'kernel'");
    EXPECT_EQ(refusal("Laplacian", {{"tiles", 1}}), expected + "a parameter of Laplacian (kernel), got 'tiles'");
    EXPECT_EQ(refusal("Laplacian", {{"kernel", 3}}), expected + "kernel of Laplacian on 0..2, got 3");
    EXPECT_EQ(refusal("ColorGMM"), expected + "one model for ColorGMM, got 0");
    EXPECT_EQ(refusal("ColorGMM2"), expected + "at least one model for ColorGMM2, got 0");
    EXPECT_EQ(refusal("PixelCount"), expected + "a filter that gives a picture, got 'PixelCount'");
    EXPECT_EQ(refusal("ColorHistShader", {}, given()),
              expected + "a filter that gives a picture, got 'ColorHistShader'");
}

} // namespace
} // namespace velmor::tests
