#include "bench/NativeFilters.h"
#include "native/GRAY2Sobel.h"
#include "native/Laplacian.h"
#include "native/NonMaxSupression.h"

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <memory>

namespace velmor::bench {
namespace {

/// Gradients of bytes as they are differ from those of bytes on 0..1 by this factor.
double scaleOf(const cv::Mat& source)
{
    return source.depth() == CV_8U ? 255.0 : 1.0;
}

bool areNear(const cv::Mat& own, const cv::Mat& other)
{
    return cv::norm(own, other, cv::NORM_INF) < 1e-5 * 8;
}

struct SobelPlanes
{
    cv::Mat horizontal, vertical, magnitude;
};

void sobelOf(const cv::Mat& source, SobelPlanes& planes)
{
    cv::Sobel(source, planes.horizontal, CV_32F, 0, 1, 3, 1, 0, cv::BORDER_REPLICATE);
    cv::Sobel(source, planes.vertical, CV_32F, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE);
    cv::magnitude(planes.horizontal, planes.vertical, planes.magnitude);
}

Comparison compareSobel(const cv::Mat& source, double most)
{
    const auto filter = std::make_shared<native::GRAY2Sobel>();
    const auto result = std::make_shared<cv::Mat>();
    const auto planes = std::make_shared<SobelPlanes>();
    Comparison comparison;
    comparison.own = [=] {
        filter->execute(source, *result);
    };
    comparison.beside = "cv::Sobel_and_cv::magnitude";
    comparison.other = [=] {
        sobelOf(source, *planes);
    };
    comparison.most = most;
    comparison.own();
    comparison.other();
    const double scale = scaleOf(source);
    cv::Mat other;
    cv::merge(std::vector<cv::Mat>{planes->horizontal / scale, planes->vertical / -scale, planes->magnitude / scale},
              other);
    expect(areNear(*result, other), "GRAY2Sobel");
    return comparison;
}

cv::Mat kernelOf(int kernelType)
{
    if (kernelType == 1)
        return (cv::Mat_<float>(3, 3) << 0, 1, 0, 1, -4, 1, 0, 1, 0);
    if (kernelType == 2)
        return (cv::Mat_<float>(3, 3) << -1, 2, -1, 2, -4, 2, -1, 2, -1);
    return (cv::Mat_<float>(3, 3) << -1, -1, -1, -1, 8, -1, -1, -1, -1);
}

/// cv::filter2D keeps the sign: to bytes it gives zeros where the sum is negative.
bool agree(const cv::Mat& own, const cv::Mat& other, double scale)
{
    if (own.depth() == CV_8U)
        return cv::countNonZero((own != other) & (other != 0)) == 0;
    return areNear(own, cv::abs(other) / scale);
}

Comparison compareLaplacian(const cv::Mat& source, int kernelType, int depth, double most)
{
    const auto filter = std::make_shared<native::Laplacian>(kernelType);
    const auto result = std::make_shared<cv::Mat>(), other = std::make_shared<cv::Mat>();
    const cv::Mat kernel = kernelOf(kernelType);
    Comparison comparison;
    comparison.own = [=] {
        filter->execute(source, *result, depth);
    };
    comparison.beside = "cv::filter2D";
    comparison.other = [=] {
        cv::filter2D(source, *other, depth, kernel, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    };
    comparison.most = most;
    comparison.own();
    comparison.other();
    expect(agree(result->reshape(1), other->reshape(1), scaleOf(source)), "Laplacian");
    return comparison;
}

/// A plain loop of what NonMaxSupression computes.
void thinPlainly(const cv::Mat& source, cv::Mat& result)
{
    result.create(source.size(), CV_32FC1);
    const auto pixelAt = [](float coordinate, int length) {
        return coordinate > 0 ? static_cast<int>(std::min(coordinate, static_cast<float>(length - 1))) : 0;
    };
    for (int y = 0; y < source.rows; ++y) {
        const auto* const row = source.ptr<cv::Vec3f>(y);
        auto* const out = result.ptr<float>(y);
        for (int x = 0; x < source.cols; ++x) {
            const float magnitude = row[x][0], length = magnitude * 1.4142F;
            const float dx = (row[x][1] * 2 - 1) / length, dy = (row[x][2] * 2 - 1) / length;
            const float centreX = static_cast<float>(x) + 0.5F, centreY = static_cast<float>(y) + 0.5F;
            const auto magnitudeAt = [&](float atX, float atY) {
                return source.ptr<cv::Vec3f>(pixelAt(atY, source.rows))[pixelAt(atX, source.cols)][0];
            };
            const bool isExceeded = magnitudeAt(centreX + dx, centreY + dy) >= magnitude ||
                                    magnitudeAt(centreX - dx, centreY - dy) >= magnitude;
            out[x] = magnitude == 0 || isExceeded ? 0 : length;
        }
    }
}

/// What NonMaxSupression takes: a gradient's magnitude, and its direction so that it leads to the next pixel.
cv::Mat encodedGradient(const cv::Mat& grey)
{
    cv::Mat gradient;
    native::GRAY2Sobel().execute(grey, gradient);
    gradient.forEach<cv::Vec3f>([](cv::Vec3f& pixel, const int*) {
        const float h = pixel[0], v = pixel[1], magnitude = pixel[2];
        pixel = {magnitude, (1.4142F * -v + 1) / 2, (1.4142F * h + 1) / 2};
    });
    return gradient;
}

/// Counts pixels in a second too, as nothing that users call does the same work.
void addThinning(const std::string& pictures, const std::function<cv::Mat()>& make)
{
    constexpr double kLeastPixels = 300; // millions in a second
    const auto run = [=](benchmark::State& state) {
        const native::NonMaxSupression filter;
        const cv::Mat source = encodedGradient(make());
        cv::Mat result, other;
        filter.execute(source, result);
        thinPlainly(source, other);
        expect(cv::countNonZero(result != other) == 0, "NonMaxSupression");
        compare(
            state, [&] { filter.execute(source, result); }, "plain_loop", [&] { thinPlainly(source, other); });
        const double pixels = static_cast<double>(source.total()) / 1e3 / state.counters["own_ms"];
        state.counters["Mpix/s"] = pixels;
        state.counters["missed"] = pixels < kLeastPixels;
    };
    benchmark::RegisterBenchmark(("NonMaxSupression/32FC3/" + pictures).c_str(), run)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

} // namespace

void addEdges()
{
    constexpr double kMostBesideSame = 1 / 0.95;
    for (const Size& size : {kFrameSizes[1], kFrameSizes[2], kFrameSizes[3]}) {
        for (const bool real : {true, false}) {
            const std::string pictures = std::string(size.name) + (real ? "/real" : "/random");
            const auto picture = [size, real](int type) {
                return real ? realPicture(size, type) : randomPicture(size, type);
            };
            const bool isLarge = size.width > 640;
            add("GRAY2Sobel/8UC1/" + pictures,
                [=] { return compareSobel(picture(CV_8UC1), isLarge ? 1 / 1.3 : kMostBesideSame); });
            add("GRAY2Sobel/32FC1/" + pictures, [=] { return compareSobel(picture(CV_32FC1), kMostBesideSame); });
            for (const int kernelType : {0, 1, 2}) {
                const std::string kernel = "Laplacian" + std::to_string(kernelType) + '/';
                for (const int type : {CV_8UC1, CV_8UC3}) {
                    const std::string name = kernel + cv::typeToString(type);
                    add(name + "to8U/" + pictures,
                        [=] { return compareLaplacian(picture(type), kernelType, CV_8U, 1 / 5.0); });
                    add(name + "to32F/" + pictures,
                        [=] { return compareLaplacian(picture(type), kernelType, CV_32F, 1 / 3.0); });
                }
                add(kernel + "CV_32FC1/" + pictures,
                    [=] { return compareLaplacian(picture(CV_32FC1), kernelType, CV_32F, kMostBesideSame); });
            }
            addThinning(pictures, [=] { return picture(CV_8UC1); });
        }
    }
}

} // namespace velmor::bench
