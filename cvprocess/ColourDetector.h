#pragma once

#include "analysis/Export.h"
#include "math/SquareMatrix.h"

#include <vector>

namespace velmor::core::cvdata {
class ColorGMM;
class Image;
} // namespace velmor::core::cvdata

namespace velmor::cvprocess {

/// Marks the pixels of a colour image whose colour fits a Gaussian mixture.
///
/// c0 and c1 are the first two bytes of a pixel. Its likelihood is a sum over the components k of the model, in double
/// precision:
///
///     d0 = mean[0] - c0        d1 = mean[0] - c1
///     q  = (M[0][0] * d0 + M[1][0] * d1) * d0 + (M[0][1] * d0 + M[1][1] * d1) * d1        M = invCovariance
///     p  = sum of exp(-q / 2) / (2 pi sqrt(determinant)) * weight
///
/// The mask is 255 where p is greater than the model's detection threshold. Elsewhere it is 0, also where p equals the
/// threshold or is not a number.
///
/// By design both differences are taken from the first element of the mean, and the second one has no part in the mask.
/// So a model whose two means are far apart marks colours that one would not expect. Choose a colour whose two
/// components are close to each other. The third byte of a pixel is never read.
///
/// Input: RGB, any size. Output: GREYSCALE, of the input's size; its memory is not replaced. If only one of the two
/// dimensions agrees, the output must be the larger image in the other one; the mask is then written at the input's
/// size. The two images must not share pixels.
///
/// Parameters: Param::useMorphology (default false) erodes and then dilates the mask once, with a rectangle of 3 x 3
/// pixels.
/// Border: neighbours outside the image do not count in the morphology. Classifying a pixel reads no neighbour.
///
/// The detector evaluates each colour once and keeps the answer in a table of 64 KiB, as long as the numbers of the
/// model stay the same. The model may be changed at any time between two calls. A class derived from ColorGMM may
/// answer differently each time, so such a model is asked for every pixel and component. Models are only read, so
/// detectors can share one. A detector itself serves one thread at a time.
///
/// Cost, on one thread of the machine of the performance page, with three components at 1080p: 0.2 ns a pixel while the
/// model stays the same, 1.1 ns in the first call after it changed. A detector takes 64 KiB, and 64 bytes for each
/// component; a call allocates nothing.
///
/// Misuse (image layouts, sizes, a model that does not have two colour components) stops on an assertion.
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
