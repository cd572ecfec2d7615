#pragma once

#include "native/Filter.h"

namespace velmor::core::cvdata {
class ColorGMM;
}

namespace velmor::native {

/// Keeps the pixels whose colour fits a Gaussian mixture.
///
/// c = (c0, c1) are the first two channels, scaled to 0..255. Each component of the mixture has the inverse covariance
/// S, the determinant det of the covariance, the mean m and the weight w:
///
///     d = (c - m)' S (c - m),   p = exp(-d / 2) / (2 pi sqrt(det)),   density = w1 p1 + w2 p2 + ...
///
/// A pixel is kept where the density is above the model's detection threshold. A density equal to it is not enough, and
/// neither is one that is not a number, as of a pixel that is not, or of a negative determinant. With the determinant 0
/// a density is infinite, unless exp(-d / 2) or the weight is 0: then it is not a number.
///
/// Source: a picture of 2, 3 or 4 channels of bytes or floats. Result: the source's type, with the source's pixel where
/// it is kept and zeros elsewhere; with binary output 1 channel of bytes, 255 where the pixel is kept and 0 elsewhere.
///
/// The filter takes a copy of the model when it is made, with its components. Later changes of the model have no
/// effect.
///
/// Arithmetic: densities are computed in double precision, a rounding for each operation, and with an exponential
/// function of their own, whose error is below 0.9 units in the last place. They are the same bits on every processor.
/// For pictures of bytes the answers for all pairs of bytes are computed when the filter is made. Floats are multiplied
/// by 255 in double precision.
///
/// Each pixel is computed from its own place alone.
///
/// Limits: the components have two dimensions; there may be any number of them, and without any the density is 0. It is
/// the true mixture for each number. The shader of the filter on textures is another one for three components; what its
/// page says of that does not hold here.
///
/// Example:
///
///     core::cvdata::ColorGMM model;
///     model.train(samples, &sampleMask, 3);
///     const native::ColorGMM skin(model, true);
///     cv::Mat mask;
///     skin.execute(frame, mask);
class VELMOR_NATIVE_EXPORT ColorGMM : public Filter
{
public:
    /// Makes the filter.
    /// @param model         copied, with its components; an empty pointer among them is an assertion
    /// @param binaryOutput  whether the result is 255 for kept pixels, instead of their own colour
    /// @throws std::invalid_argument  when a component has another number of dimensions than 2
    explicit ColorGMM(const core::cvdata::ColorGMM& model, bool binaryOutput = false);
};

} // namespace velmor::native
