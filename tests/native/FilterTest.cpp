#include "native/Filter.h"

#include "core/cvdata/Image.h"
#include "native/Not.h"
#include "native/Subtract.h"
#include "tests/support/NativeTest.h"
#include "tests/support/ThrownText.h"

#include <stdexcept>
#include <vector>

namespace velmor::tests {
namespace {

using core::cvdata::Image;
using native::Not;
using native::Subtract;

std::string refusedType(const native::Filter& filter, int type, int depth = -1)
{
    return thrownText<std::invalid_argument>([&] { filter.resultType(type, depth); });
}

TEST(Filter, TellsItsSourcesAndTheTypeOfItsResult)
{
    EXPECT_EQ(Not().sources(), 1);
    EXPECT_EQ(Subtract().sources(), 2);
    EXPECT_EQ(Not().resultType(CV_8UC3), CV_8UC3);
    EXPECT_EQ(Not().resultType(CV_32FC4), CV_32FC4);
    EXPECT_EQ(Not().resultType(CV_8UC1, CV_32F), CV_32FC1);
    EXPECT_EQ(Not().resultType(CV_32FC1, CV_8U), CV_8UC1);
}

TEST(Filter, RefusesTypesThatItDoesNotTakeOrGive)
{
    EXPECT_EQ(refusedType(Not(), CV_8UC2),
              "native::Not::resultType(): expected 1, 3 or 4 channels of bytes or floats, got 2 channels of bytes");
    EXPECT_EQ(refusedType(Not(), CV_64FC1),
              "native::Not::resultType(): expected 1, 3 or 4 channels of bytes or floats, got 1 channel of doubles");
    EXPECT_EQ(refusedType(Not(), CV_8UC1, CV_16U),
              "native::Not::resultType(): expected a result of bytes or floats, got 16-bit unsigned integers");
    EXPECT_EQ(refusedType(Not(), CV_8UC1, -2),
              "native::Not::resultType(): expected a result of bytes or floats, got depth -2");
    EXPECT_EQ(refusedType(Not(), CV_8UC1, 8),
              "native::Not::resultType(): expected a result of bytes or floats, got depth 8");
}

TEST(Filter, RefusesSourcesThatDoNotFitAndWritesNothing)
{
    const cv::Mat picture(2, 3, CV_8UC1, cv::Scalar(1));
    const Not one;
    const Subtract two;
    expectRefusal([&](cv::Mat& result) { one.execute(picture, picture, result); },
                  "native::Not::execute(): expected 1 source, got 2");
    expectRefusal([&](cv::Mat& result) { two.execute(picture, result); },
                  "native::Subtract::execute(): expected 2 sources, got 1");
    expectRefusal([&](cv::Mat& result) { one.execute(cv::Mat(), result); },
                  "native::Not::execute(): expected a picture, got an empty one");
    expectRefusal([&](cv::Mat& result) { two.execute(picture, cv::Mat(0, 3, CV_8UC1), result); },
                  "native::Subtract::execute(): expected a picture, got an empty one");
    const int sides[] = {2, 2, 2};
    expectRefusal([&](cv::Mat& result) { one.execute(cv::Mat(3, sides, CV_8UC1, cv::Scalar(1)), result); },
                  "native::Not::execute(): expected a picture of 2 dimensions, got 3");
    expectRefusal([&](cv::Mat& result) { two.execute(picture, cv::Mat(3, 2, CV_8UC1), result); },
                  "native::Subtract::execute(): expected sources of one size, got 3 x 2 and 2 x 3");
    expectRefusal(
        [&](cv::Mat& result) { two.execute(picture, cv::Mat(2, 3, CV_32FC1), result); },
        "native::Subtract::execute(): expected sources of one type, got 1 channel of bytes and 1 channel of floats");
    expectRefusal(
        [&](cv::Mat& result) { one.execute(cv::Mat(2, 3, CV_16SC3), result); },
        "native::Not::execute(): expected 1, 3 or 4 channels of bytes or floats, got 3 channels of 16-bit integers");
    expectRefusal([&](cv::Mat& result) { one.execute(picture, result, CV_64F); },
                  "native::Not::execute(): expected a result of bytes or floats, got doubles");
}

TEST(Filter, TakesImagesWithRedFirst)
{
    Image image(2, 1, Image::BGR);
    image.mat().at<cv::Vec3b>(0, 0) = cv::Vec3b(1, 2, 3);
    image.mat().at<cv::Vec3b>(0, 1) = cv::Vec3b(4, 5, 6);
    cv::Mat result;
    Not().execute(image, result);
    EXPECT_EQ(result.at<cv::Vec3b>(0, 0), cv::Vec3b(252, 253, 254));
    EXPECT_EQ(result.at<cv::Vec3b>(0, 1), cv::Vec3b(249, 250, 251));

    Image sameColours(2, 1, Image::RGB);
    sameColours.mat().at<cv::Vec3b>(0, 0) = cv::Vec3b(3, 2, 1);
    sameColours.mat().at<cv::Vec3b>(0, 1) = cv::Vec3b(6, 5, 4);
    Subtract().execute(image, sameColours, result);
    expectEqual(result, cv::Mat(1, 2, CV_8UC3, cv::Scalar::all(0)), "two layouts of the same colours");

    const Image grey(2, 1, Image::GREYSCALE);
    Not().execute(grey, result, CV_32F);
    expectEqual(result, cv::Mat(1, 2, CV_32FC1, cv::Scalar(1)), "grey");
    EXPECT_EQ(thrownText<std::invalid_argument>([&] { Not().execute(Image(0, 0, Image::BGR), result); }),
              "native::Not::execute(): expected a picture, got an empty one");
}

TEST(Filter, ResultKeepsTheMemoryOfItsSizeAndType)
{
    const cv::Mat picture(4, 4, CV_8UC1, cv::Scalar(1));
    cv::Mat result(4, 4, CV_8UC1);
    const uchar* const place = result.data;
    Not().execute(picture, result);
    EXPECT_EQ(result.data, place);
    Not().execute(picture, result, CV_32F);
    EXPECT_NE(result.data, place);
}

TEST(Filter, FloatsMayLieWhereNoFloatShould)
{
#ifdef __SANITIZE_ADDRESS__ // with which the other sanitizer comes
    GTEST_SKIP() << "UndefinedBehaviorSanitizer takes a float that is not aligned for an error";
#endif
    const cv::Mat source(17, 33, CV_32FC1, cv::Scalar(0.25));
    std::vector<uchar> bytes(1 + source.total() * source.elemSize());
    cv::Mat result(source.size(), source.type(), bytes.data() + 1);
    Not().execute(source, result);
    ASSERT_EQ(result.data, bytes.data() + 1);
    EXPECT_EQ(cv::norm(result.clone(), cv::Mat(source.size(), source.type(), cv::Scalar(0.75)), cv::NORM_INF), 0.0);
}

TEST(Filter, CopiesComputeTheSame)
{
    Subtract copy;
    {
        const Subtract original;
        copy = original;
    }
    cv::Mat result;
    copy.execute(cv::Mat(1, 1, CV_8UC1, cv::Scalar(7)), cv::Mat(1, 1, CV_8UC1, cv::Scalar(9)), result);
    EXPECT_EQ(result.at<uchar>(0, 0), 2);
}

} // namespace
} // namespace velmor::tests
