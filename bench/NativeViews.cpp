#include "bench/BesideMemory.h"
#include "bench/NativeFilters.h"
#include "native/DebugUInt2Float.h"
#include "native/FlipV.h"

namespace velmor::bench {
namespace {

/// A filter is good enough at 0.95 of OpenCV's speed at the same work.
constexpr double kMostBesideOpenCv = 1 / 0.95;

Comparison besideFlip(const cv::Mat& picture)
{
    const native::FlipV flip;
    cv::Mat own, other;
    flip.execute(picture, own);
    cv::flip(picture, other, 0);
    expect(cv::norm(own, other, cv::NORM_INF) == 0, "FlipV");
    Comparison comparison;
    comparison.own = [=] {
        cv::Mat into = own;
        flip.execute(picture, into);
    };
    comparison.beside = "cv::flip";
    comparison.other = [=] {
        cv::Mat into = other;
        cv::flip(picture, into, 0);
    };
    comparison.most = kMostBesideOpenCv;
    return comparison;
}

} // namespace

void addViews()
{
    for (const int type : {CV_8UC1, CV_8UC3, CV_8UC4, CV_32FC1, CV_32FC3})
        add(std::string("FlipV/") + cv::typeToString(type) + "/memory",
            [type] { return besideMemory(std::make_shared<native::FlipV>(), type); });
    for (const int type : {CV_16UC1, CV_16UC4, CV_32SC1, CV_32SC4})
        add(std::string("DebugUInt2Float/") + cv::typeToString(type) + "/memory",
            [type] { return besideMemory(std::make_shared<native::DebugUInt2Float>(), type); });
    for (const int type : {CV_8UC1, CV_8UC3, CV_32FC1})
        for (const Size& size : kFrameSizes)
            for (const bool isReal : {true, false})
                add(std::string("FlipV/") + cv::typeToString(type) + "/" + size.name + (isReal ? "/real" : "/random"),
                    [=] { return besideFlip(isReal ? realPicture(size, type) : randomPicture(size, type)); });
}

} // namespace velmor::bench
