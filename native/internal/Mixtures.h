#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmor::native {

/// One component of a mixture, in the form in which it is evaluated.
struct Gaussian
{
    double mean[2];
    double form[2][2]; ///< `d = x (x form[0][0] + y form[0][1]) + y (x form[1][0] + y form[1][1])`
    double peak;       ///< 1 / (2 pi sqrt(det)), the density at the mean
    double weight;
    double logPeak; ///< natural logarithm of weight and peak
};

/// One class, and the byte that stands for it.
struct MixtureClass
{
    std::vector<Gaussian> components;
    double logCount; ///< natural logarithm of the number of components
    double number;
};

/// The classes of a filter. The one whose density is the largest is the answer, the first one on a tie.
struct Mixtures
{
    std::vector<MixtureClass> classes;
    double floor;    ///< the density that a class has to exceed; 0 is the answer where none does
    double logFloor; ///< its natural logarithm; the smallest for a floor below all densities
    bool hasLogs; ///< whether logarithms may decide: all numbers are finite, of usual sizes, and no weight is negative
};

/// The floor that is below the densities of all usual classes.
constexpr double kNoFloor = -1.0;

/// Colours to be classified at a time; the buffers of so many stay in the first cache.
constexpr std::size_t kColoursAtATime = 256;

/// The two components of colours, on 0..255. Vectors may read on behind the last colour, so there are always numbers.
struct Colours
{
    double c0[kColoursAtATime] = {};
    double c1[kColoursAtATime] = {};
};

// Where logarithms decide, nothing overflows or becomes subnormal on the way to a density that matters.
constexpr double kMostNumber = 1e6;      ///< of means, inverse covariances and colours
constexpr double kMostLogPeak = 50.0;    ///< natural logarithm of a weight, and of the density at a mean
constexpr double kMostLogarithm = 500.0; ///< natural logarithm of a density
constexpr double kRoundings = 1e-6;      ///< far more than all roundings change a logarithm
constexpr double kOpen = -1.0;           ///< instead of an answer: the logarithms do not decide

} // namespace velmor::native
