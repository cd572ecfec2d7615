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
    double log2Peak; ///< logarithm of weight times peak, to the base 2
};

/// One class, and the byte that stands for it.
struct MixtureClass
{
    std::vector<Gaussian> components;
    double number;
};

/// The classes of a filter. The one whose density is the largest is the answer, the first one on a tie.
struct Mixtures
{
    std::vector<MixtureClass> classes;
    double floor; ///< the density that a class has to exceed; 0 is the answer where none does
    bool isUsual; ///< whether rough densities may decide: all numbers are of usual sizes, and no weight is negative
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

// Where rough densities decide, nothing overflows on the way to a density that matters, and nothing becomes subnormal:
// the exponential is at least 2^-880 / 2^140. What is below 2^-1000, or subnormal and then multiplied by at most 2^140,
// does not matter, however often it is added.
constexpr double kMostNumber = 1e6;             ///< of means, inverse covariances and colours
constexpr double kMostLog2Peak = 70.0;          ///< logarithm of a weight, and of the density at a mean, to the base 2
constexpr double kLeastDensity = 0x1p-880;      ///< of the largest class
constexpr double kMostDensity = 0x1p700;        ///< of the largest class
constexpr double kClearRatio = 1.0 + 1.0 / 256; ///< of two rough densities, each within a thousandth of the true one
constexpr double kOpen = -1.0;                  ///< instead of an answer: the rough densities do not decide

} // namespace velmor::native
