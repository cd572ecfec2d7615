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
};

/// The classes of a filter.
struct Mixtures
{
    std::vector<std::vector<Gaussian>> classes; ///< the components of each
    double threshold = 0.0;                     ///< of the density where there is a single class
};

/// Colours to be classified at a time; the buffers of so many stay in the first cache.
constexpr std::size_t kColoursAtATime = 256;

} // namespace velmor::native
