#include "native/FlipV.h"

#include "tests/native/Logic.h"

namespace velmor::tests {
namespace {

using native::FlipV;

cv::Mat upsideDown(const cv::Mat& picture)
{
    cv::Mat result(picture.size(), picture.type());
    for (int y = 0; y < picture.rows; ++y)
        picture.row(picture.rows - 1 - y).copyTo(result.row(y));
    return result;
}

cv::Mat plainLoop(const cv::Mat& source, const cv::Mat&, int type)
{
    const cv::Mat flipped = upsideDown(source);
    if (CV_MAT_DEPTH(type) == source.depth())
        return flipped;
    return source.depth() == CV_8U ? floatsOf(flipped) : bytesOf(flipped);
}

TEST(FlipV, IsTheRuleEverywhere)
{
    expectOnEveryType(FlipV(), plainLoop);
}

TEST(FlipV, ExchangesTheRowsOfAPictureOfTwo)
{
    const cv::Mat source = (cv::Mat_<uchar>(2, 4) << 1, 2, 3, 4, 5, 6, 7, 8);
    const cv::Mat expected = (cv::Mat_<uchar>(2, 4) << 5, 6, 7, 8, 1, 2, 3, 4);
    cv::Mat result;
    FlipV().execute(source, result);
    expectEqual(result, expected, "two rows");
}

TEST(FlipV, TouchesNothingBehindItsPixels)
{
    expectNothingTouchedBehind({FlipV(), kLogicTypes, plainLoop});
}

TEST(FlipV, RefusesOtherTypes)
{
    expectRefusal([](cv::Mat& result) { FlipV().execute(cv::Mat(2, 2, CV_8UC2), result); },
                  "native::FlipV::execute(): expected 1, 3 or 4 channels of bytes or floats, got 2 channels of bytes");
    expectRefusal([](cv::Mat& result) { FlipV().execute(cv::Mat(2, 2, CV_16UC1), result); },
                  "native::FlipV::execute(): expected 1, 3 or 4 channels of bytes or floats, got 1 channel of 16-bit "
                  "unsigned integers");
    expectRefusal([](cv::Mat& result) { FlipV().execute(cv::Mat(2, 2, CV_8UC1), result, CV_64F); },
                  "native::FlipV::execute(): expected a result of bytes or floats, got doubles");
}

TEST(FlipVSweep, TurnsPicturesLargerThanTheCaches)
{
    expectOnLargePictures({FlipV(), kLogicTypes, plainLoop});
}

} // namespace
} // namespace velmor::tests
