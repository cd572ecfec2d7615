#include "bench/NativeFilters.h"
#include "native/BGR2GRAY.h"
#include "native/BGR2HSV.h"
#include "native/RGB2GRAY.h"
#include "native/RGB2HSV.h"

#include <memory>

namespace velmor::bench {
namespace {

/// A filter of colours, and what it is compared with.
struct ColourFilter
{
    const char* name;
    std::shared_ptr<const native::Filter> filter;
    int code; ///< of cv::cvtColor()
    double mostOfBytes;
    bool isGrey;
};

/// Where the work is the same, a filter is good enough at 0.95 of the speed.
constexpr double kMostBesideTheSame = 1 / 0.95;

/// cv::transform() has the same weights but rounds them; the greys of cv::cvtColor() have others.
bool isGreyOf(const cv::Mat& grey, const cv::Mat& colours)
{
    const cv::Matx<double, 1, 4> weights(0.212671, 0.715160, 0.072169, 0);
    cv::Mat expected;
    cv::transform(colours, expected, cv::Mat(weights).colRange(0, colours.channels()));
    return cv::norm(grey, expected, cv::NORM_INF) <= (grey.depth() == CV_8U ? 1 : 1e-6);
}

/// OpenCV has hue, saturation and value in this order, and rounds each its own way; its circle has 256 steps.
bool isHsvOf(const cv::Mat& result, const cv::Mat& theirs)
{
    const bool bytes = result.depth() == CV_8U;
    cv::Mat value, saturation, theirValue, theirSaturation;
    cv::extractChannel(result, value, 0);
    cv::extractChannel(result, saturation, 1);
    cv::extractChannel(theirs, theirSaturation, 1);
    cv::extractChannel(theirs, theirValue, 2);
    return cv::norm(value, theirValue, cv::NORM_INF) == 0 &&
           cv::norm(saturation, theirSaturation, cv::NORM_INF) <= (bytes ? 1 : 1e-3);
}

Comparison besideOpenCv(const ColourFilter& filter, const cv::Mat& picture)
{
    const auto result = std::make_shared<cv::Mat>(), theirs = std::make_shared<cv::Mat>();
    filter.filter->execute(picture, *result);
    cv::cvtColor(picture, *theirs, filter.code);
    expect(filter.isGrey ? isGreyOf(*result, picture) : isHsvOf(*result, *theirs), filter.name);

    Comparison comparison;
    comparison.own = [=] {
        filter.filter->execute(picture, *result);
    };
    comparison.beside = "cv::cvtColor";
    comparison.other = [=] {
        cv::cvtColor(picture, *theirs, filter.code);
    };
    comparison.most = picture.depth() == CV_8U ? filter.mostOfBytes : kMostBesideTheSame;
    return comparison;
}

} // namespace

void addColour()
{
    const double mostOfGrey = 1 / 1.1, mostOfHsv = 1 / 2.0;
    const ColourFilter filters[] = {
        {"BGR2GRAY", std::make_shared<native::BGR2GRAY>(), cv::COLOR_RGB2GRAY, mostOfGrey, true},
        {"RGB2GRAY", std::make_shared<native::RGB2GRAY>(), cv::COLOR_RGB2GRAY, mostOfGrey, true},
        {"BGR2HSV", std::make_shared<native::BGR2HSV>(), cv::COLOR_RGB2HSV_FULL, mostOfHsv, false},
        {"RGB2HSV", std::make_shared<native::RGB2HSV>(), cv::COLOR_BGR2HSV_FULL, mostOfHsv, false}};
    for (const ColourFilter& filter : filters)
        for (const int type : {CV_8UC3, CV_8UC4, CV_32FC3})
            for (const Size& size : kFrameSizes)
                for (const bool real : {true, false})
                    add(std::string(filter.name) + "/" + cv::typeToString(type) + "/" + size.name +
                            (real ? "/real" : "/random"),
                        [=] {
                            return besideOpenCv(filter, real ? realPicture(size, type) : randomPicture(size, type));
                        });
}

} // namespace velmor::bench
