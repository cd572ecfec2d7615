#include "native/FlipV.h"

#include "tests/support/NativeTest.h"

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
    expectEverywhere(
        {FlipV(), {CV_8UC1, CV_8UC3, CV_8UC4, CV_32FC1, CV_32FC3, CV_32FC4}, plainLoop, {-1, CV_8U, CV_32F}});
}

TEST(FlipV, ExchangesTheRowsOfAPictureOfTwo)
{
    const cv::Mat source = (cv::Mat_<uchar>(2, 4) << 1, 2, 3, 4, 5, 6, 7, 8);
    const cv::Mat expected = (cv::Mat_<uchar>(2, 4) << 5, 6, 7, 8, 1, 2, 3, 4);
    cv::Mat result;
    FlipV().execute(source, result);
    expectEqual(result, expected, "two rows");
}

TEST(FlipV, TurnsPicturesThatCachesDoNotHold)
{
    // Rows that begin and end anywhere within a cache's line, and rows that are shorter than one.
    for (const cv::Size& size : {cv::Size(2561, 3001), cv::Size(3, 2000003)}) {
        cv::Mat source(size, CV_8UC3);
        cv::randu(source, 0, 256);
        expectOn({FlipV(), {}, plainLoop}, source);
    }
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

} // namespace
} // namespace velmor::tests
