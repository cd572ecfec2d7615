// What CPU operators make and release through OpenCV's C functions, in which order, and what is left when that fails.
// Compiled without access control, to see fields, and linked with the operators' own objects.

#include "tests/support/OpenCvCalls.h"

#include "core/cvdata/Blobs.h"
#include "core/cvdata/Image.h"
#include "cvprocess/FaceDetect.h"
#include "cvprocess/Moments.h"
#include "cvprocess/MotionSegment.h"
#include "math/SquareMatrix.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Pictures.h"

#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <utility>

using velmor::core::cvdata::Image;
using velmor::cvprocess::MotionSegment;

namespace velmor::tests {
namespace {

using Calls = std::vector<OpenCvCall>;

const char* const kCascade = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml";

// ---- order of release

TEST(OpenCvCalls, MotionSegmentReleasesTheSpareTheHistoryTheSpareFloatAndTheRing)
{
    std::optional<MotionSegment> motion(std::in_place, 6, 4);
    OpenCvCalls calls;
    const Calls expected = {{"cvReleaseImage", nullptr},
                            {"cvReleaseImage", motion->mHistory},
                            {"cvReleaseImage", motion->mSpareFloat},
                            {"cvReleaseImage", motion->mFrames[0]},
                            {"cvReleaseImage", motion->mFrames[1]}};
    motion.reset();
    EXPECT_EQ(calls.take(), expected);
}

TEST(OpenCvCalls, FaceDetectReleasesTheStorageBeforeTheCascade)
{
    std::optional<cvprocess::FaceDetect> detector(std::in_place, kCascade);
    OpenCvCalls calls;
    const Calls expected = {{"cvReleaseMemStorage", detector->mStorage},
                            {"cvReleaseHaarClassifierCascade", detector->mCascade}};
    detector.reset();
    EXPECT_EQ(calls.take(), expected);
}

/// Tells when it goes.
template<typename Base>
class Noted : public Base
{
public:
    template<typename... Arguments>
    Noted(OpenCvCalls& calls, const char* name, const Arguments&... arguments)
        : Base(arguments...), mCalls(calls), mName(name)
    {
    }
    ~Noted() override { mCalls.note(mName, nullptr); }

private:
    OpenCvCalls& mCalls;
    const char* mName;
};

TEST(OpenCvCalls, MomentsReleasesTheStorageTheMatrixAndTheImage)
{
    std::optional<cvprocess::Moments> moments(std::in_place);
    OpenCvCalls calls;
    delete moments->mEigenMatrix;
    moments->mEigenMatrix = new Noted<math::SquareMatrix>(calls, "matrix", 2u);
    moments->mWorkImage = new Noted<Image>(calls, "image", 6u, 4u, Image::GREYSCALE);
    const Calls expected = {{"cvReleaseMemStorage", moments->mStorage}, {"matrix", nullptr}, {"image", nullptr}};
    moments.reset();
    EXPECT_EQ(calls.take(), expected);
}

// ---- what a search for blobs makes

TEST(OpenCvCalls, MomentsMakesNothingForRegionsThatItDrops)
{
    Image image(60, 40, Image::GREYSCALE);
    fillRectangle(image, 3, 3, 20, 30, 255);
    byteAt(image, 30, 5) = 1;
    cvprocess::Moments moments;
    core::cvdata::Blobs blobs;
    ASSERT_EQ(moments.findBlobs(image, blobs, -1, -1.0), 2); // makes the working image
    OpenCvCalls calls;
    const std::size_t before = allocations().made;
    EXPECT_EQ(moments.findBlobs(image, blobs, -1, 1000.0), 0);
    EXPECT_EQ(moments.findBlobs(image, blobs, 0, 0.0), 0);
    EXPECT_EQ(allocations().made, before);
    EXPECT_EQ(calls.take(), Calls());
}

// ---- the storage of a search

TEST(OpenCvCalls, FaceDetectClearsItsStorageBeforeEachSearch)
{
    cvprocess::FaceDetect detector(kCascade);
    Image image(50, 45, Image::GREYSCALE);
    const Calls expected = {{"cvClearMemStorage", detector.mStorage}, {"cvHaarDetectObjects", detector.mStorage}};
    OpenCvCalls calls;
    for (int k = 0; k < 2; ++k) {
        std::vector<math::Vector4> faces;
        detector.findFaces(&image, faces);
        EXPECT_EQ(calls.take(), expected);
    }
    std::vector<CvRect> rectangles;
    detector.findFaces(&image, rectangles, 1);
    Calls ofScale = calls.take();
    ASSERT_EQ(ofScale.size(), 3u);
    EXPECT_EQ(ofScale[1].function, "cvCreateImage");
    ofScale.erase(ofScale.begin() + 1);
    EXPECT_EQ(ofScale, expected);
}

// ---- the grey of MotionSegment

// Which OpenCV there is is found out in the first call of the process, and here is the only one.
TEST(OpenCvCalls, MotionSegmentTakesTheGreyOfAnOpenCvThatComputesItOtherwise)
{
    OpenCvCalls calls;
    calls.darkenGrey();
    MotionSegment motion(100, 3);
    Image frame(100, 3, Image::BGR), output(100, 3, Image::GREYSCALE);
    cvSet(frame.iplImage(), cvScalarAll(21));
    frame.imageBuffer()[2 * frame.allocatedWidth() + 3 * 99 + 1] = 25; // green of the last pixel
    motion.getMHI(&frame, &output);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 100; ++x) {
            const bool isLast = y == 2 && x == 99; // 21 + 0.587 * 4
            EXPECT_EQ(cvGetReal2D(motion.mFrames[0], y, x), isLast ? 22 : 20);
            EXPECT_EQ(cvGetReal2D(motion.mFrames[1], y, x), isLast ? 1 : 0);
        }
    }
}

// ---- sizes of MotionSegment

// A float image of just less than 2^31 bytes, in several shapes: 4 * 256999 * 2089 = 2^31 - 4.
TEST(OpenCvCalls, MotionSegmentTakesEverySizeThatOpenCvDescribes)
{
    for (const auto& [width, height] :
         {std::pair{256999, 2089}, std::pair{2089, 256999}, std::pair{1, (1 << 29) - 1}, std::pair{(1 << 27) - 1, 4}}) {
        OpenCvCalls calls;
        calls.leaveOutPixels();
        const MotionSegment motion(width, height);
        EXPECT_EQ(motion.mHistory->width, width);
        EXPECT_EQ(motion.mHistory->imageSize, 4 * width * height);
        EXPECT_EQ(calls.take().size(), 4u);
    }
}

/// Allocations that are left when a constructor with this size ends in an exception.
/// @param refused  index of the image that there is no memory for; negative for none
template<typename Exception>
std::size_t leftByFailure(OpenCvCalls& calls, int width, int height, int refused)
{
    const auto fail = [&] {
        calls.refuseImage(refused);
        EXPECT_THROW(MotionSegment(width, height), Exception);
        calls.take();
    };
    fail(); // some things are allocated once
    const std::size_t before = allocations().alive;
    fail();
    return allocations().alive - before;
}

TEST(OpenCvCalls, MotionSegmentLeavesNothingWhenThereIsNoMemory)
{
    OpenCvCalls calls;
    for (int refused = 0; refused < 4; ++refused)
        EXPECT_EQ(leftByFailure<std::bad_alloc>(calls, 6, 4, refused), 0u) << "image " << refused;
}

#ifdef NDEBUG
TEST(OpenCvCalls, MotionSegmentLeavesNothingWhenOpenCvRefusesTheSize)
{
    OpenCvCalls calls;
    for (const auto& [width, height] :
         {std::pair{65536, 65536}, std::pair{1 << 15, 1 << 14}, std::pair{-6, 4}, std::pair{6, -4}})
        EXPECT_EQ(leftByFailure<cv::Exception>(calls, width, height, -1), 0u) << width << " x " << height;
}
#endif

} // namespace
} // namespace velmor::tests
