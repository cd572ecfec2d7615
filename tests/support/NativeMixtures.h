#pragma once

#include "tests/support/Models.h"

#include <opencv2/core/mat.hpp>

#include <cmath>
#include <random>
#include <vector>

namespace velmor::tests {

// Mixtures, and their densities by the formula.

/// A Gaussian of this mean and covariance.
inline Gaussian gaussianOf(double mean0, double mean1, double variance0, double covariance, double variance1,
                           float weight)
{
    const double determinant = variance0 * variance1 - covariance * covariance;
    return {
        {{variance1 / determinant, -covariance / determinant}, {-covariance / determinant, variance0 / determinant}},
        static_cast<float>(determinant),
        {mean0, mean1},
        weight};
}

/// A model of so many components, of all directions and so wide that no density is too small for a double. Repeatable
/// by seed.
inline core::cvdata::ColorGMM wideModel(int components, unsigned seed, double threshold)
{
    std::mt19937 random(seed);
    const auto between = [&](double low, double high) {
        return low + (high - low) * static_cast<double>(random() % 65536) / 65535.0;
    };
    std::vector<Gaussian> gaussians;
    for (int i = 0; i < components; ++i) {
        const double variance0 = between(200, 3000), variance1 = between(200, 3000);
        const double covariance = between(-0.6, 0.6) * std::sqrt(variance0 * variance1);
        gaussians.push_back(gaussianOf(between(20, 235), between(20, 235), variance0, covariance, variance1,
                                       1.0F / static_cast<float>(components)));
    }
    return makeModel(gaussians, threshold);
}

/// Models of two components, each with another number of one of them very large or very small.
inline std::vector<core::cvdata::ColorGMM> unusualModels(double threshold)
{
    const auto usual = gaussianOf(90, 120, 900, 100, 400, 0.5F), other = gaussianOf(160, 100, 700, -200, 500, 0.5F);
    std::vector<core::cvdata::ColorGMM> models;
    for (int number = 0; number < 10; ++number) {
        Gaussian changed = usual;
        double* const numbers[] = {&changed.mean[0],       &changed.mean[1],       &changed.inverse[0][0],
                                   &changed.inverse[0][1], &changed.inverse[1][0], &changed.inverse[1][1]};
        if (number < 6)
            *numbers[number] = 1e20;
        else if (number < 8)
            changed.determinant = number == 6 ? 1e-44F : 1e38F;
        else
            changed.weight = number == 8 ? 1e-30F : 1e30F;
        models.push_back(makeModel({changed, other}, threshold));
    }
    return models;
}

/// The density of a mixture at a colour on 0..255.
template<typename Real>
Real densityOf(const core::cvdata::ColorGMM& model, Real c0, Real c1)
{
    Real sum = 0;
    for (const auto& component : model.mixture) {
        const core::cvdata::GM& gm = *component;
        const Real x = c0 - gm.mean[0], y = c1 - gm.mean[1];
        const Real form = x * x * gm.invCovariance[0][0] + y * y * gm.invCovariance[1][1] +
                          x * y * (gm.invCovariance[0][1] + gm.invCovariance[1][0]);
        const Real peak = 1 / (Real{2} * 3.14159265 * std::sqrt(Real{gm.determinant}));
        sum += gm.weight * peak * std::exp(-form / 2);
    }
    return sum;
}

/// The density at a pixel: of bytes in long doubles, of floats in doubles.
inline long double densityAt(const core::cvdata::ColorGMM& model, const uchar* pixel)
{
    return densityOf<long double>(model, pixel[0], pixel[1]);
}

inline long double densityAt(const core::cvdata::ColorGMM& model, const float* pixel)
{
    return densityOf<double>(model, pixel[0] * 255.0, pixel[1] * 255.0);
}

/// All pairs of bytes as the first two channels of a picture; the others are 77.
inline cv::Mat allPairsOf(int channels)
{
    cv::Mat picture(256, 256, CV_8UC(channels), cv::Scalar::all(77));
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
            picture.ptr(y)[x * channels] = static_cast<uchar>(x);
            picture.ptr(y)[x * channels + 1] = static_cast<uchar>(y);
        }
    }
    return picture;
}

} // namespace velmor::tests
