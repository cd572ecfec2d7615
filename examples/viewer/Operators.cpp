#include "examples/viewer/Operators.h"

#include "examples/shared/Drawing.h"

#include <algorithm>
#include <chrono>
#include <map>

namespace velmor::examples {
namespace {

using catalogue::Data;
using catalogue::Need;
using catalogue::Parameter;
using core::cvdata::ColourHist2d;

constexpr double kMostShare = 0.4; ///< of the frame's width and height, for a chart

/// Results that are dark, or may be, and how many times brighter they are shown at first.
const std::map<std::string, double> kBrightness = {
    {"Subtract", 3}, {"Xor", 3}, {"Classify", 3}, {"NonMaxSupression", 3}, {"Laplacian", 1}};

/// A number from 0 on.
Parameter number(const std::string& name, const std::string& meaning, double most)
{
    Parameter result;
    result.name = name;
    result.meaning = meaning;
    result.most = most;
    return result;
}

/// @param choices  words for the values from 0 on
Parameter choice(const std::vector<std::string>& choices)
{
    Parameter result = number("shown", "what of the result is seen", static_cast<double>(choices.size() - 1));
    result.choices = choices;
    return result;
}

Parameter level()
{
    Parameter result = number("level", "from which on a channel counts as set, of 255", 250);
    result.initial = 100;
    result.step = 10;
    return result;
}

Parameter threshold()
{
    Parameter result = number("threshold", "how likely a colour has to be, beside the usual", 8);
    result.initial = 1;
    result.step = 0.25;
    return result;
}

Parameter brightness(double initial)
{
    Parameter result = number("brightness", "how many times brighter than it is", 10);
    result.initial = initial;
    result.least = 1;
    return result;
}

std::vector<Parameter> viewParameters(const catalogue::Operator& each)
{
    if (each.name == "And")
        return {level()};
    if (each.name == "MotionSegment")
        return {choice({"over the frame", "history"})};
    if (each.gives == Data::GRADIENTS)
        return {choice({"strength", "level edges", "upright edges"})};
    if (each.need == Need::ONE_MODEL)
        return {threshold()};
    const auto dark = kBrightness.find(each.name);
    return dark == kBrightness.end() ? std::vector<Parameter>() : std::vector{brightness(dark->second)};
}

/// A histogram of the first and the third colour exchanged.
ColourHist2d exchanged(const ColourHist2d& histogram)
{
    unsigned char bins1 = 0, bins2 = 0, bins3 = 0;
    histogram.getNofBins(bins1, bins2, bins3);
    ColourHist2d result(bins3, bins2, bins1);
    for (unsigned char i = 0; i < bins1; ++i)
        for (unsigned char j = 0; j < bins2; ++j)
            for (unsigned char k = 0; k < bins3; ++k)
                result.getValue(k, j, i) = histogram.getValue(i, j, k);
    return result;
}

} // namespace

const std::vector<catalogue::Operator>& shownOperators()
{
    static const std::vector<catalogue::Operator> kShown = [] {
        std::vector<catalogue::Operator> result = catalogue::operators();
        for (catalogue::Operator& each : result)
            for (const Parameter& parameter : viewParameters(each))
                each.parameters.push_back(parameter);
        return result;
    }();
    return kShown;
}

bool takesSecondPicture(const catalogue::Operator& shown)
{
    return shown.sources == 2 && shown.takes == Data::PICTURE;
}

bool takesPatch(const catalogue::Operator& shown)
{
    return shown.takes == Data::MASK || shown.need == Need::ONE_MODEL || shown.need == Need::MODELS;
}

std::unique_ptr<Operator> makeOperator(const catalogue::Operator& shown, Material& material)
{
    const bool isFilter = shown.kind == catalogue::Kind::FILTER;
    return isFilter ? makeFilterOperator(shown, material) : makePictureOperator(shown, material);
}

catalogue::Values ownValues(const std::string& name, const catalogue::Values& values)
{
    catalogue::Values result;
    for (const Parameter& parameter : catalogue::find(name)->parameters)
        result[parameter.name] = values.at(parameter.name);
    return result;
}

core::cvdata::ColorGMM modelOf(const Material& material, const catalogue::Values& values)
{
    core::cvdata::ColorGMM result = material.chosen;
    result.detectionThreshold *= values.at("threshold");
    return result;
}

cv::Mat withChart(const cv::Mat& frame, const ColourHist2d& histogram)
{
    const cv::Mat full = histogramPicture(exchanged(histogram));
    const cv::Size box(std::clamp(static_cast<int>(frame.cols * kMostShare), 1, full.cols),
                       std::clamp(static_cast<int>(frame.rows * kMostShare), 1, full.rows));
    const cv::Mat chart = fitted(full, box);
    cv::Mat picture = frame.clone();
    chart.copyTo(picture(cv::Rect(cv::Point(frame.cols - chart.cols, 0), chart.size())));
    return picture;
}

double timed(const std::function<void()>& work)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    work();
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

} // namespace velmor::examples
