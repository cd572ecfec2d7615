#include "cvprocess/FaceDetect.h"

#include "core/cvdata/Image.h"
#include "core/util/internal/OutOfMemory.h"
#include "opencv1/HaarCascade.h"

#include <opencv2/core/core_c.h>
#include <opencv2/imgproc/imgproc_c.h>

#include <cassert>
#include <new>

namespace velmor::cvprocess {
namespace {

using core::cvdata::Image;

constexpr double kScaleStep = 1.1;
constexpr int kMinNeighbours = 2;
constexpr int kMinSize = 40;

/// A new image, reduced by a factor, which nobody frees. A function of its own, for leak checkers to name.
[[gnu::noinline]] IplImage* createReducedImage(const Image& image, int scale)
{
    const unsigned divisor = static_cast<unsigned>(scale);
    const CvSize size = cvSize(static_cast<int>(image.width() / divisor), static_cast<int>(image.height() / divisor));
    assert(size.width > 0 && size.height > 0 && "ERROR: the image is reduced to nothing!");
    IplImage* const reduced = cvCreateImage(size, IPL_DEPTH_8U, image.channels() == Image::GREYSCALE ? 1 : 3);
    if (scale != 1)
        cvResize(image.iplImage(), reduced, CV_INTER_LINEAR);
    else
        cvCopy(image.iplImage(), reduced);
    return reduced;
}

const CvRect& rectangle(CvSeq* faces, int k)
{
    return reinterpret_cast<const CvAvgComp*>(cvGetSeqElem(faces, k))->rect;
}

} // namespace

// cppcheck-suppress passedByValue ; callers were built with this signature
// NOLINTNEXTLINE(performance-unnecessary-value-param)
FaceDetect::FaceDetect(std::string cascadeFile)
    : mStorage(nullptr), mCascade(static_cast<CvHaarClassifierCascade*>(cvLoad(cascadeFile.c_str())))
{
    assert(mCascade && "ERROR: Haar classifier not found!");
    try {
        mStorage = core::util::orBadAlloc([] { return cvCreateMemStorage(0); });
    } catch (const std::bad_alloc&) {
        cvReleaseHaarClassifierCascade(&mCascade);
        throw;
    }
}

FaceDetect::~FaceDetect()
{
    cvReleaseMemStorage(&mStorage);
    cvReleaseHaarClassifierCascade(&mCascade);
}

int FaceDetect::findFaces(const Image* image, std::vector<math::Vector4>& faces)
{
    assert(image->width() > 0 && image->height() > 0 && "ERROR: the image is empty!");
    cvClearMemStorage(mStorage);
    faces.clear();
    CvSeq* const found = detect(image->iplImage());
    if (!found || found->total == 0)
        return -1;
    for (int k = 0; k < found->total; ++k) {
        const CvRect& face = rectangle(found, k);
        faces.emplace_back(face.x, face.y, face.width, face.height);
    }
    return found->total;
}

int FaceDetect::findFaces(Image* image, std::vector<CvRect>& faces, int scale)
{
    cvClearMemStorage(mStorage);
    faces.clear();
    // By design the reduced image stays.
    CvSeq* const found = detect(core::util::orBadAlloc([&] { return createReducedImage(*image, scale); }));
    if (!found || found->total == 0)
        return -1;
    for (int k = 0; k < found->total; ++k) {
        const CvRect& face = rectangle(found, k);
        faces.push_back(cvRect(face.x * scale, face.y * scale, face.width * scale, face.height * scale));
    }
    return found->total;
}

CvSeq* FaceDetect::detect(const IplImage* image)
{
    return core::util::orBadAlloc([&] {
        return cvHaarDetectObjects(image, mCascade, mStorage, kScaleStep, kMinNeighbours, CV_HAAR_DO_CANNY_PRUNING,
                                   cvSize(kMinSize, kMinSize));
    });
}

} // namespace velmor::cvprocess
