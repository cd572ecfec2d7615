#include "native/NonMaxSupression.h"

#include "tests/support/NativeTest.h"

#include <cmath>
#include <initializer_list>
#include <limits>
#include <random>

namespace velmor::tests {
namespace {

using native::NonMaxSupression;

constexpr float kFactor = 1.4142F;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// The magnitude whose product with the factor is 1, so that directions are ways.
constexpr float kUnit = 0x1.6a0accp-1F;
static_assert(kUnit * kFactor == 1.0F);

/// A magnitude whose look-ups lie (dx, dy) ahead of it and behind it.
cv::Vec3f pointing(float magnitude, float dx, float dy)
{
    const auto encoded = [&](float component) {
        return (component * kFactor * magnitude + 1.0F) / 2.0F;
    };
    return {magnitude, encoded(dx), encoded(dy)};
}

int pixelAt(float coordinate, int length)
{
    if (!(coordinate > 0.0F))
        return 0;
    return coordinate < static_cast<float>(length) ? static_cast<int>(std::floor(coordinate)) : length - 1;
}

/// The shader's operations in its order.
cv::Mat thinned(const cv::Mat& source, const cv::Mat&, int type)
{
    cv::Mat result(source.size(), type);
    for (int y = 0; y < source.rows; ++y) {
        for (int x = 0; x < source.cols; ++x) {
            const float* const pixel = source.ptr<float>(y) + x * source.channels();
            const float magnitude = pixel[0];
            float kept = 0.0F;
            if (magnitude != 0.0F) {
                const float dx = (pixel[1] * 2.0F - 1.0F) / (magnitude * kFactor);
                const float dy = (pixel[2] * 2.0F - 1.0F) / (magnitude * kFactor);
                const float centreX = static_cast<float>(x) + 0.5F, centreY = static_cast<float>(y) + 0.5F;
                const auto magnitudeAt = [&](float atX, float atY) {
                    return source.ptr<float>(pixelAt(atY, source.rows))[pixelAt(atX, source.cols) * source.channels()];
                };
                const float forward = magnitudeAt(centreX + dx, centreY + dy);
                const float backward = magnitudeAt(centreX - dx, centreY - dy);
                kept = forward >= magnitude || backward >= magnitude ? 0.0F : magnitude * kFactor;
            }
            result.at<float>(y, x) = kept;
        }
    }
    return result;
}

/// Magnitudes of a few values, so that ties are frequent, some of them zero or negative, with ways of up to three
/// pixels: any, and in halves, which lead to the boundaries and corners of pixels.
cv::Mat gradients(cv::Size size, int type, unsigned seed)
{
    std::mt19937 random(seed);
    const auto below = [&](unsigned count) {
        return static_cast<float>(random() % count);
    };
    cv::Mat picture(size, type);
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const bool halves = random() % 2 == 0;
            const float magnitude = (below(9) - 1.0F) * (halves ? kUnit / 2 : 0.125F);
            const float dx = halves ? (below(13) - 6.0F) / 2 : below(6001) / 1000 - 3.0F;
            const float dy = halves ? (below(13) - 6.0F) / 2 : below(6001) / 1000 - 3.0F;
            const cv::Vec3f pixel = pointing(magnitude, dx, dy);
            float* const place = picture.ptr<float>(y) + x * picture.channels();
            std::copy_n(pixel.val, 3, place);
            if (picture.channels() == 4)
                place[3] = kNan;
        }
    }
    return picture;
}

TEST(NonMaxSupression, IsTheRuleEverywhere)
{
    expectEverywhere({NonMaxSupression(), {CV_32FC3, CV_32FC4}, thinned, {-1}, gradients});
}

TEST(NonMaxSupression, IsTheRuleForAnyFloats)
{
    expectEverywhere({NonMaxSupression(), {CV_32FC3, CV_32FC4}, thinned});
}

/// A row of three pixels with ways of one pixel to the right.
float middleOf(float before, float middle, float after)
{
    cv::Mat row(1, 3, CV_32FC3), result;
    row.at<cv::Vec3f>(0, 0) = pointing(before, 1, 0);
    row.at<cv::Vec3f>(0, 1) = pointing(middle, 1, 0);
    row.at<cv::Vec3f>(0, 2) = pointing(after, 1, 0);
    NonMaxSupression().execute(row, result);
    return result.at<float>(0, 1);
}

TEST(NonMaxSupression, KeepsAPeakAndSuppressesTies)
{
    EXPECT_EQ(middleOf(0.25F, 0.5F, 0.375F), 0.5F * kFactor);
    EXPECT_EQ(middleOf(0.25F, 0.5F, 0.5F), 0.0F);  // a tie ahead
    EXPECT_EQ(middleOf(0.5F, 0.5F, 0.25F), 0.0F);  // a tie behind
    EXPECT_EQ(middleOf(0.25F, 0.5F, 0.75F), 0.0F); // a larger one ahead
    EXPECT_EQ(middleOf(0.75F, 0.5F, 0.25F), 0.0F); // a larger one behind
}

TEST(NonMaxSupression, OfZeroIsZeroWhateverTheDirection)
{
    for (const float magnitude : {0.0F, -0.0F}) {
        for (const float component : {0.0F, 0.5F, 1.0F, kNan, kInfinity}) {
            cv::Mat picture(1, 19, CV_32FC3, cv::Scalar(magnitude, component, component));
            picture.at<cv::Vec3f>(0, 0)[0] = -1.0F; // below zero, so that comparisons alone would keep it
            cv::Mat result;
            NonMaxSupression().execute(picture, result);
            expectEqual(result.colRange(1, 19), cv::Mat(1, 18, CV_32FC1, cv::Scalar(0)), "magnitude of zero");
        }
    }
}

/// What is kept of the middle of 5 x 5 pixels by a way, when one pixel is larger and all others are smaller.
float keptBesideLargerAt(int column, int row, float dx, float dy)
{
    cv::Mat picture(5, 5, CV_32FC3, cv::Scalar::all(0)), result;
    picture.at<cv::Vec3f>(2, 2) = cv::Vec3f(kUnit, (dx + 1) / 2, (dy + 1) / 2);
    picture.at<cv::Vec3f>(row, column)[0] = 1.0F;
    NonMaxSupression().execute(picture, result);
    return result.at<float>(2, 2);
}

TEST(NonMaxSupression, APlaceOnABoundaryBelongsToThePixelOnTheRightOrBelow)
{
    // Half a pixel to the right of a centre begins the next pixel; half a pixel to the left begins the pixel itself,
    // which is no smaller than itself.
    EXPECT_EQ(keptBesideLargerAt(0, 0, 0.5F, 0.0F), 0.0F);
    EXPECT_EQ(keptBesideLargerAt(0, 0, 0.0F, 0.5F), 0.0F);
    // One and a half to the right begins the second pixel, and one and a half to the left the first one.
    EXPECT_EQ(keptBesideLargerAt(4, 2, 1.5F, 0.0F), 0.0F);
    EXPECT_EQ(keptBesideLargerAt(3, 2, 1.5F, 0.0F), 1.0F);
    EXPECT_EQ(keptBesideLargerAt(1, 2, 1.5F, 0.0F), 0.0F);
    EXPECT_EQ(keptBesideLargerAt(0, 2, 1.5F, 0.0F), 1.0F);
    EXPECT_EQ(keptBesideLargerAt(2, 4, 0.0F, 1.5F), 0.0F);
    EXPECT_EQ(keptBesideLargerAt(2, 1, 0.0F, 1.5F), 0.0F);
    EXPECT_EQ(keptBesideLargerAt(4, 4, 1.5F, 1.5F), 0.0F);
    EXPECT_EQ(keptBesideLargerAt(1, 1, 1.5F, 1.5F), 0.0F);
    EXPECT_EQ(keptBesideLargerAt(1, 4, -1.5F, 1.5F), 0.0F);
    EXPECT_EQ(keptBesideLargerAt(4, 1, -1.5F, 1.5F), 0.0F);
}

/// What is kept of the middle of 5 x 5 smaller pixels, one of which is larger, by a direction as it is encoded.
float keptOf(float across, float down, int largerColumn, int largerRow, float magnitude = kUnit)
{
    cv::Mat picture(5, 5, CV_32FC3, cv::Scalar::all(-2)), result;
    picture.at<cv::Vec3f>(2, 2) = cv::Vec3f(magnitude, across, down);
    picture.at<cv::Vec3f>(largerRow, largerColumn)[0] = 1.0F;
    NonMaxSupression().execute(picture, result);
    return result.at<float>(2, 2);
}

TEST(NonMaxSupression, PlacesFarAwayAreTheEdge)
{
    for (const float far : {1e3F, 1e9F, 3e9F, 1e30F, kInfinity}) {
        EXPECT_EQ(keptOf(far, 0.5F, 4, 2), 0.0F) << far;
        EXPECT_EQ(keptOf(far, 0.5F, 0, 2), 0.0F) << far;
        EXPECT_EQ(keptOf(-far, 0.5F, 0, 2), 0.0F) << far;
        EXPECT_EQ(keptOf(0.5F, far, 2, 4), 0.0F) << far;
        EXPECT_EQ(keptOf(0.5F, -far, 2, 0), 0.0F) << far;
        EXPECT_EQ(keptOf(far, far, 4, 4), 0.0F) << far;
        EXPECT_EQ(keptOf(far, -far, 0, 4), 0.0F) << far;
        EXPECT_EQ(keptOf(far, 0.5F, 3, 2), 1.0F) << far;
    }
    // A tiny magnitude makes any way far.
    EXPECT_EQ(keptOf(0.75F, 0.5F, 4, 2, std::numeric_limits<float>::denorm_min()), 0.0F);
}

TEST(NonMaxSupression, WhatIsNoNumberIsTheFirstColumnOrRow)
{
    EXPECT_EQ(keptOf(kNan, 0.5F, 0, 2), 0.0F);
    EXPECT_EQ(keptOf(kNan, 0.5F, 1, 2), 1.0F);
    EXPECT_EQ(keptOf(0.5F, kNan, 2, 0), 0.0F);
    EXPECT_EQ(keptOf(0.5F, kNan, 2, 4), 1.0F);
    EXPECT_EQ(keptOf(kNan, kNan, 0, 0), 0.0F);
    EXPECT_TRUE(std::isnan(keptOf(0.5F, 0.5F, 0, 0, kNan)));
}

TEST(NonMaxSupression, NeverReadsOutsideThePicture)
{
    // Every combination of what is special, in pictures whose last pixel ends their memory; the sanitizers and
    // valgrind see each place that is read.
    const float specials[] = {kNan, kInfinity, -kInfinity, 0.0F, -0.0F, 0.5F, 1.0F, 1e-40F, 1e30F, -1e30F, 3e9F, -3e9F};
    constexpr int kCount = static_cast<int>(std::size(specials));
    for (const int channels : {3, 4}) {
        cv::Mat picture(kCount, kCount * kCount, CV_32FC(channels), cv::Scalar::all(0));
        for (int i = 0; i < kCount * kCount * kCount; ++i) {
            float* const pixel = picture.ptr<float>(i % kCount) + i / kCount * channels;
            pixel[0] = specials[i % kCount];
            pixel[1] = specials[i / kCount % kCount];
            pixel[2] = specials[i / kCount / kCount];
        }
        expectOn({NonMaxSupression(), {}, thinned}, picture);
    }
}

TEST(NonMaxSupression, RefusesOtherTypes)
{
    const NonMaxSupression filter;
    EXPECT_EQ(filter.resultType(CV_32FC3), CV_32FC1);
    EXPECT_EQ(filter.resultType(CV_32FC4, CV_32F), CV_32FC1);
    expectRefusal([&](cv::Mat& result) { filter.execute(cv::Mat(2, 2, CV_8UC3, cv::Scalar()), result); },
                  "native::NonMaxSupression::execute(): expected 3 or 4 channels of floats, got 3 channels of bytes");
    expectRefusal([&](cv::Mat& result) { filter.execute(cv::Mat(2, 2, CV_32FC1, cv::Scalar()), result); },
                  "native::NonMaxSupression::execute(): expected 3 or 4 channels of floats, got 1 channel of floats");
    expectRefusal([&](cv::Mat& result) { filter.execute(cv::Mat(2, 2, CV_32FC3, cv::Scalar()), result, CV_8U); },
                  "native::NonMaxSupression::execute(): expected a result of floats, got bytes");
}

} // namespace
} // namespace velmor::tests
