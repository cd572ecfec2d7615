#include "bench/NativeFilters.h"
#include "native/BayerRG2GRAY.h"
#include "native/BayerRG2RGB.h"

#include <memory>

namespace velmor::bench {
namespace {

/// Bilinear demosaicing does less: it scales no colour.
constexpr double kMostBesideBilinear = 1.6;

/// A picture as a sensor with RGGB pixels would take it.
cv::Mat mosaic(const cv::Mat& colours)
{
    cv::Mat raw(colours.size(), CV_8UC1);
    for (int y = 0; y < raw.rows; ++y)
        for (int x = 0; x < raw.cols; ++x)
            raw.at<uchar>(y, x) = colours.at<cv::Vec3b>(y, x)[y % 2 + x % 2];
    return raw;
}

/// Expects a real picture to be near to OpenCV's: colours differ by the local contrast, and grey by its weights too.
/// The wrong pattern differs by 9 in grey and by 22 in colour.
void expectSimilar(const cv::Mat& own, const cv::Mat& other)
{
    const double values = static_cast<double>(own.total()) * own.channels();
    expect(own.type() == other.type() && cv::norm(own, other, cv::NORM_L1) / values < 6, "demosaicing");
}

Comparison besideOpenCv(const std::shared_ptr<const native::Filter>& filter, const cv::Mat& raw, int conversion,
                        bool isReal)
{
    cv::Mat own, other;
    filter->execute(raw, own);
    cv::cvtColor(raw, other, conversion);
    if (isReal)
        expectSimilar(own, other);
    Comparison comparison;
    comparison.own = [=] {
        cv::Mat into = own;
        filter->execute(raw, into);
    };
    comparison.beside = "cv::cvtColor";
    comparison.other = [=] {
        cv::Mat into = other;
        cv::cvtColor(raw, into, conversion);
    };
    comparison.most = kMostBesideBilinear;
    return comparison;
}

} // namespace

void addBayer()
{
    struct Case
    {
        const char* name;
        std::shared_ptr<const native::Filter> filter;
        int conversion; // whose channels are ours: OpenCV names patterns by the second row
    };
    const Case cases[] = {{"BayerRG2RGB", std::make_shared<native::BayerRG2RGB>(), cv::COLOR_BayerBG2RGB},
                          {"BayerRG2GRAY", std::make_shared<native::BayerRG2GRAY>(), cv::COLOR_BayerBG2GRAY}};
    for (const Case& each : cases)
        for (const Size& size : kFrameSizes)
            for (const bool isReal : {true, false})
                add(std::string(each.name) + "/8UC1/" + size.name + (isReal ? "/real" : "/random"), [=] {
                    const cv::Mat raw = isReal ? mosaic(realPicture(size, CV_8UC3)) : randomPicture(size, CV_8UC1);
                    return besideOpenCv(each.filter, raw, each.conversion, isReal);
                });
}

} // namespace velmor::bench
