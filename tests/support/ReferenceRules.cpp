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

void expectFaintColours(const std::function<Texel(float red, float green, float blue)>& run, float tolerance)
{
    // Powers of 2, so that sums and differences are exact. Neither quotient depends on the unit.
    for (const float unit : {0x1p-3f, 0x1p-12f, 0x1p-24f, 0x1p-60f, 0x1p-100f}) {
        SCOPED_TRACE(unit);
        const auto expectColour = [&](float red, float green, float blue, float hue) {
            const Texel result = run(red * unit, green * unit, blue * unit);
            EXPECT_EQ(result[0], 4 * unit);
            expectNear(result, {4 * unit, 0.75f, hue, 1.0f}, tolerance);
        };
        expectColour(4, 2, 1, 20.0f / 360.0f);
        expectColour(1, 4, 2, 140.0f / 360.0f);
        expectColour(2, 1, 4, 260.0f / 360.0f);
    }
    for (const float range : {0x1p-2f, 0x1p-12f, 0x1p-22f}) {
        SCOPED_TRACE(range);
        const float larger = 0.5f + range;
        expectNear(run(0.5f, larger, 0.5f), {larger, range / larger, 120.0f / 360.0f, 1.0f}, tolerance);
        expectNear(run(0.5f, 0.5f, larger), {larger, range / larger, 240.0f / 360.0f, 1.0f}, tolerance);
    }
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
