#pragma once

#include "tests/support/NativeTest.h"

#include <algorithm>
#include <array>
#include <limits>

// The Bayer filters in plain loops: bytes by integers, floats by the operations of the shaders in their order.

namespace velmor::tests {

template<typename T>
T rawAt(const cv::Mat& raw, int x, int y)
{
    return raw.at<T>(std::clamp(y, 0, raw.rows - 1), std::clamp(x, 0, raw.cols - 1));
}

/// Red, green and blue in bytes, as fractions of one denominator. A colour that a pixel takes from two neighbours is
/// their average, times the pixel's value through the average along its row.
struct ExactColours
{
    std::array<std::int64_t, 3> numerators;
    std::int64_t denominator;
};

inline ExactColours exactColours(const cv::Mat& raw, int x, int y)
{
    const auto at = [&](int dx, int dy) {
        return std::int64_t{rawAt<uchar>(raw, x + dx, y + dy)};
    };
    const std::int64_t v = at(0, 0);
    const std::int64_t sum = at(-2, 0) + v + at(2, 0);
    const std::int64_t rowPair = at(-1, 0) + at(1, 0);
    const std::int64_t columnPair = at(0, -1) + at(0, 1);
    const std::int64_t diagonalPair = at(-1, -1) + at(1, 1);
    // average of two * v / (sum / 3) = pair * 3 v / (2 sum); without a contrast, pair / 2
    const std::int64_t denominator = sum == 0 ? 2 : 2 * sum;
    const std::int64_t factor = sum == 0 ? 1 : 3 * v;
    const std::int64_t own = v * denominator;
    switch (2 * (y % 2) + x % 2) {
    case 0:
        return {{own, rowPair * factor, diagonalPair * factor}, denominator};
    case 1:
        return {{rowPair * factor, own, columnPair * factor}, denominator};
    case 2:
        return {{columnPair * factor, own, rowPair * factor}, denominator};
    default:
        return {{diagonalPair * factor, rowPair * factor, own}, denominator};
    }
}

/// The integer k with k - 1/2 <= numerator / denominator < k + 1/2, at most 255.
inline uchar toByte(std::int64_t numerator, std::int64_t denominator)
{
    std::int64_t whole = numerator / denominator;
    if (2 * (numerator % denominator) >= denominator)
        ++whole;
    return static_cast<uchar>(std::min<std::int64_t>(whole, 255));
}

inline std::array<float, 3> floatColours(const cv::Mat& raw, int x, int y)
{
    const auto at = [&](int dx, int dy) {
        return rawAt<float>(raw, x + dx, y + dy);
    };
    float alpha = 0.0F, gammaH = 0.0F, gammaV = 0.0F, gammaX = 0.0F;
    for (const int side : {-1, 1}) {
        alpha += at(2 * side, 0);
        gammaH += at(side, 0);
        gammaV += at(0, side);
        gammaX += at(side, side);
    }
    alpha = (alpha + at(0, 0)) * 1.0F / 3.0F;
    gammaH = gammaH * 0.5F;
    gammaV = gammaV * 0.5F;
    gammaX = gammaX * 0.5F;
    const float lambda = alpha == 0.0F ? 0.0F : (at(0, 0) - alpha) / alpha;
    const int site = 2 * (y % 2) + x % 2;
    std::array<float, 3> beta = site == 0   ? std::array<float, 3>{alpha, gammaH, gammaX}
                                : site == 1 ? std::array<float, 3>{gammaH, alpha, gammaV}
                                : site == 2 ? std::array<float, 3>{gammaV, alpha, gammaH}
                                            : std::array<float, 3>{gammaX, gammaH, alpha};
    for (float& colour : beta)
        colour = colour * (1.0F + lambda);
    return beta;
}

/// The loop over all pixels.
/// @param bytes   takes exact colours and where the result belongs
/// @param floats  takes colours of floats and where the result belongs
template<typename Bytes, typename Floats>
PlainLoop bayerLoop(const Bytes& bytes, const Floats& floats)
{
    return [=](const cv::Mat& raw, const cv::Mat&, int type) {
        cv::Mat result(raw.size(), type);
        if (raw.depth() == CV_8U && result.depth() == CV_8U) {
            for (int y = 0; y < raw.rows; ++y)
                for (int x = 0; x < raw.cols; ++x)
                    bytes(exactColours(raw, x, y), result.ptr(y) + x * result.channels());
            return result;
        }
        const cv::Mat rawFloats = raw.depth() == CV_8U ? floatsOf(raw) : raw;
        cv::Mat resultFloats(raw.size(), CV_MAKETYPE(CV_32F, result.channels()));
        for (int y = 0; y < raw.rows; ++y)
            for (int x = 0; x < raw.cols; ++x)
                floats(floatColours(rawFloats, x, y), resultFloats.ptr<float>(y) + x * result.channels());
        return result.depth() == CV_8U ? bytesOf(resultFloats) : resultFloats;
    };
}

/// A picture that has all values of v, of the sum of the two pixels next to it of its colour, and of the sum of the two
/// beside it, but for the last one, which is given. Row v has v in every second column of one parity, and between them
/// 0, 0, 1, 1, 2, 2 ... 255, 255; the columns of the other parity hold two values in turn that add up to the sum.
inline cv::Mat allNeighbours(int sumBeside, int parity)
{
    cv::Mat raw(256, parity + 4 * 512, CV_8UC1);
    for (int v = 0; v < raw.rows; ++v) {
        for (int x = 0; x < raw.cols; ++x) {
            int value = x / 2 % 2 == 0 ? sumBeside / 2 : sumBeside - sumBeside / 2;
            if (x % 2 == parity)
                value = x / 2 % 2 == 0 ? x / 8 : v;
            raw.at<uchar>(v, x) = static_cast<uchar>(value);
        }
    }
    return raw;
}

/// Expects what the loop gives, with the pixels of both colours of a row in all those ways.
inline void expectForAllNeighbours(const NativeCase& expectation, int sumBeside)
{
    for (const int parity : {0, 1})
        expectOn(expectation, allNeighbours(sumBeside, parity));
}

/// A picture with some floats that are no number, infinite, or at the ends of their range.
inline cv::Mat specialFloats()
{
    cv::Mat raw = randomPicture(cv::Size(71, 9), CV_32FC1, 3);
    const float specials[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::denorm_min(),
                              std::numeric_limits<float>::max()};
    for (int i = 0; i < 5; ++i) {
        raw.at<float>(2, 7 + 9 * i) = specials[i];
        raw.at<float>(6, 8 + 9 * i) = specials[i];
    }
    return raw;
}

} // namespace velmor::tests
