#include "cvprocess/MotionSegment.h"

#include "core/cvdata/Image.h"
#include "math/Vector2.h"
#include "opencv1/MotionHistory.h"

#include <opencv2/core/core_c.h>
#include <opencv2/imgproc/imgproc_c.h>

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace velmor::cvprocess {
namespace {

using core::cvdata::Image;

constexpr double kDifferenceThreshold = 20.0;

/// Makes an array of null pointers, which nobody frees. A function of its own, for leak checkers to name.
[[gnu::noinline]] void allocateFrameRing(IplImage**& ring, int count)
{
    const std::size_t size = static_cast<std::size_t>(count) * sizeof(IplImage*);
    ring = static_cast<IplImage**>(std::malloc(size));
    std::memset(ring, 0, size);
}

void createZeroed(IplImage*& image, CvSize size, int depth)
{
    image = cvCreateImage(size, depth, 1);
    cvSetZero(image);
}

/// Whether OpenCV can describe a float image of that size: it counts the bytes in an int, and the bits of a row in 32
/// bits.
[[maybe_unused]] bool fitsHeader(int width, int height)
{
    return width < 1 << 27 && 4LL * width * height < 1LL << 31;
}

[[maybe_unused]] bool hasSize(const Image& image, const IplImage& wanted)
{
    return image.iplImage()->width == wanted.width && image.iplImage()->height == wanted.height;
}

/// Blackens an image where the history is 0.
void clearWhereNeverMoved(IplImage& image, const IplImage& history)
{
    for (int y = 0; y < history.height; ++y) {
        const auto* const moved =
            reinterpret_cast<const float*>(history.imageData + std::ptrdiff_t{y} * history.widthStep);
        char* const pixels = image.imageData + std::ptrdiff_t{y} * image.widthStep;
        for (int x = 0; x < history.width; ++x)
            if (moved[x] == 0.0f)
                pixels[x] = 0;
    }
}

/// Sums of an image's bytes, weighted by column, by row and by nothing.
struct Sums
{
    double x = 0.0;
    double y = 0.0;
    double all = 0.0;
};

/// Adds the sums of a tile that is small enough for 32-bit sums of its columns.
void addTile(Sums& sums, const IplImage& image, int x0, int x1, int y0, int y1)
{
    std::uint32_t columns[1024] = {};
    for (int y = y0; y < y1; ++y) {
        const auto* const row =
            reinterpret_cast<const unsigned char*>(image.imageData) + std::ptrdiff_t{y} * image.widthStep + x0;
        std::uint32_t sum = 0;
        for (int x = 0; x < x1 - x0; ++x) {
            columns[x] += row[x];
            sum += row[x];
        }
        sums.y += static_cast<double>(y) * sum;
        sums.all += sum;
    }
    for (int x = x0; x < x1; ++x)
        sums.x += static_cast<double>(x) * columns[x - x0];
}

} // namespace

MotionSegment::MotionSegment(int width, int height)
    : mDuration(0.4), mFrameCount(2), mFrames(nullptr), mLastIndex(0), mHistory(nullptr), mSpareFloat(nullptr),
      mSpare(nullptr)
{
    assert(width > 0 && height > 0 && "ERROR: the frames must have a width and a height!");
    assert(fitsHeader(width, height) &&
           "MotionSegment::MotionSegment(): expected 4 * width * height < 2^31 and width < 2^27");
    const CvSize size = cvSize(width, height);
    // Throws for a size that OpenCV refuses, before anything is made: cvCreateImage() would leave a header behind.
    IplImage header{};
    cvInitImageHeader(&header, size, IPL_DEPTH_32F, 1);
    allocateFrameRing(mFrames, mFrameCount);
    try {
        for (int k = 0; k < mFrameCount; ++k)
            createZeroed(mFrames[k], size, IPL_DEPTH_8U);
        createZeroed(mHistory, size, IPL_DEPTH_32F);
        mSpareFloat = cvCreateImage(size, IPL_DEPTH_32F, 1);
    } catch (...) { // no memory
        releaseImages();
        std::free(mFrames);
        throw;
    }
}

MotionSegment::~MotionSegment()
{
    releaseImages();
    // By design the ring itself stays allocated.
}

void MotionSegment::releaseImages()
{
    cvReleaseImage(&mSpare);
    cvReleaseImage(&mHistory);
    cvReleaseImage(&mSpareFloat);
    for (int k = 0; k < mFrameCount; ++k)
        cvReleaseImage(&mFrames[k]);
}

void MotionSegment::getMHI(const Image* input, Image* output)
{
    assert(input->nofChannels() == 3 && "ERROR: the input image must have 3 channels!");
    assert(output->nofChannels() == 1 && "ERROR: the output image must have 1 channel only!");
    assert(hasSize(*input, *mHistory) && "ERROR: the input image must have the size given at construction!");
    assert(hasSize(*output, *mHistory) && "ERROR: the output image must have the size given at construction!");

    const double timestamp = static_cast<double>(std::clock()) / 1000000.0;
    IplImage* const frame = mFrames[mLastIndex];
    cvCvtColor(input->iplImage(), frame, CV_BGR2GRAY);
    mLastIndex = (mLastIndex + 1) % mFrameCount;

    IplImage* const silhouette = mFrames[mLastIndex]; // until here the frame before; the next call's frame goes here
    cvAbsDiff(frame, silhouette, silhouette);
    cvThreshold(silhouette, silhouette, kDifferenceThreshold, 1.0, CV_THRESH_BINARY);
    cvUpdateMotionHistory(silhouette, mHistory, timestamp, mDuration);

    cvConvertScale(mHistory, output->iplImage(), 255.0 / mDuration, (mDuration - timestamp) * 255.0 / mDuration);
    if (timestamp < mDuration)
        clearWhereNeverMoved(*output->iplImage(), *mHistory); // 0 is not yet longer ago than the duration
}

IplImage* MotionSegment::getMHIImage()
{
    return mHistory;
}

void MotionSegment::getMassCenter(Image* image, math::Vector2* center)
{
    constexpr int tileWidth = 1024;
    constexpr int tileHeight = 1 << 20;
    const IplImage& header = *image->iplImage();
    Sums sums;
    for (int y = 0; y < header.height; y += tileHeight)
        for (int x = 0; x < header.width; x += tileWidth)
            addTile(sums, header, x, std::min(x + tileWidth, header.width), y, std::min(y + tileHeight, header.height));
    (*center)[0] = sums.x / sums.all;
    (*center)[1] = sums.y / sums.all;
}

} // namespace velmor::cvprocess
