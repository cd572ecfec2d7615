#pragma once

#include "tests/support/Models.h"
#include "tests/support/PixelTest.h"

#include <algorithm>
#include <cmath>

namespace velmor::tests {

// What mixtures are to give, computed in double precision from the formula.

/// A Gaussian on colour components of 0..255, by its mean, the variances and covariance of its components, and weight.
Gaussian gaussian(double meanRed, double meanGreen, double varianceRed, double covariance, double varianceGreen,
                  float weight);

/// The density of a mixture at a colour on 0..1.
double density(const core::cvdata::ColorGMM& model, const Texel& colour);

/// How far two densities must be apart, relative to the larger one, to be told apart in single precision: a form of up
/// to 150 (larger ones give densities below the smallest float) with a relative error of some 1e-7 in an exponent.
constexpr double kDecided = 1e-4;

inline bool apart(double a, double b)
{
    return std::abs(a - b) > kDecided * std::max(a, b);
}

/// A picture of all pairs of bytes in red and green.
Picture allColours();

/// A picture of random colours, without those that cannot be decided.
Picture decidedPicture(unsigned width, unsigned height, unsigned seed,
                       const std::function<bool(const Texel& colour)>& decided);

/// The threshold near a wished one that no colour of two bytes is close to.
double separatingThreshold(const core::cvdata::ColorGMM& model, double wished);

} // namespace velmor::tests
