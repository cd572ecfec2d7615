#pragma once

#include "catalogue/Catalogue.h"

namespace velmor::tests {

// How far a filter on pictures in main memory and the one of its name on textures may lie apart.

/// How far the exact value of a byte may lie from where two bytes meet while a driver takes the other byte.
constexpr double kStep = 1e-4;

/// How far floats of both may lie apart: a driver may compute in another order, with other roundings.
inline float tolerance(const catalogue::Operator& each)
{
    using catalogue::Data;
    if (each.takes == Data::MOSAIC)
        return 1e-4F; // a colour is multiplied by the ratio of two others, which is up to 3
    if (each.gives == Data::GRADIENTS || each.name == "Laplacian")
        return 8e-6F; // sums of nine products of up to 8
    if (each.name == "BGR2HSV" || each.name == "RGB2HSV")
        return 2e-5F; // hue and saturation divide by what may be small
    return 1e-6F;
}

} // namespace velmor::tests
