#include "cvprocess/MotionSegment.h"

#include "core/cvdata/Image.h"
#include "core/util/internal/OutOfMemory.h"
#include "cvprocess/internal/ByteSums.h"
#include "cvprocess/internal/MotionRows.h"
#include "cvprocess/internal/MovingPixels.h"
#include "math/Vector2.h"

#include <opencv2/core/core_c.h>
#include <opencv2/imgproc/imgproc_c.h>

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

namespace velmor::cvprocess {
namespace {

using core::cvdata::Image;

/// Makes an array of null pointers, which nobody frees. A function of its own, for leak checkers to name.
[[gnu::noinline]] void allocateFrameRing(IplImage**& ring, int count)
{
    const std::size_t size = static_cast<std::size_t>(count) * sizeof(IplImage*);
    ring = static_cast<IplImage**>(std::malloc(size));
    if (!ring)
        throw std::bad_alloc();
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

/// Whether the grey values of OpenCV are those of greyOf(), as they are in Debian's builds for x86. With other
/// optimisations some colours may be rounded otherwise.
bool isGreyOfOpenCv()
{
    constexpr int colours = 1 << 16;
    cv::Mat pixels(1, colours, CV_8UC3), greys(1, colours, CV_8U);
    for (int i = 0; i < colours; ++i) {
        const unsigned spread = static_cast<unsigned>(i) * 0x9e3779;
        for (int k = 0; k < 3; ++k)
            pixels.ptr(0, i)[k] = static_cast<std::uint8_t>(spread >> 8 * k);
    }
    const CvMat source = cvMat(pixels);
    CvMat result = cvMat(greys);
    cvCvtColor(&source, &result, CV_BGR2GRAY);
    for (int i = 0; i < colours; ++i)
        if (greys.ptr()[i] != greyOf(pixels.ptr(0, i)))
            return false;
    return true;
}

/// Blackens an image where the history is 0.
void clearWhereNeverMoved(cv::Mat& image, const cv::Mat& history)
{
    for (int y = 0; y < image.rows; ++y)
        for (int x = 0; x < image.cols; ++x)
            if (history.ptr<float>(y)[x] == 0.0f)
                image.ptr(y)[x] = 0;
}

/// Brings rows up to date, and shows their history.
void update(MotionRows rows, double timestamp, double duration)
{
    Bounds bounds;
    updateRows(rows, bounds);
    const cv::Mat history = rows.history(bounds.rectangle());
    cv::Mat output = rows.output(bounds.rectangle());
    // By OpenCV, whose products are rounded as the processor has it.
    history.convertTo(output, CV_8U, 255.0 / duration, (duration - timestamp) * 255.0 / duration);
    if (timestamp < duration)
        clearWhereNeverMoved(output, history); // 0 is not yet longer ago than the duration
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
        core::util::orBadAlloc([&] {
            for (int k = 0; k < mFrameCount; ++k)
                createZeroed(mFrames[k], size, IPL_DEPTH_8U);
            createZeroed(mHistory, size, IPL_DEPTH_32F);
            mSpareFloat = cvCreateImage(size, IPL_DEPTH_32F, 1);
        });
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
    getMHI(input, output, nullptr);
}

void MotionSegment::getMHI(const Image* input, Image* output, MovingPixels* moving)
{
    assert(input->nofChannels() == 3 && "ERROR: the input image must have 3 channels!");
    assert(output->nofChannels() == 1 && "ERROR: the output image must have 1 channel only!");
    assert(hasSize(*input, *mHistory) && "ERROR: the input image must have the size given at construction!");
    assert(hasSize(*output, *mHistory) && "ERROR: the output image must have the size given at construction!");

    const double timestamp = static_cast<double>(std::clock()) / 1000000.0;
    static const bool converts = core::util::orBadAlloc(isGreyOfOpenCv);
    if (!converts)
        cvCvtColor(input->iplImage(), mFrames[mLastIndex], CV_BGR2GRAY);
    const cv::Mat colours = cv::cvarrToMat(input->iplImage());
    const cv::Mat shown = cv::cvarrToMat(output->iplImage());
    const cv::Mat history = cv::cvarrToMat(mHistory);
    const cv::Mat frame = cv::cvarrToMat(mFrames[mLastIndex]);
    mLastIndex = (mLastIndex + 1) % mFrameCount;
    const cv::Mat before = cv::cvarrToMat(mFrames[mLastIndex]); // then what moves; the next call's frame goes here

    // As many rows at a time as stay in a cache, and so many pixels that OpenCV's calls for them cost little.
    const int count = std::max(1, (1 << 14) / frame.cols);
    for (int y = 0; y < frame.rows; y += count) {
        const cv::Rect part(0, y, frame.cols, std::min(count, frame.rows - y));
        update({converts ? colours(part) : cv::Mat(), frame(part), before(part), history(part), shown(part),
                static_cast<float>(timestamp), static_cast<float>(timestamp - mDuration)},
               timestamp, mDuration);
        if (moving != nullptr)
            moving->add(before(part), y);
    }
}

IplImage* MotionSegment::getMHIImage()
{
    return mHistory;
}

void MotionSegment::getMassCenter(Image* image, math::Vector2* center)
{
    const ByteSums sums = byteSums(*image->iplImage());
    (*center)[0] = sums.x / sums.all;
    (*center)[1] = sums.y / sums.all;
}

} // namespace velmor::cvprocess
