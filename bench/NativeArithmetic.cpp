#include "bench/NativeFilters.h"
#include "native/Not.h"
#include "native/Or.h"
#include "native/Subtract.h"

#include <memory>

namespace velmor::bench {
namespace {

/// A filter is good enough at 0.95 of OpenCV's speed at the same work.
constexpr double kMostBesideOpenCv = 1 / 0.95;

using Call = std::function<void(const cv::Mat& source1, const cv::Mat& source2, cv::Mat& result)>;

Comparison besideOpenCv(const Call& own, const char* beside, const Call& other, const cv::Mat& source1)
{
    cv::Mat source2, ownResult, otherResult;
    cv::flip(source1, source2, 1);
    own(source1, source2, ownResult);
    other(source1, source2, otherResult);
    expect(cv::norm(ownResult, otherResult, cv::NORM_INF) == 0, beside);
    Comparison comparison;
    comparison.own = [=] {
        cv::Mat into = ownResult;
        own(source1, source2, into);
    };
    comparison.beside = beside;
    comparison.other = [=] {
        cv::Mat into = otherResult;
        other(source1, source2, into);
    };
    comparison.most = kMostBesideOpenCv;
    return comparison;
}

} // namespace

void addArithmetic()
{
    struct
    {
        const char* name;
        Call own;
        const char* beside;
        Call other;
        std::vector<int> types;
    } const filters[] = {
        {"Subtract",
         [](const cv::Mat& a, const cv::Mat& b, cv::Mat& result) { native::Subtract().execute(a, b, result); },
         "cv::absdiff",
         [](const cv::Mat& a, const cv::Mat& b, cv::Mat& result) { cv::absdiff(a, b, result); },
         {CV_8UC1, CV_8UC3, CV_32FC3}},
        {"Or",
         [](const cv::Mat& a, const cv::Mat& b, cv::Mat& result) { native::Or().execute(a, b, result); },
         "cv::add",
         [](const cv::Mat& a, const cv::Mat& b, cv::Mat& result) { cv::add(a, b, result); },
         {CV_8UC1, CV_8UC3}},
        {"Not",
         [](const cv::Mat& a, const cv::Mat&, cv::Mat& result) { native::Not().execute(a, result); },
         "cv::bitwise_not",
         [](const cv::Mat& a, const cv::Mat&, cv::Mat& result) { cv::bitwise_not(a, result); },
         {CV_8UC1, CV_8UC3}},
    };
    for (const auto& each : filters)
        for (const int type : each.types)
            for (const Size& size : {kFrameSizes[1], kFrameSizes[2], kFrameSizes[3]})
                for (const bool real : {true, false})
                    add(std::string(each.name) + "/" + cv::typeToString(type) + "/" + size.name +
                            (real ? "/real" : "/random"),
                        [=] {
                            return besideOpenCv(each.own, each.beside, each.other,
                                                real ? realPicture(size, type) : randomPicture(size, type));
                        });
}

} // namespace velmor::bench
