#include "cvprocess/Moments.h"

#include "core/cvdata/Blobs.h"
#include "core/cvdata/Image.h"
#include "core/util/internal/OutOfMemory.h"
#include "math/SquareMatrix.h"
#include "math/Units.h"
#include "opencv1/BorderTracer.h"

#include <opencv2/imgproc/imgproc_c.h>

#include <cassert>
#include <cmath>
#include <memory>

namespace velmor::cvprocess {
namespace {

using core::cvdata::Blobs;
using core::cvdata::Image;

/// Fills in a blob from its contour.
/// @param eigenMatrix  takes the covariance to decompose it
void describe(Blobs::BlobInfo& blob, CvContour& contour, CvMoments& moments, math::SquareMatrix& eigenMatrix)
{
    blob.setX(moments.m10 / moments.m00);
    blob.setY(moments.m01 / moments.m00);
    blob.area = static_cast<unsigned>(moments.m00);
    blob.boundingBox = cvBoundingRect(&contour);
    blob.nofPoints = contour.total;

    // By design the factor is the area in whole pixels and the off-diagonal is negated.
    const double area = blob.area;
    blob.covariance[0][0] = cvGetNormalizedCentralMoment(&moments, 2, 0) * area;
    blob.covariance[1][1] = cvGetNormalizedCentralMoment(&moments, 0, 2) * area;
    blob.covariance[0][1] = -cvGetNormalizedCentralMoment(&moments, 1, 1) * area;
    blob.covariance[1][0] = blob.covariance[0][1];

    eigenMatrix.load(blob.covariance);
    eigenMatrix.eigenSymmetric(blob.eigenvectors, blob.eigenvalues);
    blob.setMajorAxis(2 * std::sqrt(blob.eigenvalues[0]));
    blob.setMinorAxis(2 * std::sqrt(blob.eigenvalues[1]));
    blob.setAngle(math::Units::toDeg(-std::atan2(blob.eigenvectors[0][1], blob.eigenvectors[0][0])));
}

} // namespace

Moments::Moments() : mContours(nullptr), mStorage(nullptr), mEigenMatrix(nullptr), mWorkImage(nullptr)
{
    auto eigenMatrix = std::make_unique<math::SquareMatrix>(2);
    mStorage = core::util::orBadAlloc([] { return cvCreateMemStorage(0); });
    mEigenMatrix = eigenMatrix.release();
}

Moments::~Moments()
{
    cvReleaseMemStorage(&mStorage);
    delete mEigenMatrix;
    delete mWorkImage;
}

int Moments::findBlobs(const Image& inputImage, Blobs& blobs, int maxBlobs, double minArea)
{
    // clang-format off
    assert(inputImage.nofChannels() == 1);
    // clang-format on
    assert(inputImage.width() > 0 && inputImage.height() > 0 && "ERROR: the input image is empty!");

    // Of the working image only the memory is used: for the planes of bits that borders are traced in.
    if (!mWorkImage)
        mWorkImage = inputImage.clone();
    else if (mWorkImage->width() != inputImage.width() || mWorkImage->height() != inputImage.height())
        *mWorkImage = inputImage;
    blobs.clear();
    mContours = nullptr;
    if (inputImage.width() < 3 || inputImage.height() < 3)
        return 0; // outermost pixels alone, which are background

    core::util::orBadAlloc([&] {
        opencv1::BorderTracer tracer(*inputImage.iplImage(), mWorkImage->imageBuffer(), mStorage);
        const auto wantsMore = [&] {
            return maxBlobs < 0 || blobs.blobs.size() < static_cast<unsigned>(maxBlobs);
        };
        while (wantsMore() && tracer.next()) {
            if (!(tracer.area() > minArea))
                continue;
            CvContour* const contour = tracer.keep();
            CvMoments moments;
            cvMoments(contour, &moments, 1);
            blobs.addBlob();
            describe(blobs.blobs.back(), *contour, moments, *mEigenMatrix);
        }
        mContours = tracer.contours();
    });
    return static_cast<int>(blobs.blobs.size());
}

} // namespace velmor::cvprocess
