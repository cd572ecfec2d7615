#pragma once

#include "core/cvdata/ColorGMM.h"

#include <vector>

namespace velmor::tests {

/// The numbers of one Gaussian.
struct Gaussian
{
    double inverse[2][2];
    float determinant;
    double mean[2];
    float weight;
};

/// A model with these components and this threshold.
inline core::cvdata::ColorGMM makeModel(const std::vector<Gaussian>& gaussians, double threshold)
{
    core::cvdata::ColorGMM model;
    model.detectionThreshold = threshold;
    for (const Gaussian& gaussian : gaussians) {
        const boost::shared_ptr<core::cvdata::GM> component(new core::cvdata::GM(2));
        for (unsigned row = 0; row < 2; ++row)
            for (unsigned col = 0; col < 2; ++col)
                component->invCovariance[row][col] = gaussian.inverse[row][col];
        component->determinant = gaussian.determinant;
        component->mean[0] = gaussian.mean[0];
        component->mean[1] = gaussian.mean[1];
        component->weight = gaussian.weight;
        model.mixture.push_back(component);
    }
    return model;
}

/// A Gaussian whose every number differs from those of the others, so that a mix-up shows.
inline Gaussian numbered(int number)
{
    const double base = 10.0 * number;
    return {{{base + 1, base + 2}, {base + 3, base + 4}},
            static_cast<float>(base + 5),
            {base + 6, base + 7},
            static_cast<float>(base + 8)};
}

} // namespace velmor::tests
