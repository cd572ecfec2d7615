#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Finds edges: the absolute Laplacian of a picture, by one of three kernels of 3 x 3.
///
/// `out = |sum of kernel * neighbour|`, channel by channel, alpha included. The kernels, row by row from the top:
///
///     kernelType 1        0 1 0 / 1 -4 1 / 0 1 0
///     kernelType 2       -1 2 -1 / 2 -4 2 / -1 2 -1
///     any other value    -1 -1 -1 / -1 8 -1 / -1 -1 -1
///
/// Source: a picture of 1, 3 or 4 channels of bytes or floats. Result: the same channels of floats, up to 8 for sources
/// on 0..1; bytes when asked for, where what is above 1 becomes 255.
/// Border: neighbours beyond the edge are the edge's.
/// Limits: of floats, an infinity under a weight of 0 makes the sum no number.
///
/// Example:
///
///     const native::Laplacian fourNeighbours(1);
///     fourNeighbours.execute(picture, edges, CV_8U);
class VELMOR_NATIVE_EXPORT Laplacian : public Filter
{
public:
    /// Makes the filter.
    /// @param kernelType  1: four neighbours, 2: eight neighbours, else the negative Laplacian
    explicit Laplacian(int kernelType = 0);
};

} // namespace velmor::native
