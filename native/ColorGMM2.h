#pragma once

#include "native/Filter.h"

#include <vector>

namespace velmor::core::cvdata {
class ColorGMM;
}

namespace velmor::native {

/// Finds the colour class of every pixel. Each class is a Gaussian mixture.
///
/// c = (c0, c1) are the first two channels, scaled to 0..255. Each component of a mixture has the inverse covariance S,
/// the determinant det of the covariance, the mean m and the weight w. The density of a class is
///
///     sum of w exp(-(c - m)' S (c - m) / 2) / (2 pi sqrt(det))
///
/// With several classes a pixel gets the number of the class with the largest density, the first one on a tie. The
/// thresholds play no part. Densities below or equal to -1, and those that are not numbers, are never the largest;
/// where no class has another one, as of a pixel that is not a number, the pixel gets class 0. So it does where all
/// densities are 0, far from every class.
///
/// With one class a pixel gets 255 where the density is above the model's detection threshold, and 0 elsewhere, as from
/// ColorGMM with binary output.
///
/// Source: a picture of 2, 3 or 4 channels of bytes or floats. Result: 1 channel of bytes. There are no parameters.
/// Each pixel is computed from its own place alone.
///
/// The filter takes a copy of the models when it is made, with their components. Later changes of the models have no
/// effect. The arithmetic is that of ColorGMM.
///
/// Limits: 1 to 256 classes, as a byte has no more numbers. The components have two dimensions; there may be any number
/// of them, and the density of a class without any is 0.
///
/// Example:
///
///     const native::ColorGMM2 colours({skin, grass, road});
///     cv::Mat classes;
///     colours.execute(frame, classes);
class VELMOR_NATIVE_EXPORT ColorGMM2 : public Filter
{
public:
    /// Makes the filter.
    /// @param models  copied, with their components; an empty pointer among those is an assertion
    /// @throws std::invalid_argument  when there is no model or more than 256, or when a component has another number
    /// of
    ///                                dimensions than 2
    explicit ColorGMM2(const std::vector<core::cvdata::ColorGMM>& models);
};

} // namespace velmor::native
