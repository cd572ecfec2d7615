#include "examples/shared/BlobMarks.h"

#include "examples/shared/Marks.h"

#include <opencv2/core.hpp>

#include <cmath>

namespace velmor::demo {

void drawBlob(Marks& marks, const core::cvdata::Blobs::BlobInfo& blob)
{
    const double radians = blob.angle * CV_PI / 180;
    const cv::Point2d centre(blob.x, blob.y);
    const cv::Point2d along(std::cos(radians), std::sin(radians));
    const cv::Point2d across(-along.y, along.x);
    marks.line(centre - along * blob.majorAxis, centre + along * blob.majorAxis);
    marks.line(centre - across * blob.minorAxis, centre + across * blob.minorAxis);
    marks.ellipse(centre, {blob.majorAxis, blob.minorAxis}, blob.angle);
}

} // namespace velmor::demo
