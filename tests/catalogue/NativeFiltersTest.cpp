// Filters on pictures in main memory, made by name: each is of the class of its name and has the settings asked for.

#include "catalogue/NativeFilters.h"

#include "core/cvdata/ColorGMM.h"
#include "tests/support/Models.h"
#include "tests/support/ThrownText.h"

#include <boost/core/demangle.hpp>
#include <gtest/gtest.h>

#include <stdexcept>

namespace velmor::tests {
namespace {

using catalogue::Given;
using catalogue::hasNative;
using catalogue::makeNative;
using catalogue::Operator;
using catalogue::Values;

/// A model of one colour, red and green 100, half of it in one component.
core::cvdata::ColorGMM& model()
{
    static core::cvdata::ColorGMM model = makeModel({{{{0.01, 0}, {0, 0.01}}, 1e4f, {100, 100}, 1.0f}}, 1e-6);
    return model;
}

Given given()
{
    Given result;
    result.models = {&model()};
    return result;
}

TEST(NativeFilters, AreAllFiltersButThoseOfNumbers)
{
    for (const Operator& each : catalogue::operators()) {
        const bool ofNumbers = each.gives == catalogue::Data::COUNTS || each.gives == catalogue::Data::HISTOGRAM;
        EXPECT_EQ(hasNative(each), each.kind == catalogue::Kind::FILTER && !ofNumbers) << each.name;
    }
}

TEST(NativeFilters, EachIsOfTheClassOfItsNameAndTakesAsManySources)
{
    for (const Operator& each : catalogue::operators()) {
        if (!hasNative(each))
            continue;
        const auto filter = makeNative(each.name, {}, given());
        const native::Filter& made = *filter;
        EXPECT_EQ(boost::core::demangle(typeid(made).name()), "velmor::native::" + each.name);
        EXPECT_EQ(made.sources(), each.sources) << each.name;
    }
}

std::string refusal(const std::string& name, const Values& values = {}, const Given& what = {})
{
    return thrownText<std::invalid_argument>([&] { makeNative(name, values, what); });
}

TEST(NativeFilters, SayWhatDoesNotFit)
{
    const std::string expected = "catalogue::makeNative(): expected ";
    EXPECT_EQ(refusal("Bogus"), expected + "the name of a filter, got 'Bogus'");
    EXPECT_EQ(refusal("Moments"), expected + "the name of a filter, got 'Moments'");
    EXPECT_EQ(refusal("PixelCount"), expected + "a filter that gives a picture, got 'PixelCount'");
    EXPECT_EQ(refusal("Not", {{"kernel", 1}}), expected + "no parameter of Not, got 'kernel'");
    EXPECT_EQ(refusal("Laplacian", {{"kernel", 3}}), expected + "kernel of Laplacian on 0..2, got 3");
    EXPECT_EQ(refusal("ColorGMM"), expected + "one model for ColorGMM, got 0");
    EXPECT_EQ(refusal("ColorGMM2"), expected + "at least one model for ColorGMM2, got 0");
}

TEST(NativeFilters, TakeTheirParameters)
{
    cv::Mat impulse(3, 3, CV_8UC1, cv::Scalar(0)), result;
    impulse.at<uchar>(1, 1) = 10;
    const int beside[] = {10, 10, 20}; // what the neighbour beside weighs in each kernel
    for (const int kernel : {0, 1, 2}) {
        makeNative("Laplacian", {{"kernel", kernel}})->execute(impulse, result, CV_8U);
        EXPECT_EQ(result.at<uchar>(1, 0), beside[kernel]) << kernel;
    }
    const cv::Mat colour(1, 1, CV_8UC3, cv::Scalar(100, 100, 7));
    makeNative("ColorGMM", {}, given())->execute(colour, result);
    EXPECT_EQ(result.type(), CV_8UC1);
    EXPECT_EQ(result.at<uchar>(0, 0), 255);
    makeNative("ColorGMM", {{"output", 1}}, given())->execute(colour, result);
    EXPECT_EQ(result.at<cv::Vec3b>(0, 0), cv::Vec3b(100, 100, 7));
}

TEST(NativeFilters, KeepTheirModelsAsTheyWere)
{
    core::cvdata::ColorGMM changed = makeModel({{{{0.01, 0}, {0, 0.01}}, 1e4f, {100, 100}, 1.0f}}, 1e-6);
    Given what;
    what.models = {&changed};
    const auto one = makeNative("ColorGMM", {}, what);
    const auto classes = makeNative("ColorGMM2", {}, what);
    changed.mixture[0]->mean[0] = 0;
    changed.detectionThreshold = 1;
    cv::Mat result;
    for (const auto* const filter : {one.get(), classes.get()}) {
        filter->execute(cv::Mat(1, 1, CV_8UC3, cv::Scalar(100, 100, 7)), result);
        EXPECT_EQ(result.at<uchar>(0, 0), 255);
    }
}

} // namespace
} // namespace velmor::tests
