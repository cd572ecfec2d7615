// The motion history beside the functions of OpenCV that it stands for, one call after another. Compiled without access
// control, to see fields.

#include "cvprocess/MotionSegment.h"
#include "tests/cvprocess/MotionStream.h"
#include "tests/support/InstructionSets.h"
#include "tests/support/Pictures.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc/imgproc_c.h>
#include <opencv2/optflow/motempl.hpp>

#include <cstring>
#include <utility>

using velmor::core::cvdata::Image;
using velmor::cvprocess::MotionSegment;

namespace velmor::tests {
namespace {

/// The calls, on whole pictures. OpenCV has no C function for the history any more.
class Calls
{
public:
    explicit Calls(const cv::Size& size)
        : mBefore(cv::Mat::zeros(size, CV_8U)), mFrame(size, CV_8U), mHistory(cv::Mat::zeros(size, CV_32F)),
          mOutput(size, CV_8U)
    {
    }

    void next(const Image& input, double time)
    {
        CvMat frame = cvMat(mFrame), silhouette = cvMat(mBefore), output = cvMat(mOutput);
        const CvMat history = cvMat(mHistory);
        cvCvtColor(input.iplImage(), &frame, CV_BGR2GRAY);
        cvAbsDiff(&frame, &silhouette, &silhouette);
        cvThreshold(&silhouette, &silhouette, 20.0, 1.0, CV_THRESH_BINARY);
        cv::motempl::updateMotionHistory(mBefore, mHistory, time, 0.4);
        cvConvertScale(&history, &output, 255.0 / 0.4, (0.4 - time) * 255.0 / 0.4);
        if (time < 0.4)
            mOutput.setTo(0, mHistory == 0.0f); // by design
    }

    void expectSame(const MotionSegment& motion, const Image& output)
    {
        expectSameBits(mOutput, output.mat(), "output");
        expectSameBits(mHistory, cv::cvarrToMat(motion.mHistory), "history");
        expectSameBits(mBefore, cv::cvarrToMat(motion.mFrames[motion.mLastIndex]), "silhouette");
        expectSameBits(mFrame, cv::cvarrToMat(motion.mFrames[1 - motion.mLastIndex]), "frame");
        std::swap(mFrame, mBefore);
    }

private:
    static void expectSameBits(const cv::Mat& a, const cv::Mat& b, const char* name)
    {
        for (int y = 0; y < a.rows; ++y)
            ASSERT_EQ(std::memcmp(a.ptr(y), b.ptr(y), static_cast<std::size_t>(a.cols) * a.elemSize()), 0)
                << name << ", row " << y;
    }

    cv::Mat mBefore; ///< then what moves
    cv::Mat mFrame;
    cv::Mat mHistory;
    cv::Mat mOutput;
};

void expectCalls(MotionStream& stream, int frames)
{
    MotionSegment motion(static_cast<int>(stream.width()), static_cast<int>(stream.height()));
    PaddedImage output(stream.width(), stream.height(), Image::GREYSCALE, 33);
    Calls calls(output.image.mat().size());
    for (int k = 0; k < frames; ++k) {
        const Image& frame = stream.next();
        motion.getMHI(&frame, &output.image);
        calls.next(frame, stream.time());
        calls.expectSame(motion, output.image);
        ASSERT_FALSE(testing::Test::HasFatalFailure())
            << "frame " << k << " of " << stream.width() << " x " << stream.height() << " at " << stream.time();
    }
    EXPECT_TRUE(output.paddingIs(33));
}

void expectCallsOnRandomStreams(int streams)
{
    cv::setNumThreads(1); // more cost time on small pictures
    onEachInstructionSet([streams](const std::string& name) {
        SCOPED_TRACE(name);
        std::mt19937 random(1);
        for (int k = 0; k < streams && !testing::Test::HasFailure(); ++k) {
            MotionStream stream(random);
            expectCalls(stream, 50);
        }
    });
}

TEST(MotionHistory, IsBitForBitThatOfOpenCv)
{
    expectCallsOnRandomStreams(400);
}

TEST(MotionHistorySweep, IsBitForBitThatOfOpenCv)
{
    expectCallsOnRandomStreams(20000);
}

// Larger pictures take several passes over some rows, and very wide ones a pass for each row.
TEST(MotionHistory, OfLargerPicturesIsThatOfOpenCvToo)
{
    onEachInstructionSet([](const std::string& name) {
        SCOPED_TRACE(name);
        std::mt19937 random(1);
        for (const auto& [width, height] : {std::pair{640u, 480u}, std::pair{723u, 101u}, std::pair{16385u, 3u},
                                            std::pair{5000u, 10u}, std::pair{1u, 40000u}}) {
            MotionStream stream(width, height, random);
            expectCalls(stream, 12);
        }
    });
}

} // namespace
} // namespace velmor::tests
