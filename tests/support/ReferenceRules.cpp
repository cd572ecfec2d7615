#include "tests/support/ReferenceRules.h"

#include <algorithm>

namespace velmor::tests {

using core::cvdata::Image;

Texel luminance(const Texel& colour, const Texel&)
{
    const double grey = 0.212671 * colour[0] + 0.715160 * colour[1] + 0.072169 * colour[2];
    const auto rounded = static_cast<float>(grey);
    return {rounded, rounded, rounded, rounded};
}

Texel hsv(double red, double green, double blue)
{
    const double largest = std::max({red, green, blue});
    const double range = largest - std::min({red, green, blue});
    double hue = 0.0;
    if (range > 0.0) {
        // Each colour has its third of the circle; of equal ones the first counts.
        if (red == largest)
            hue = (green - blue) / range;
        else if (green == largest)
            hue = 2.0 + (blue - red) / range;
        else
            hue = 4.0 + (red - green) / range;
        if (hue < 0.0)
            hue += 6.0;
    }
    const double saturation = largest > 0.0 ? range / largest : 0.0;
    return {static_cast<float>(largest), static_cast<float>(saturation), static_cast<float>(hue / 6.0), 1.0f};
}

Texel demosaiced(const Picture& mosaic, int x, int y)
{
    const auto raw = [&](int dx, int dy) -> double {
        return mosaic.clamped(x + dx, y + dy)[0];
    };
    const double own = (raw(-2, 0) + raw(0, 0) + raw(2, 0)) / 3.0;
    const double row = (raw(-1, 0) + raw(1, 0)) / 2.0;
    const double column = (raw(0, -1) + raw(0, 1)) / 2.0;
    const double diagonal = (raw(-1, -1) + raw(1, 1)) / 2.0;
    const double scale = own == 0.0 ? 1.0 : raw(0, 0) / own;

    const bool evenRow = y % 2 == 0, evenColumn = x % 2 == 0;
    std::array<double, 3> colour = {};
    if (evenRow && evenColumn)
        colour = {own, row, diagonal};
    else if (evenRow)
        colour = {row, own, column};
    else if (evenColumn)
        colour = {column, own, row};
    else
        colour = {diagonal, row, own};

    Texel result = {};
    for (std::size_t i = 0; i < 3; ++i)
        result[i] = static_cast<float>(scale * colour[i]);
    return result;
}

Image mosaicOf(const Image& colours)
{
    Image mosaic(colours.width(), colours.height(), Image::GREYSCALE);
    for (unsigned y = 0; y < colours.height(); ++y) {
        const unsigned char* const from =
            colours.imageBuffer() + static_cast<std::size_t>(y) * colours.allocatedWidth();
        unsigned char* const to = mosaic.imageBuffer() + static_cast<std::size_t>(y) * mosaic.allocatedWidth();
        for (unsigned x = 0; x < colours.width(); ++x)
            to[x] = from[3 * x + x % 2 + y % 2]; // red, green / green, blue
    }
    return mosaic;
}

Texel gain(const Texel& first, const Texel& second)
{
    Texel difference;
    for (std::size_t i = 0; i < difference.size(); ++i)
        difference[i] = second[i] - first[i];
    const bool lost = std::any_of(difference.begin(), difference.end(), [](float channel) { return channel < 0.0f; });
    return lost ? Texel{} : difference;
}

Bytes gainOfBytes(const Bytes& first, const Bytes& second)
{
    const bool lost = second[0] < first[0] || second[1] < first[1] || second[2] < first[2];
    return lost ? Bytes{} : perByte([](int a, int b) { return b - a; })(first, second);
}

} // namespace velmor::tests
