#pragma once

#include "analysis/Export.h"

#include <opencv2/core/types_c.h>

namespace velmor::core::cvdata {
class Blobs;
class Image;
} // namespace velmor::core::cvdata

namespace velmor::math {
class SquareMatrix;
}

namespace velmor::cvprocess {

/// Finds the connected regions of a binary image and describes each by the moments of its outer contour.
///
/// m are the moments of the contour's polygon, nu its normalised central moments, and A = floor(m00). Then
///
///     x = m10 / m00        y = m01 / m00        area = A
///     covariance = | nu20 A   -nu11 A |   = E' diag(d0, d1) E,   d0 >= d1
///                  | -nu11 A   nu02 A |
///     majorAxis = 2 sqrt(d0)      minorAxis = 2 sqrt(d1)      angle = -atan2(E01, E00) in degrees
///
/// These are the half axes of the ellipse with the same second moments, as for a filled region (M.-K. Hu, Visual
/// pattern recognition by moment invariants, 1962). By design the off-diagonal is negated, and the area that is a
/// factor is rounded down to whole pixels. So the angle, -90 <= angle < 90, is that of the longer axis against the
/// rows, positive towards growing y.
///
/// A contour runs through the centres of the outermost pixels of its region: a filled square of 10 x 10 pixels has an
/// area of 81. Pixels that touch at a corner are connected. Holes do not change the description of a region.
///
/// Input: GREYSCALE; every byte but 0 is foreground. It is not changed. Output: a list of blobs, by the row and then
/// the column where each begins, as in OpenCV's C interface.
///
/// Border rule: the outermost rows and columns of the image count as background.
///
/// Cost, on one thread of the machine of the performance page: 0.04 ns a pixel where regions are few, and 30 ns for
/// each point of a contour. An object takes 1 byte a pixel of the largest image, and for each blob of each call 160
/// bytes and 8 for each point.
///
/// Limits: the contours of all calls stay in a storage that is released with the object. So a program that runs for
/// long should make a new Moments now and then. With a negative minimum area, contours without an area (single pixels,
/// lines) become blobs too; their centroid is not a number and their axes are 0. An object serves one thread at a time.
/// Misuse stops on an assertion.
///
/// Example:
///
///     Moments moments;
///     core::cvdata::Blobs blobs;
///     if (moments.findBlobs(mask, blobs, -1, 25.0) > 0)
///         std::cout << blobs.blobs.front().x << ", " << blobs.blobs.front().y << '\n';
class VELMOR_ANALYSIS_EXPORT Moments
{
public:
    /// Makes the storage of the contours.
    Moments();
    Moments(const Moments&) = delete;
    Moments& operator=(const Moments&) = delete;

    /// Releases the contours of all calls.
    ~Moments();

    /// Replaces what is in the list by the regions of an image.
    /// @param inputImage  GREYSCALE
    /// @param[out] blobs  replaced
    /// @param maxBlobs    the most blobs to keep, the first ones found; negative for no limit
    /// @param minArea     area, m00, that a blob must exceed
    /// @return            the number of blobs
    int findBlobs(const core::cvdata::Image& inputImage, core::cvdata::Blobs& blobs, int maxBlobs, double minArea);

private:
    CvSeq* mContours;                 ///< of the last call; lies in the storage
    CvMemStorage* mStorage;           ///< owned
    math::SquareMatrix* mEigenMatrix; ///< owned; the covariance that is decomposed
    core::cvdata::Image* mWorkImage;  ///< owned; null until the first call; of the last image's size, and overwritten
};

} // namespace velmor::cvprocess
