#pragma once

#include "analysis/Export.h"
#include "math/SquareMatrix.h"

#include <vector>

namespace velmor::core::cvdata {
class ColorGMM;
class Image;
} // namespace velmor::core::cvdata

namespace velmor::cvprocess {

/// Marks the pixels of a colour image whose colour a Gaussian mixture takes for its own.
///
/// Likelihood of a pixel whose first two bytes are c0 and c1, over the components k of the model, in double precision:
///
///     d0 = mean[0] - c0        d1 = mean[0] - c1
///     q  = (M[0][0] * d0 + M[1][0] * d1) * d0 + (M[0][1] * d0 + M[1][1] * d1) * d1        M = invCovariance
///     p  = sum of exp(-q / 2) / (2 pi sqrt(determinant)) * weight
///
/// The mask is 255 where p is greater than the model's detection threshold, else 0: also where p equals it or is not a
/// number.
///
/// Both differences are taken from the first element of the mean. This is meant: the second one has no part in the
/// mask, so a model whose two means are far apart marks colours that one would not expect. Choose a colour whose two
/// components are close to each other. The third byte of a pixel is never read.
///
/// Input: RGB, any size. Output: GREYSCALE, of the input's size; its memory is not replaced. If only one of the two
/// dimensions agrees, the output has to be the larger image in the other one: the input's size is what is written. The
/// two images share no pixels.
///
/// Parameters: Param::useMorphology (default false) erodes and then dilates the mask once, with a rectangle of 3 x 3
/// pixels; neighbours outside the image do not count.
///
/// Each colour is evaluated once as long as the numbers of the model stay the same, in a table of 64 KiB; a model may
/// be changed at any time between two calls. A model of a class derived from ColorGMM may answer differently each time,
/// and is asked for every pixel and component. The model is only read, so detectors can share one; a detector itself
/// serves one thread at a time.
///
/// Misuse (image layouts, sizes, a model that is not of two components) stops on an assertion.
///
/// Example:
///
///     ColourDetector detector(&skin, nullptr);
///     detector.preProcess(frame, mask); // per frame
class VELMOR_ANALYSIS_EXPORT ColourDetector
{
public:
    /// Settings.
    struct VELMOR_ANALYSIS_EXPORT Param
    {
        /// The defaults; the argument is not used.
        explicit Param(unsigned int);

        bool useMorphology; ///< erode once and dilate once after the classification; default false
    };

    /// @param model   kept, not copied, and never freed; outlives the detector
    /// @param params  kept and never freed; null for a record of defaults that belongs to the detector
    ColourDetector(core::cvdata::ColorGMM* model, Param* params);
    ColourDetector(const ColourDetector&) = delete;
    ColourDetector& operator=(const ColourDetector&) = delete;
    virtual ~ColourDetector();

    /// Writes the mask of an image.
    void preProcess(const core::cvdata::Image& input, core::cvdata::Image& output);

private:
    struct Component;

    Component readComponent(int k);
    bool rememberModel();
    double likelihoodShare(const Component& component);
    unsigned char evaluateModel(const unsigned char* pixel);
    unsigned char evaluateRememberedModel(const unsigned char* pixel);
    void lookUpRow(const unsigned char* pixels, unsigned char* mask, unsigned width);

    Param* mParams;
    bool mOwnsParams;
    double mSquaredDistance;           ///< of the component being evaluated
    double mDifference[2];             ///< of its mean to the pixel, per colour component
    double mPixel[2];                  ///< the colour being evaluated
    math::SquareMatrix mInvCovariance; ///< of the component being read
    core::cvdata::ColorGMM* mModel;    ///< not owned

    std::vector<unsigned char> mMaskBytes; ///< for each pair of bytes the answer, as far as it was asked for
    double mRememberedThreshold;           ///< of the model that these answers come from
    std::vector<Component> mRememberedComponents;
};

} // namespace velmor::cvprocess
