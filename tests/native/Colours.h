#pragma once

#include "tests/support/NativeTest.h"

#include <limits>
#include <utility>

namespace velmor::tests {

// What the filters of colours are to give, from their definitions.

/// The exact grey in millionths, rounded half up.
inline uchar greyOfBytes(int red, int green, int blue)
{
    return static_cast<uchar>((212671 * red + 715160 * green + 72169 * blue + 500000) / 1000000);
}

/// The shader's dot product.
inline float greyOfFloats(float red, float green, float blue, float alpha)
{
    return ((0.212671F * red + 0.715160F * green) + 0.072169F * blue) + 0.0F * alpha;
}

/// @param red  the channel that is weighted as red: 0 or 2
inline PlainLoop greyLoop(int red = 0)
{
    const int blue = 2 - red;
    return loopOf([=](const uchar* in, const uchar*, uchar* out, int) { *out = greyOfBytes(in[red], in[1], in[blue]); },
                  [=](const float* in, const float*, float* out, int channels) {
                      const float alpha = channels == 4 ? in[3] : 1.0F; // a texture without alpha has 1 there
                      *out = greyOfFloats(in[red], in[1], in[blue], alpha);
                  });
}

/// The whole part of n / d and a half, for n >= 0.
inline uchar roundedQuotient(int n, int d)
{
    return static_cast<uchar>((2 * n + d) / (2 * d));
}

/// Value, saturation and hue, exact and rounded half up. The hue is a fraction, in degrees: hue / range.
inline void hsvOfBytes(int red, int green, int blue, uchar* out)
{
    const int largest = std::max(red, std::max(green, blue));
    const int range = largest - std::min(red, std::min(green, blue));
    int hue = 0;
    if (largest == red)
        hue = 60 * (green - blue);
    else if (largest == green)
        hue = 120 * range + 60 * (blue - red);
    else
        hue = 240 * range + 60 * (red - green);
    if (hue < 0)
        hue += 360 * range;
    out[0] = static_cast<uchar>(largest);
    out[1] = largest == 0 ? uchar{0} : roundedQuotient(255 * range, largest);
    out[2] = range == 0 ? uchar{0} : roundedQuotient(255 * hue, 360 * range);
}

/// The shader's operations in its order.
inline void hsvOfFloats(float red, float green, float blue, float* out)
{
    const auto max = [](float x, float y) {
        return x < y ? y : x;
    };
    const auto min = [](float x, float y) {
        return y < x ? y : x;
    };
    const float largest = max(max(red, green), blue);
    const float range = largest - min(min(red, green), blue);
    float hue = 0.0F;
    if (range == 0.0F)
        hue = 0.0F;
    else if (largest == red)
        hue = 60.0F * (green - blue) / range;
    else if (largest == green)
        hue = 120.0F + 60.0F * (blue - red) / range;
    else
        hue = 240.0F + 60.0F * (red - green) / range;
    if (hue < 0.0F)
        hue += 360.0F;
    float saturation = 0.0F;
    if (largest != 0.0F)
        saturation = range / largest;
    out[0] = largest;
    out[1] = saturation;
    out[2] = hue / 360.0F;
}

/// @param red  the channel that is red: 0 or 2
inline PlainLoop hsvLoop(int red)
{
    const int blue = 2 - red;
    return loopOf([=](const uchar* in, const uchar*, uchar* out, int) { hsvOfBytes(in[red], in[1], in[blue], out); },
                  [=](const float* in, const float*, float* out, int) { hsvOfFloats(in[red], in[1], in[blue], out); });
}

/// Every type that a filter of colours takes.
const std::vector<int> kColourTypes = {CV_8UC3, CV_8UC4, CV_32FC3, CV_32FC4};

/// Expects the exact result of every colour of bytes, and of bytes as floats.
inline void expectOnEveryColour(const native::Filter& filter, const PlainLoop& loop)
{
    cv::Mat colours(256, 256, CV_8UC3), withAlpha(256, 256, CV_8UC4);
    for (int slice = 0; slice < 256 && !testing::Test::HasFailure(); ++slice) {
        for (int y = 0; y < 256; ++y) {
            for (int x = 0; x < 256; ++x) {
                const auto alpha = static_cast<uchar>(x * 31 + y);
                const cv::Vec3b colour(static_cast<uchar>(x), static_cast<uchar>(slice), static_cast<uchar>(y));
                colours.at<cv::Vec3b>(y, x) = colour;
                withAlpha.at<cv::Vec4b>(y, x) = cv::Vec4b(colour[0], colour[1], colour[2], alpha);
            }
        }
        expectOn({filter, {}, loop, {CV_8U, CV_32F}}, colours);
        expectOn({filter, {}, loop, {CV_8U}}, withAlpha);
    }
}

/// Every way in which three floats can be equal, ordered or out of order, 0, infinite or no number.
inline cv::Mat oddColours(int channels)
{
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kLargest = std::numeric_limits<float>::max();
    constexpr float kLeast = std::numeric_limits<float>::denorm_min();
    const std::vector<float> values = {0.0F,   -0.0F,     0.25F,      1.0F,     -0.5F,  3.0F,
                                       kLeast, kInfinity, -kInfinity, kLargest, -1e30F, std::nanf("")};
    const auto count = static_cast<int>(values.size());
    cv::Mat colours(count * count, count * count, CV_32FC(channels));
    for (int y = 0; y < colours.rows; ++y)
        for (int x = 0; x < colours.cols; ++x) {
            const int places[] = {x % count, x / count, y % count, y / count};
            for (int c = 0; c < channels; ++c)
                colours.ptr<float>(y)[x * channels + c] = values[static_cast<std::size_t>(places[c])];
        }
    return colours;
}

inline void expectOnOddColours(const native::Filter& filter, const PlainLoop& loop)
{
    for (const int channels : {3, 4})
        expectOn({filter, {}, loop, {CV_32F, CV_8U}}, oddColours(channels));
}

/// Expects sources and depths that no filter of colours takes to be refused.
/// @param name  of the class
inline void expectRefusals(const native::Filter& filter, const std::string& name)
{
    const auto expectRefused = [&](int type, int depth, const std::string& text) {
        expectRefusal([&](cv::Mat& result) { filter.execute(cv::Mat(2, 3, type, cv::Scalar::all(1)), result, depth); },
                      "native::" + name + "::execute(): expected " + text);
    };
    expectRefused(CV_8UC1, -1, "3 or 4 channels of bytes or floats, got 1 channel of bytes");
    expectRefused(CV_32FC2, -1, "3 or 4 channels of bytes or floats, got 2 channels of floats");
    expectRefused(CV_16UC3, -1, "3 or 4 channels of bytes or floats, got 3 channels of 16-bit unsigned integers");
    expectRefused(CV_8UC3, CV_64F, "a result of bytes or floats, got doubles");
}

/// What a filter gives for one pixel of 3 or 4 bytes or floats.
template<typename T, std::size_t n>
cv::Mat onPixel(const native::Filter& filter, const T (&pixel)[n])
{
    cv::Mat source(1, 1, CV_MAKETYPE(cv::DataType<T>::depth, static_cast<int>(n))), result;
    std::copy(pixel, pixel + n, source.ptr<T>());
    filter.execute(source, result);
    return result;
}

} // namespace velmor::tests
