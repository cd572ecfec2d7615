#pragma once

#include "native/Filter.h"

namespace velmor::native {

/// Finds edges: the Sobel gradients of a grey picture and their magnitude.
///
/// The picture is correlated with two kernels of 3 x 3 (Sobel and Feldman, 1968), here row by row from the top:
///
///     horizontal edges h:  -1 -2 -1 / 0 0 0 / 1 2 1
///     vertical edges v:     1 0 -1 / 2 0 -2 / 1 0 -1
///
/// Source: a picture of 1 channel of bytes or floats. Result: 3 channels of floats: h, v and sqrt(h^2 + v^2). For
/// sources on 0..1 h and v lie in -4..4 and the magnitude in 0..5.657. There are no parameters.
/// Border: neighbours beyond the edge are the edge's.
/// Limits: what is not a number, and an infinity, makes all gradients around it no numbers, as a weight of 0 times
/// infinity is none.
///
/// Example:
///
///     const native::GRAY2Sobel sobel;
///     sobel.execute(grey, gradients);
class VELMOR_NATIVE_EXPORT GRAY2Sobel : public Filter
{
public:
    /// Makes the filter.
    GRAY2Sobel();
};

} // namespace velmor::native
