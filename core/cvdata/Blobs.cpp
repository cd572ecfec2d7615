#include "core/cvdata/Blobs.h"

namespace velmor::core::cvdata {

Blobs::BlobInfo::BlobInfo()
    : majorAxis(0.0), minorAxis(0.0), angle(0.0), x(0.0), y(0.0), area(0), nofPoints(0), boundingBox{}, covariance(2),
      eigenvectors(2), eigenvalues(2)
{
}

} // namespace velmor::core::cvdata
