#pragma once

#include "bench/Comparison.h"
#include "catalogue/NativeFilters.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "math/SquareMatrix.h"
#include "math/Vector2.h"
#include "native/ColorHistShader.h"
#include "native/PixelCount.h"

#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace velmor::bench {

using catalogue::Operator;

/// Colour models, and what a maker is given of them.
struct Models
{
    /// @param classes     how many models
    /// @param components  how many Gaussians each has, spread over all colours
    Models(int classes, int components) : models(static_cast<std::size_t>(classes))
    {
        cv::RNG random(1);
        math::SquareMatrix covariance(2);
        covariance[0][0] = 900.0;
        covariance[1][1] = 400.0;
        covariance[0][1] = covariance[1][0] = 100.0;
        for (core::cvdata::ColorGMM& model : models) {
            model.detectionThreshold = 1e-5;
            for (int k = 0; k < components; ++k) {
                const double mean0 = random.uniform(20.0, 236.0);
                const double mean1 = random.uniform(20.0, 236.0);
                model.mixture.push_back(core::cvdata::GM::fromCovariance(covariance, math::Vector2(mean0, mean1),
                                                                         1.0f / static_cast<float>(components)));
            }
        }
    }

    /// What an operator needs: all models, or the first one.
    catalogue::Given given(const Operator& what, const cv::Size& size)
    {
        catalogue::Given result;
        result.size = size;
        for (core::cvdata::ColorGMM& model : models)
            if (result.models.empty() || what.need == catalogue::Need::MODELS)
                result.models.push_back(&model);
        return result;
    }

    std::vector<core::cvdata::ColorGMM> models;
};

/// Strength and direction of the edges of a frame, as NonMaxSupression takes them.
inline cv::Mat realDirections(const Size& size)
{
    cv::Mat across, down, strength, directions;
    const cv::Mat grey = realPicture(size, CV_32FC1);
    cv::Sobel(grey, across, CV_32F, 1, 0);
    cv::Sobel(grey, down, CV_32F, 0, 1);
    cv::magnitude(across, down, strength);
    const double scale = std::sqrt(0.5); // by the length sqrt(2) that the filter divides by, and to 0..1
    across = across * scale + 0.5;
    down = down * scale + 0.5;
    cv::merge(std::vector<cv::Mat>{strength, across, down}, directions);
    return directions;
}

/// A real frame as an operator takes it: bytes where it takes bytes.
inline cv::Mat pictureFor(const Operator& what, const Size& size)
{
    using catalogue::Data;
    switch (what.takes) {
    case Data::GREY:
    case Data::MOSAIC:
        return realPicture(size, CV_8UC1);
    case Data::MASK: {
        const cv::Mat mask = realPicture(size, CV_8UC1) > 127;
        return mask;
    }
    case Data::INTEGERS: {
        cv::Mat integers;
        realPicture(size, CV_8UC1).convertTo(integers, CV_16U, 257.0);
        return integers;
    }
    case Data::DIRECTIONS:
        return realDirections(size);
    default:
        return realPicture(size, CV_8UC3);
    }
}

/// Bytes of the pixels of a picture.
inline std::size_t bytesOfPixels(const cv::Mat& picture)
{
    return picture.total() * picture.elemSize();
}

/// The type of a picture's pixels, such as "8UC3".
inline std::string typesOf(const cv::Mat& picture)
{
    return cv::typeToString(picture.type()).substr(3); // without "CV_"
}

/// A native operator with pictures to run on.
struct NativeWork
{
    std::string types; ///< of its sources, such as "8UC3"
    std::size_t bytes; ///< that a call reads and writes
    std::function<void()> run;
    cv::Mat result; ///< that a call writes; empty where it is numbers
};

/// How a native operator whose result is numbers is called; empty where there is none.
inline std::function<void()> callOfNumbers(const std::string& name, const cv::Mat& source)
{
    if (name == "ColorHistShader")
        return [source, histogram = std::make_shared<core::cvdata::ColourHist2d>(8, 8, 8)] {
            native::colorHistShader(source, cv::Rect({0, 0}, source.size()), *histogram);
        };
    if (name == "PixelCount")
        return [source] {
            benchmark::DoNotOptimize(native::pixelCount(source));
        };
    return nullptr;
}

/// Whether an operator is there for pictures in main memory, as a filter or as a function.
inline bool isNative(const Operator& what)
{
    return catalogue::hasNative(what) || callOfNumbers(what.name, cv::Mat());
}

/// @param picture  what it runs on, as pictureFor() makes it
inline NativeWork nativeWork(const Operator& what, const cv::Mat& picture, Models& models)
{
    NativeWork work;
    work.types = typesOf(picture);
    work.bytes = bytesOfPixels(picture);
    if (!catalogue::hasNative(what)) {
        work.run = callOfNumbers(what.name, picture);
        return work;
    }
    const std::shared_ptr<native::Filter> filter =
        catalogue::makeNative(what.name, {}, models.given(what, picture.size()));
    cv::Mat other;
    if (filter->sources() == 2)
        cv::flip(picture, other, 1);
    const cv::Mat result(picture.size(), filter->resultType(picture.type()), cv::Scalar::all(0));
    work.result = result;
    work.bytes += bytesOfPixels(other) + bytesOfPixels(result);
    work.run = [=] {
        cv::Mat into = result;
        if (filter->sources() == 2)
            filter->execute(picture, other, into);
        else
            filter->execute(picture, into);
    };
    return work;
}

} // namespace velmor::bench
