#pragma once

#include "core/Export.h"
#include "math/SquareMatrix.h"
#include "math/Vector.h"

#include <opencv2/core/types_c.h>

#include <vector>

namespace velmor::core::cvdata {

/// A list of regions of an image, each described by its moments.
class VELMOR_CORE_EXPORT Blobs
{
public:
    /// One region. Lengths are in pixels; rows count downwards.
    struct VELMOR_CORE_EXPORT BlobInfo
    {
        /// All numbers zero; covariance and eigenvectors of order 2.
        BlobInfo();

        void setMajorAxis(double value) { majorAxis = value; } ///< sets majorAxis
        void setMinorAxis(double value) { minorAxis = value; } ///< sets minorAxis
        void setAngle(double value) { angle = value; }         ///< sets angle
        void setX(double value) { x = value; }                 ///< sets x
        void setY(double value) { y = value; }                 ///< sets y

        double majorAxis;                ///< half the length of the equivalent ellipse's longer axis
        double minorAxis;                ///< half the length of its shorter axis
        double angle;                    ///< of the longer axis, in degrees, -90 <= angle < 90
        double x;                        ///< column of the centroid
        double y;                        ///< row of the centroid
        unsigned int area;               ///< in whole pixels
        int nofPoints;                   ///< number of points of the contour
        CvRect boundingBox;              ///< smallest upright rectangle around the contour
        math::SquareMatrix covariance;   ///< 2 x 2, in square pixels; as cvprocess::Moments says
        math::SquareMatrix eigenvectors; ///< of the covariance, as rows, that of the larger eigenvalue first
        math::Vector eigenvalues;        ///< of the covariance, in square pixels, the larger one first
    };

    /// Empties the list.
    void clear() { blobs.clear(); }

    /// Appends a region of zeros.
    void addBlob() { blobs.emplace_back(); }

    std::vector<BlobInfo> blobs; ///< the regions
};

} // namespace velmor::core::cvdata
