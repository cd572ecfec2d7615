#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

// The rule of the Bayer filters for one pixel, in plain C++: for processors without vectors.

namespace velmor::native {

/// A row of a raw picture, with the rows around it. All go on beyond their ends, as far as neighbours are looked at.
template<typename T>
struct BayerRow
{
    const T* above;
    const T* here;
    const T* below;
    bool isOdd;
};

/// What the colours of a pixel depend on. A pixel has a colour of its own, one that the pixels at its sides have, and
/// one that it takes from across the rows: from above and below, or from the upper left and the lower right.
template<typename T>
struct BayerSite
{
    T centre;
    T left2, right2; ///< of the pixel's own colour
    T left, right;
    T before, after; ///< across the rows
};

template<typename T>
BayerSite<T> bayerSite(const BayerRow<T>& row, int column)
{
    const bool isOdd = column % 2 != 0;
    const int aside = isOdd == row.isOdd ? 1 : 0; // red and blue pixels have green ones above and below
    return {row.here[column],     row.here[column - 2],      row.here[column + 2],     row.here[column - 1],
            row.here[column + 1], row.above[column - aside], row.below[column + aside]};
}

/// Calls a function with red, green and blue. Even rows are red and green in turn, odd ones green and blue.
template<typename V, typename Function>
auto withColours(bool oddRow, bool oddColumn, V own, V side, V across, const Function& function)
{
    const V first = oddColumn ? side : own;
    const V second = oddColumn ? own : side;
    return oddRow ? function(across, first, second) : function(first, second, across);
}

/// Weights of red, green and blue in grey.
constexpr int32_t kMillionths[3] = {212671, 715160, 72169};
constexpr float kLuminance[3] = {0.212671F, 0.715160F, 0.072169F};

inline uint8_t limited(int64_t value)
{
    return static_cast<uint8_t>(std::min<int64_t>(value, 255));
}

/// The quotient of two numbers that are not negative, rounded half up.
inline int64_t roundedQuotient(int64_t numerator, int64_t denominator)
{
    return (2 * numerator + denominator) / (2 * denominator);
}

/// Calls a function with the numerators of red, green and blue, and with the scale that they have in common, as a
/// numerator and a denominator.
template<typename Function>
auto withFractions(const BayerRow<uint8_t>& row, int column, const Function& function)
{
    const BayerSite<uint8_t> site = bayerSite(row, column);
    const int sum = site.left2 + site.right2 + site.centre;
    // A black neighbourhood scales nothing: half the sum of two neighbours is their average.
    const int scale = sum == 0 ? 1 : site.centre;
    const int divisor = sum == 0 ? 6 : 2 * sum;
    return withColours(row.isOdd, column % 2 != 0, 2 * sum, 3 * (site.left + site.right),
                       3 * (site.before + site.after),
                       [&](int red, int green, int blue) { return function(red, green, blue, scale, divisor); });
}

inline void bayerColour(const BayerRow<uint8_t>& row, int column, uint8_t* out)
{
    withFractions(row, column, [out](int red, int green, int blue, int scale, int divisor) {
        out[0] = limited(roundedQuotient(red * scale, divisor));
        out[1] = limited(roundedQuotient(green * scale, divisor));
        out[2] = limited(roundedQuotient(blue * scale, divisor));
    });
}

inline void bayerGrey(const BayerRow<uint8_t>& row, int column, uint8_t* out)
{
    withFractions(row, column, [out](int red, int green, int blue, int scale, int divisor) {
        const int64_t weighted =
            int64_t{kMillionths[0]} * red + int64_t{kMillionths[1]} * green + int64_t{kMillionths[2]} * blue;
        *out = limited(roundedQuotient(weighted * scale, int64_t{1000000} * divisor));
    });
}

/// Calls a function with red, green and blue. Sums begin at 0, as the shader's do: that matters for the sign of 0.
template<typename Function>
auto withColours(const BayerRow<float>& row, int column, const Function& function)
{
    const BayerSite<float> site = bayerSite(row, column);
    const float average = (0.0F + site.left2 + site.right2 + site.centre) / 3.0F;
    const float scale = 1.0F + (average == 0.0F ? 0.0F : (site.centre - average) / average);
    const float side = (0.0F + site.left + site.right) * 0.5F;
    const float across = (0.0F + site.before + site.after) * 0.5F;
    return withColours(row.isOdd, column % 2 != 0, average * scale, side * scale, across * scale, function);
}

inline void bayerColour(const BayerRow<float>& row, int column, float* out)
{
    withColours(row, column, [out](float red, float green, float blue) {
        out[0] = red;
        out[1] = green;
        out[2] = blue;
    });
}

inline void bayerGrey(const BayerRow<float>& row, int column, float* out)
{
    withColours(row, column, [out](float red, float green, float blue) {
        *out = red * kLuminance[0] + green * kLuminance[1] + blue * kLuminance[2];
    });
}

} // namespace velmor::native
