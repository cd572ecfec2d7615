// What CPU operators make and release through OpenCV's C functions, and in which order.
// Compiled without access control, to see fields, and linked with the operators' own objects.

#include "tests/support/OpenCvCalls.h"

#include "core/cvdata/Image.h"
#include "cvprocess/FaceDetect.h"
#include "cvprocess/Moments.h"
#include "cvprocess/MotionSegment.h"
#include "math/SquareMatrix.h"

#include <gtest/gtest.h>

#include <optional>
#include <utility>

using velmor::core::cvdata::Image;
using velmor::cvprocess::FaceDetect;
using velmor::cvprocess::Moments;
using velmor::cvprocess::MotionSegment;
using velmor::math::SquareMatrix;

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
    std::optional<FaceDetect> detector(std::in_place, kCascade);
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
    std::optional<Moments> moments(std::in_place);
    OpenCvCalls calls;
    delete moments->mEigenMatrix;
    moments->mEigenMatrix = new Noted<SquareMatrix>(calls, "matrix", 2u);
    moments->mWorkImage = new Noted<Image>(calls, "image", 6u, 4u, Image::GREYSCALE);
    const Calls expected = {{"cvReleaseMemStorage", moments->mStorage}, {"matrix", nullptr}, {"image", nullptr}};
    moments.reset();
    EXPECT_EQ(calls.take(), expected);
}

// ---- the storage of a search

TEST(OpenCvCalls, FaceDetectClearsItsStorageBeforeEachSearch)
{
    FaceDetect detector(kCascade);
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

} // namespace
} // namespace velmor::tests
