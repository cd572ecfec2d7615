#include "cvprocess/gpuStdShaders/NonMaxSupression.h"

#include "tests/support/PixelTest.h"

#include <cmath>
#include <random>

using velmor::core::cvdata::Image;
using velmor::glsupport::RectTexture;

namespace velmor::tests {
namespace {

using NonMaxSupression = PixelTest;

/// One product on 0..1.4142, rounded by half a unit in the last place, and the rounding of the factor.
constexpr float kRounding = 2.4e-7f;

/// A texel whose look-ups lie (dx, dy) ahead of it and behind it.
Texel pointing(double magnitude, double dx, double dy)
{
    const auto encoded = [&](double component) {
        return static_cast<float>((component * 1.4142 * magnitude + 1.0) / 2.0);
    };
    return {static_cast<float>(magnitude), encoded(dx), encoded(dy), 1.0f};
}

/// Magnitudes of a few values, so that ties are frequent, some of them zero, with directions to places up to three
/// texels away. Places keep 0.1 texels away from the boundaries between texels: there the rounding of a coordinate,
/// which differs between drivers, would decide which texel is read. The coordinates have an error of 1e-4 at most.
Picture gradients(unsigned width, unsigned height, unsigned seed)
{
    std::mt19937 random(seed);
    const auto below = [&](unsigned count) {
        return static_cast<double>(random() % count);
    };
    const auto component = [&] {
        return below(7) - 3.0 + below(801) / 1000.0 - 0.4;
    };
    Picture picture(width, height);
    for (Texel& texel : picture.texels) {
        const double magnitude = below(9) / 8.0;
        const double dx = component(), dy = component();
        texel = pointing(magnitude, dx, dy);
    }
    return picture;
}

Texel thinned(const Picture& gradient, const Picture&, int x, int y)
{
    const Texel& texel = gradient.clamped(x, y);
    const double magnitude = texel[0];
    double kept = 0.0;
    if (magnitude != 0.0) {
        const double dx = (2.0 * texel[1] - 1.0) / (1.4142 * magnitude);
        const double dy = (2.0 * texel[2] - 1.0) / (1.4142 * magnitude);
        const auto nearest = [&](double aside, double below) {
            return gradient.clamped(static_cast<int>(std::floor(x + 0.5 + aside)),
                                    static_cast<int>(std::floor(y + 0.5 + below)))[0];
        };
        if (nearest(dx, dy) < texel[0] && nearest(-dx, -dy) < texel[0])
            kept = 1.4142 * magnitude;
    }
    const auto value = static_cast<float>(kept);
    return {value, value, value, 0.0f};
}

/// Alpha is not written.
const Reference kThinned = {thinned, kRounding, 3, gradients};

TEST_F(NonMaxSupression, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::NonMaxSupression>(nullptr);
    expectPixels(*filter, false, kThinned);
}

/// The gradient of a photograph, each direction being that of the neighbour that it points to most nearly.
Picture gradientOf(const Image& photo)
{
    const Picture grey = pictureOf(photo);
    Picture result(grey.width, grey.height);
    for (unsigned row = 0; row < grey.height; ++row) {
        for (unsigned column = 0; column < grey.width; ++column) {
            const auto x = static_cast<int>(column), y = static_cast<int>(row);
            const double across = grey.clamped(x + 1, y)[0] - grey.clamped(x - 1, y)[0];
            const double down = grey.clamped(x, y + 1)[0] - grey.clamped(x, y - 1)[0];
            const double larger = std::max(std::abs(across), std::abs(down));
            const auto step = [&](double component) {
                return larger == 0.0 ? 0.0 : std::round(component / larger);
            };
            result.at(column, row) = pointing(std::hypot(across, down), step(across), step(down));
        }
    }
    return result;
}

TEST_F(NonMaxSupression, ThinsTheEdgesOfAPhotograph)
{
    const auto filter = makeQuietly<cvprocess::NonMaxSupression>(nullptr);
    const Picture gradient = gradientOf(photograph(Image::GREYSCALE));
    expectPixels(*filter, kThinned, gradient);
}

TEST_F(NonMaxSupression, KeepsAPeakAndSuppressesTies)
{
    const auto filter = makeQuietly<cvprocess::NonMaxSupression>(nullptr);
    const auto middleOf = [&](double before, double middle, double after) {
        Picture row(3, 1);
        row.at(0, 0) = pointing(before, 1.0, 0.0);
        row.at(1, 0) = pointing(middle, 1.0, 0.0);
        row.at(2, 0) = pointing(after, 1.0, 0.0);
        return run(*filter, row).at(1, 0);
    };
    const float kept = 1.4142f * 0.5f;
    expectNear(middleOf(0.25, 0.5, 0.375), {kept, kept, kept}, kRounding, 3);
    expectNear(middleOf(0.25, 0.5, 0.5), {0.0f, 0.0f, 0.0f}, 0.0f, 3);  // a tie ahead
    expectNear(middleOf(0.5, 0.5, 0.25), {0.0f, 0.0f, 0.0f}, 0.0f, 3);  // a tie behind
    expectNear(middleOf(0.25, 0.5, 0.75), {0.0f, 0.0f, 0.0f}, 0.0f, 3); // a larger one ahead
    expectNear(middleOf(0.75, 0.5, 0.25), {0.0f, 0.0f, 0.0f}, 0.0f, 3); // a larger one behind
}

TEST_F(NonMaxSupression, LooksAsFarAsTheDirectionDividedByAllDigitsOfTheFactor)
{
    // Six thousand texels away, one in the last digit of 1.4142 moves a look-up by 0.42 of a texel, and so one of the
    // two below out of its texel. Rounding moves it by 2e-3.
    const auto filter = makeQuietly<cvprocess::NonMaxSupression>(nullptr);
    constexpr unsigned kSeen = 6001;
    const auto keptWithLargerAt = [&](double distance, std::initializer_list<unsigned> places) {
        Picture row(kSeen + 3, 1);
        row.at(1, 0) = pointing(0.5, distance, 0.0); // what lies behind is the black texel before it
        for (const unsigned place : places)
            row.at(place, 0)[0] = 0.75f;
        return run(*filter, row).at(1, 0)[0];
    };
    for (const double distance : {5999.7, 6000.3}) { // 0.2 from either end of the texel seen
        SCOPED_TRACE(distance);
        EXPECT_EQ(keptWithLargerAt(distance, {kSeen}), 0.0f);
        EXPECT_NEAR(keptWithLargerAt(distance, {kSeen - 1, kSeen + 1}), 0.70710f, kRounding);
    }
}

TEST_F(NonMaxSupression, KeepsAPeakOfAnyMagnitudeButZero)
{
    const auto filter = makeQuietly<cvprocess::NonMaxSupression>(nullptr);
    for (const double magnitude : {0.5, 0x1p-12, 0x1p-18, -0.5}) {
        SCOPED_TRACE(magnitude);
        Picture row(3, 1, {-1.0f, 0.5f, 0.5f, 1.0f}); // below every peak
        row.at(1, 0) = pointing(magnitude, 1.0, 0.0);
        EXPECT_NEAR(run(*filter, row).at(1, 0)[0], 1.4142 * magnitude, kRounding * std::abs(magnitude));
    }
}

TEST_F(NonMaxSupression, FollowsTheModesOfItsSource)
{
    const auto filter = makeQuietly<cvprocess::NonMaxSupression>(nullptr);
    expectBorderColour(*filter, kThinned);

    // A quarter of a texel beyond its neighbour a look-up gives three quarters of that and one of the next.
    const auto middleOf = [&](float beyondLast, float last, float next, float beyondNext) {
        Picture row(5, 1);
        const float magnitudes[] = {beyondLast, last, 0.5f, next, beyondNext};
        for (unsigned x = 0; x < 5; ++x)
            row.at(x, 0) = pointing(magnitudes[x], 1.25, 0.0);
        RectTexture source(5, 1, RectTexture::RGBA32F), destination(5, 1, RectTexture::RGBA32F);
        source.upload(row.texels.data());
        setLinearFilter(source);
        filter->resetROIs();
        return run(*filter, source, destination).at(2, 0)[0];
    };
    EXPECT_NEAR(middleOf(0.0f, 0.0f, 0.625f, 0.0f), 0.70710f, kRounding); // 0.469 ahead
    EXPECT_NEAR(middleOf(0.0f, 0.625f, 0.0f, 0.0f), 0.70710f, kRounding); // 0.469 behind
    EXPECT_EQ(middleOf(0.0f, 0.0f, 0.375f, 1.0f), 0.0f);                  // 0.531 ahead
    EXPECT_EQ(middleOf(1.0f, 0.375f, 0.0f, 0.0f), 0.0f);                  // 0.531 behind
}

TEST_F(NonMaxSupression, LooksAlongTheDirectionAlone)
{
    const auto filter = makeQuietly<cvprocess::NonMaxSupression>(nullptr);
    Picture lying(3, 3), standing(3, 3); // a row, and a column, of equal magnitudes
    for (unsigned i = 0; i < 3; ++i) {
        lying.at(i, 1) = pointing(0.5, 0.0, 1.0);
        standing.at(1, i) = pointing(0.5, 1.0, 0.0);
    }
    const float kept = 1.4142f * 0.5f;
    for (unsigned i = 0; i < 3; ++i) {
        expectNear(run(*filter, lying).at(i, 1), {kept, kept, kept}, kRounding, 3);
        expectNear(run(*filter, standing).at(1, i), {kept, kept, kept}, kRounding, 3);
    }
}

TEST_F(NonMaxSupression, OfZeroIsZeroWhateverTheDirection)
{
    const auto filter = makeQuietly<cvprocess::NonMaxSupression>(nullptr);
    for (const float component : {0.0f, 0.5f, 1.0f})
        expectNear(runOne(*filter, {0.0f, component, component, 1.0f}), {0.0f, 0.0f, 0.0f}, 0.0f, 3);
}

TEST_F(NonMaxSupression, IntoBytesClamps)
{
    const auto filter = makeQuietly<cvprocess::NonMaxSupression>(nullptr);
    Picture row(3, 1);
    row.at(1, 0) = pointing(1.0, 1.0, 0.0);
    RectTexture source(3, 1, RectTexture::RGBA32F), floats(3, 1, RectTexture::RGBA32F), bytes(3, 1, RectTexture::RGBA8);
    source.upload(row.texels.data());
    expectNear(run(*filter, source, floats).at(1, 0), {1.4142f, 1.4142f, 1.4142f}, kRounding, 3);
    expectNear(run(*filter, source, bytes).at(1, 0), {1.0f, 1.0f, 1.0f}, 0.0f, 3);
}

} // namespace
} // namespace velmor::tests
