#include "native/DebugUInt2Float.h"

#include "core/cvdata/Image.h"
#include "tests/support/NativeTest.h"

#include <cmath>

namespace velmor::tests {
namespace {

using native::DebugUInt2Float;

const std::vector<int> kTypes = {CV_16UC1, CV_16UC4, CV_32SC1, CV_32SC4};

/// The nearest float, of two that are equally near the even one: by integers, not by a conversion.
float nearestFloat(std::uint32_t value)
{
    int shift = 0;
    while ((value >> shift) >= (1U << 24))
        ++shift;
    std::uint32_t kept = value >> shift;
    const std::uint32_t lost = value - (kept << shift);
    const std::uint32_t half = shift > 0 ? 1U << (shift - 1) : 1;
    if (lost > half || (lost == half && kept % 2 != 0))
        ++kept;
    return std::ldexp(static_cast<float>(kept), shift);
}

cv::Mat plainLoop(const cv::Mat& source, const cv::Mat&, int type)
{
    cv::Mat result(source.size(), type);
    for (int y = 0; y < source.rows; ++y) {
        for (int x = 0; x < source.cols * source.channels(); ++x) {
            const std::uint32_t value = source.depth() == CV_16U ? std::uint32_t{source.ptr<ushort>(y)[x]}
                                                                 : static_cast<std::uint32_t>(source.ptr<int>(y)[x]);
            result.ptr<float>(y)[x] = nearestFloat(value) * 1.0F / 65535.0F;
        }
    }
    return result;
}

TEST(DebugUInt2Float, IsTheRuleEverywhere)
{
    expectEverywhere({DebugUInt2Float(), kTypes, plainLoop, {-1, CV_32F}});
}

TEST(DebugUInt2Float, IsTheRuleForAllIntegersOf16Bits)
{
    cv::Mat source(256, 256, CV_16UC1);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x)
            source.at<ushort>(y, x) = static_cast<ushort>(256 * y + x);
    expectOn({DebugUInt2Float(), {}, plainLoop}, source);
}

TEST(DebugUInt2Float, RoundsIntegersOf32BitsOnce)
{
    // Around each power of two, and around what is halfway between two floats.
    std::vector<std::uint32_t> values;
    for (int power = 0; power < 32; ++power) {
        for (int part = 0; part < 4; ++part) {
            const std::uint32_t base =
                (1U << power) + (power > 24 ? static_cast<std::uint32_t>(part) << (power - 24) : 0);
            for (const std::uint32_t beside : {0xfffffffeU, 0xffffffffU, 0U, 1U, 2U})
                values.push_back(base + beside);
        }
    }
    values.insert(values.end(), {0xffffff7fU, 0xffffff80U, 0xffffff81U, 0xffffffffU, 0x80000080U, 0x80000180U});
    expectOn({DebugUInt2Float(), {}, plainLoop}, cv::Mat(1, static_cast<int>(values.size()), CV_32SC1, values.data()));
}

TEST(DebugUInt2Float, GivesWhatIsStated)
{
    const cv::Mat source = (cv::Mat_<cv::Vec4w>(1, 1) << cv::Vec4w(65535, 0, 32768, 65535));
    cv::Mat result;
    DebugUInt2Float().execute(source, result);
    EXPECT_EQ(result.at<cv::Vec4f>(0, 0)[0], 1.0F);
    EXPECT_EQ(result.at<cv::Vec4f>(0, 0)[1], 0.0F);
    EXPECT_NEAR(result.at<cv::Vec4f>(0, 0)[2], 0.500008, 1e-6);
    EXPECT_EQ(result.at<cv::Vec4f>(0, 0)[3], 1.0F);
    DebugUInt2Float().execute(cv::Mat(1, 1, CV_32SC1, cv::Scalar(131070)), result);
    EXPECT_EQ(result.at<float>(0, 0), 2.0F);
    DebugUInt2Float().execute(cv::Mat(1, 1, CV_32SC1, cv::Scalar(-1)), result);
    EXPECT_EQ(result.at<float>(0, 0), 4294967296.0F / 65535.0F);
}

TEST(DebugUInt2Float, TouchesNothingBehindItsPixels)
{
    expectNothingTouchedBehind({DebugUInt2Float(), kTypes, plainLoop});
}

TEST(DebugUInt2Float, RefusesOtherTypes)
{
    expectRefusal([](cv::Mat& result) { DebugUInt2Float().execute(cv::Mat(2, 2, CV_8UC1), result); },
                  "native::DebugUInt2Float::execute(): expected 1 or 4 channels of 16-bit unsigned integers or 32-bit "
                  "integers, got 1 channel of bytes");
    expectRefusal([](cv::Mat& result) { DebugUInt2Float().execute(cv::Mat(2, 2, CV_16UC3), result); },
                  "native::DebugUInt2Float::execute(): expected 1 or 4 channels of 16-bit unsigned integers or 32-bit "
                  "integers, got 3 channels of 16-bit unsigned integers");
    expectRefusal([](cv::Mat& result) { DebugUInt2Float().execute(cv::Mat(2, 2, CV_16UC1), result, CV_8U); },
                  "native::DebugUInt2Float::execute(): expected a result of floats, got bytes");
    const core::cvdata::Image image(2, 2, core::cvdata::Image::GREYSCALE);
    expectRefusal([&](cv::Mat& result) { DebugUInt2Float().execute(image, result); },
                  "native::DebugUInt2Float::execute(): expected 1 or 4 channels of 16-bit unsigned integers or 32-bit "
                  "integers, got 1 channel of bytes");
}

TEST(DebugUInt2FloatSweep, ConvertsPicturesLargerThanTheCaches)
{
    expectOnLargePictures({DebugUInt2Float(), kTypes, plainLoop});
}

} // namespace
} // namespace velmor::tests
