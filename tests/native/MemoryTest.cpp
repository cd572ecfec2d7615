#include "native/internal/Memory.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstddef>

namespace velmor::tests {
namespace {

using native::coincide;
using native::overlap;

TEST(Memory, RowsThatLieOtherwiseAreOtherPixels)
{
    uchar bytes[100] = {};
    const cv::Mat near(2, 20, CV_8U, bytes, 24);
    const cv::Mat far(2, 20, CV_8U, bytes, 25);
    EXPECT_TRUE(coincide(near, cv::Mat(2, 20, CV_8U, bytes, 24)));
    EXPECT_FALSE(coincide(near, far));
    EXPECT_TRUE(coincide(near.rowRange(0, 1), far.rowRange(0, 1))); // where the next one lies is of no matter
    EXPECT_FALSE(coincide(near.rowRange(1, 2), far.rowRange(1, 2)));
}

TEST(Memory, OtherSizesOrElementsAreOtherPixels)
{
    uchar bytes[100] = {};
    const cv::Mat pixels(2, 20, CV_8U, bytes, 24);
    EXPECT_FALSE(coincide(pixels, pixels.colRange(0, 19)));
    EXPECT_FALSE(coincide(pixels, pixels.colRange(1, 20)));
    EXPECT_FALSE(coincide(pixels, pixels.rowRange(0, 1)));
    EXPECT_FALSE(coincide(pixels, cv::Mat(2, 20, CV_8UC3, bytes, 60)));
}

TEST(Memory, ColumnsSideBySideShareNothing)
{
    uchar bytes[100] = {};
    const cv::Mat picture(4, 20, CV_8U, bytes, 25);
    const cv::Mat left = picture.colRange(0, 10), right = picture.colRange(10, 20);
    EXPECT_FALSE(overlap(left, right));
    EXPECT_FALSE(overlap(right, left));
    EXPECT_TRUE(overlap(left, picture.colRange(9, 20)));
    EXPECT_TRUE(overlap(picture.colRange(9, 20), left));
    EXPECT_FALSE(overlap(left.rowRange(0, 3), right.rowRange(1, 4)));
    EXPECT_FALSE(overlap(picture.rowRange(0, 2), picture.rowRange(2, 4)));
    // From column 15 on through the end of a row of 25 bytes, into the next one's first byte and not.
    EXPECT_TRUE(overlap(left, cv::Mat(3, 11, CV_8U, bytes + 15, 25)));
    EXPECT_FALSE(overlap(left, cv::Mat(3, 10, CV_8U, bytes + 15, 25)));
    EXPECT_TRUE(overlap(left, cv::Mat(3, 10, CV_8U, bytes + 15, 24)));
}

// The processor's may be larger than what a virtual machine has of it.
TEST(Memory, TheLastCacheIsNoLargerThanTheProcessors)
{
    const long processors = sysconf(_SC_LEVEL3_CACHE_SIZE);
    if (processors > 0) {
        EXPECT_LE(native::lastCacheSize(), static_cast<std::size_t>(processors));
    }
    EXPECT_GT(native::lastCacheSize(), 0u);
}

} // namespace
} // namespace velmor::tests
