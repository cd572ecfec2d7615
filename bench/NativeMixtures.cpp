#include "bench/NativeFilters.h"
#include "core/cvdata/ColorGMM.h"
#include "native/ColorGMM.h"
#include "native/ColorGMM2.h"

#include <cmath>
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

/// A filter beside the plain loop over its formula.
Comparison besideALoop(const std::shared_ptr<const native::Filter>& filter, const std::vector<Model>& models,
                       const cv::Mat& source)
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
    comparison.beside = "loop";
    comparison.other = [=]() mutable {
        inALoop(models, source, expected);
    };
    comparison.most = source.depth() == CV_32F ? 1 / 4.0 : 0;
    return comparison;
}

/// A filter beside a wait of so many nanoseconds for each pixel, for targets that are speeds.
Comparison besideAClock(const std::shared_ptr<const native::Filter>& filter, const cv::Mat& source,
                        double pixelsPerSecond)
{
    cv::Mat result;
    filter->execute(source, result);
    Comparison comparison;
    comparison.own = [=]() mutable {
        filter->execute(source, result);
    };
    comparison.beside = "clock";
    const double wait = static_cast<double>(source.total()) / pixelsPerSecond;
    comparison.other = [wait] {
        const auto start = std::chrono::steady_clock::now();
        while (std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() < wait) {
        }
    };
    comparison.most = 1;
    return comparison;
}

} // namespace

void addMixtures()
{
    const std::vector<Model> three = patchModels(3), one = patchModels(1);
    const std::tuple<const char*, std::shared_ptr<const native::Filter>, std::vector<Model>> filters[] = {
        {"ColorGMM", std::make_shared<native::ColorGMM>(one[0], true), one},
        {"ColorGMM2", std::make_shared<native::ColorGMM2>(three), three}};
    for (const auto& [name, filter, models] : filters) {
        for (const Size& size : kFrameSizes) {
            for (const bool real : {true, false}) {
                for (const int type : {CV_8UC3, CV_32FC3}) {
                    const std::string what = std::string(name) + "/" + cv::typeToString(type) + "/" + size.name +
                                             (real ? "/real" : "/random");
                    const auto picture = [=] {
                        return real ? realPicture(size, type) : randomPicture(size, type);
                    };
                    add(what, [=, filter = filter, models = models] { return besideALoop(filter, models, picture()); });
                    if (type == CV_8UC3)
                        add(what + "/speed",
                            [=, filter = filter] { return besideAClock(filter, picture(), real ? 1e9 : 0.5e9); });
                }
            }
        }
    }
}

} // namespace velmor::bench
