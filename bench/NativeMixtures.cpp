#include "bench/NativeFilters.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "native/ColorGMM.h"
#include "native/ColorGMM2.h"
#include "native/ColorHistShader.h"
#include "native/PixelCount.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <type_traits>

namespace velmor::bench {
namespace {

using core::cvdata::Image;
using Model = core::cvdata::ColorGMM;

/// Three components for the colours of a patch of a frame.
Model patchModel(const cv::Mat& frame, const cv::Rect& patch)
{
    Image samples(static_cast<unsigned>(patch.width), static_cast<unsigned>(patch.height), Image::RGB);
    cv::Mat pixels = samples.mat();
    frame(patch).copyTo(pixels);
    Model model;
    model.train(samples, nullptr, 3);
    return model;
}

/// Classes of three components each, of patches of a frame.
std::vector<Model> patchModels(std::size_t classes)
{
    const Size size = {"VGA", 640, 480};
    const cv::Mat frame = realPicture(size, CV_8UC3);
    std::vector<Model> models;
    for (std::size_t i = 0; i < classes; ++i)
        models.push_back(patchModel(frame, cv::Rect(40 + static_cast<int>(i) * 200, 220, 60, 60)));
    return models;
}

double density(const Model& model, double c0, double c1)
{
    double sum = 0.0;
    for (const auto& component : model.mixture) {
        const core::cvdata::GM& gm = *component;
        const double* const first = gm.invCovariance[0];
        const double* const second = gm.invCovariance[1];
        const double x = c0 - gm.mean[0], y = c1 - gm.mean[1];
        const double form = x * (x * first[0] + y * first[1]) + y * (x * second[0] + y * second[1]);
        sum += gm.weight * (1.0 / (6.2831853 * std::sqrt(static_cast<double>(gm.determinant))) * std::exp(-0.5 * form));
    }
    return sum;
}

uchar answer(const std::vector<Model>& models, double c0, double c1)
{
    if (models.size() == 1)
        return density(models[0], c0, c1) > models[0].detectionThreshold ? 255 : 0;
    double largest = -1.0;
    std::size_t best = 0;
    for (std::size_t i = 0; i < models.size(); ++i) {
        const double each = density(models[i], c0, c1);
        if (each > largest) {
            largest = each;
            best = i;
        }
    }
    return static_cast<uchar>(best);
}

template<typename T>
void answerInALoop(const std::vector<Model>& models, const cv::Mat& source, cv::Mat& result)
{
    constexpr double kScale = std::is_same_v<T, float> ? 255.0 : 1.0;
    for (int y = 0; y < source.rows; ++y) {
        const T* pixel = source.ptr<T>(y);
        for (int x = 0; x < source.cols; ++x, pixel += source.channels())
            result.ptr(y)[x] = answer(models, pixel[0] * kScale, pixel[1] * kScale);
    }
}

void inALoop(const std::vector<Model>& models, const cv::Mat& source, cv::Mat& result)
{
    if (source.depth() == CV_8U)
        answerInALoop<uchar>(models, source, result);
    else
        answerInALoop<float>(models, source, result);
}

/// A filter on floats beside the plain loop over its formula, and on bytes beside a clock that waits as long as the
/// slowest that is fast enough would take.
Comparison compareMixture(const std::shared_ptr<const native::Filter>& filter, const std::vector<Model>& models,
                          const cv::Mat& source, double pixelsPerSecond)
{
    cv::Mat expected(source.size(), CV_8UC1), result;
    inALoop(models, source, expected);
    filter->execute(source, result);
    // Two functions for e to the power of x may decide otherwise where densities are equal but for roundings.
    expect(cv::countNonZero(result != expected) <= 2, "the mixture");
    Comparison comparison;
    comparison.own = [=]() mutable {
        filter->execute(source, result);
    };
    if (source.depth() == CV_32F) {
        comparison.beside = "loop";
        comparison.other = [=]() mutable {
            inALoop(models, source, expected);
        };
        comparison.most = 1 / 4.0;
    } else {
        const double wait = static_cast<double>(source.total()) / pixelsPerSecond;
        comparison.beside = "clock";
        comparison.other = [wait] {
            const auto start = std::chrono::steady_clock::now();
            while (std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() < wait) {
            }
        };
        comparison.most = 1;
    }
    return comparison;
}

/// 8 x 8 x 8 cells beside cv::calcHist(), which counts every pixel of bytes and of floats below 1 in the same cells.
Comparison compareHistogram(const cv::Mat& source)
{
    const auto own = std::make_shared<core::cvdata::ColourHist2d>(8, 8, 8);
    const cv::Rect whole(0, 0, source.cols, source.rows);
    const auto other = [source] {
        const int channels[] = {0, 1, 2}, bins[] = {8, 8, 8};
        const float range[] = {0.0F, source.depth() == CV_8U ? 256.0F : 1.0F};
        const float* ranges[] = {range, range, range};
        cv::Mat histogram;
        cv::calcHist(&source, 1, channels, cv::Mat(), histogram, 3, bins, ranges);
        return histogram;
    };
    Comparison comparison;
    comparison.own = [=] {
        native::colorHistShader(source, whole, *own);
    };
    comparison.beside = "cv::calcHist";
    comparison.other = other;
    comparison.most = 1 / 3.0;

    comparison.own();
    const cv::Mat counts = other();
    double difference = 0.0; // of floats that are 1, which calcHist() leaves out
    for (unsigned char i = 0; i < 8; ++i)
        for (unsigned char j = 0; j < 8; ++j)
            for (unsigned char k = 0; k < 8; ++k)
                difference += std::abs(own->getValue(i, j, k) * static_cast<double>(source.total()) -
                                       static_cast<double>(counts.at<float>(i, j, k)));
    expect(difference <= (source.depth() == CV_8U ? 1e-3 : static_cast<double>(source.total()) / 100), "the histogram");
    return comparison;
}

/// Bytes that are read in a second beside those that memcpy() reads and writes, on pictures that no cache holds.
Comparison compareCount(int type)
{
    constexpr int kBytes = 128 << 20;
    constexpr int kWidth = 4096;
    const cv::Mat mask = type == CV_8UC1 ? randomPicture({"", kWidth, kBytes / kWidth}, type)
                                         : randomPicture({"", kWidth, kBytes / kWidth / 4}, type) * 3;
    double expected = 0.0;
    for (int y = 0; y < mask.rows; ++y)
        for (int x = 0; x < mask.cols; ++x)
            expected += type == CV_8UC1 ? mask.at<uchar>(y, x) == 255 : std::floor(mask.at<float>(y, x));
    expect(static_cast<double>(native::pixelCount(mask)) == expected, "the count");
    const cv::Mat copy = mask.clone();
    Comparison comparison;
    comparison.own = [=] {
        benchmark::DoNotOptimize(native::pixelCount(mask));
    };
    comparison.beside = "memcpy";
    comparison.other = [=] {
        std::memcpy(copy.data, mask.data, kBytes);
    };
    comparison.ownWork = 0.5; // half of what memcpy reads and writes
    comparison.most = 1 / 0.8;
    return comparison;
}

} // namespace

void addMixtures()
{
    const std::vector<Model> three = patchModels(3), one = patchModels(1);
    const std::tuple<const char*, std::shared_ptr<const native::Filter>, std::vector<Model>> filters[] = {
        {"ColorGMM", std::make_shared<native::ColorGMM>(one[0], true), one},
        {"ColorGMM2", std::make_shared<native::ColorGMM2>(three), three}};
    for (const auto& [name, filter, models] : filters)
        for (const Size& size : {kFrameSizes[1], kFrameSizes[2], kFrameSizes[3]})
            for (const bool real : {true, false})
                for (const int type : {CV_8UC3, CV_32FC3})
                    add(std::string(name) + "/" + cv::typeToString(type) + "/" + size.name +
                            (real ? "/real" : "/random"),
                        [=, filter = filter, models = models] {
                            return compareMixture(filter, models,
                                                  real ? realPicture(size, type) : randomPicture(size, type),
                                                  real ? 1e9 : 0.5e9);
                        });
    for (const Size& size : {kFrameSizes[1], kFrameSizes[2], kFrameSizes[3]})
        for (const bool real : {true, false})
            for (const int type : {CV_8UC3, CV_8UC4, CV_32FC3})
                add(std::string("colorHistShader/") + cv::typeToString(type) + "/" + size.name +
                        (real ? "/real" : "/random"),
                    [=] { return compareHistogram(real ? realPicture(size, type) : randomPicture(size, type)); });
    for (const int type : {CV_8UC1, CV_32FC1})
        add("pixelCount/" + cv::typeToString(type) + "/memory", [=] { return compareCount(type); });
}

} // namespace velmor::bench
