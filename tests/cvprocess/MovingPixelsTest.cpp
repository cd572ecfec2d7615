#include "cvprocess/internal/MovingPixels.h"

#include "core/cvdata/Image.h"
#include "cvprocess/MotionSegment.h"
#include "tests/support/Pictures.h"

#include <gtest/gtest.h>

#include <cmath>

using velmor::core::cvdata::Image;
using velmor::cvprocess::MotionSegment;
using velmor::cvprocess::MovingPixels;

namespace velmor::tests {
namespace {

/// Frames of a size, each compared with the one before; the first one is black.
class Frames
{
public:
    Frames(unsigned width, unsigned height)
        : mMotion(static_cast<int>(width), static_cast<int>(height)), mBlack(width, height, Image::BGR),
          mOutput(width, height, Image::GREYSCALE)
    {
        next(mBlack);
    }

    MovingPixels next(const Image& frame) { return MovingPixels::find(mMotion, frame, mOutput); }

    const Image& black() const { return mBlack; }

private:
    MotionSegment mMotion;
    Image mBlack;
    Image mOutput;
};

TEST(MovingPixels, NothingMovesBetweenEqualFrames)
{
    Frames frames(40, 30);
    const MovingPixels none = frames.next(frames.black());
    EXPECT_EQ(none.count(), 0u);
    EXPECT_TRUE(none.box().empty());
    EXPECT_TRUE(std::isnan(none.centre().x) && std::isnan(none.centre().y));
}

TEST(MovingPixels, TheBoxHoldsThemAndTheCentreIsTheirMean)
{
    Frames frames(200, 100);
    Image frame(200, 100, Image::BGR);
    fillRectangle(frame, 10, 20, 14, 22, 200);   // 8 pixels around (11.5, 20.5)
    fillRectangle(frame, 190, 90, 192, 92, 200); // 4 pixels around (190.5, 90.5)
    const MovingPixels some = frames.next(frame);
    EXPECT_EQ(some.count(), 12u);
    EXPECT_EQ(some.box(), cv::Rect(10, 20, 182, 72));
    EXPECT_DOUBLE_EQ(some.centre().x, (8 * 11.5 + 4 * 190.5) / 12);
    EXPECT_DOUBLE_EQ(some.centre().y, (8 * 20.5 + 4 * 90.5) / 12);
}

// A frame is looked at in groups of rows, and what moves may be in the last of them alone.
TEST(MovingPixels, APixelInTheLastCornerIsAllOfItself)
{
    Frames frames(1000, 2000);
    Image frame(1000, 2000, Image::BGR);
    fillRectangle(frame, 999, 1999, 1000, 2000, 200);
    const MovingPixels one = frames.next(frame);
    EXPECT_EQ(one.count(), 1u);
    EXPECT_EQ(one.box(), cv::Rect(999, 1999, 1, 1));
    EXPECT_EQ(one.centre(), cv::Point2d(999, 1999));
}

} // namespace
} // namespace velmor::tests
