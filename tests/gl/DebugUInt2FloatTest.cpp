#include "cvprocess/gpuStdShaders/DebugUInt2Float.h"

#include "tests/support/PixelTest.h"

#include <cmath>
#include <random>

using velmor::core::cvdata::Image;
using velmor::glsupport::RectTexture;

namespace velmor::tests {
namespace {

/// Of the value: a conversion to float rounds by half a unit in the last place, a quotient by three at most.
constexpr double kRelativeRounding = 4e-7;

/// Integers of all sizes up to the largest, with the ends of the ranges of 8, 16 and 32 bits well represented.
template<typename Value>
std::vector<Value> randomValues(std::size_t count, unsigned seed)
{
    const std::uint32_t corners[] = {0, 1, 255, 256, 32767, 32768, 65534, 65535, 65536, 131070, 4294967295u};
    std::mt19937 random(seed);
    std::vector<Value> values(count);
    for (Value& value : values)
        value = static_cast<Value>(random() % 2 ? corners[random() % std::size(corners)] : random() >> random() % 32);
    return values;
}

class DebugUInt2Float : public PixelTest
{
protected:
    /// Runs the filter on random integers and compares.
    /// @param components  of a texel: 1 or 4
    template<typename Value>
    void expectQuotients(RectTexture::Format format, std::size_t components)
    {
        const auto filter = makeQuietly<cvprocess::DebugUInt2Float>();
        const unsigned sizes[][2] = {{1, 1}, {1, 7}, {7, 1}, {31, 37}, {64, 48}, {16384, 1}, {1, 16384}};
        unsigned seed = 1;
        for (const auto& [width, height] : sizes) {
            SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
            const auto values = randomValues<Value>(components * width * height, seed++);
            RectTexture source(width, height, format);
            RectTexture destination(width, height, RectTexture::RGBA32F);
            source.upload(values.data());
            filter->resetROIs();
            const Picture result = run(*filter, source, destination);
            for (std::size_t i = 0; i < result.texels.size(); ++i) {
                for (std::size_t channel = 0; channel < 4; ++channel) {
                    // Channels that a texture lacks read as 0, alpha as the integer 1.
                    const double integer = channel < components ? values[components * i + channel] : channel == 3;
                    EXPECT_NEAR(result.texels[i][channel], integer / 65535.0, kRelativeRounding * integer / 65535.0)
                        << "texel " << i << ", channel " << channel;
                }
            }
        }
    }
};

TEST_F(DebugUInt2Float, DividesByTheLargestOf16BitsWhateverTheFormat)
{
    expectQuotients<std::uint16_t>(RectTexture::R16UI, 1);
    expectQuotients<std::uint16_t>(RectTexture::RGBA16UI, 4);
    expectQuotients<std::uint32_t>(RectTexture::R32UI, 1);
    expectQuotients<std::uint32_t>(RectTexture::RGBA32UI, 4);
}

TEST_F(DebugUInt2Float, KeepsValuesAboveOneInFloatsAndClampsThemInBytes)
{
    const std::uint32_t texel[] = {65535, 0, 32768, 131070};
    RectTexture source(1, 1, RectTexture::RGBA32UI);
    source.upload(texel);
    const auto seenIn = [&](RectTexture::Format format) {
        RectTexture destination(1, 1, format);
        return run(*makeQuietly<cvprocess::DebugUInt2Float>(), source, destination).at(0, 0);
    };
    const auto rounding = static_cast<float>(2 * kRelativeRounding);
    expectNear(seenIn(RectTexture::RGBA32F), {1.0f, 0.0f, 0.5000076f, 2.0f}, rounding);
    expectNear(seenIn(RectTexture::RGBA8), {1.0f, 0.0f, 128.0f / 255.0f, 1.0f}, 0.0f); // 127.502 rounds to 128
}

TEST_F(DebugUInt2Float, ShowsAFrameOf16Bits)
{
    const auto filter = makeQuietly<cvprocess::DebugUInt2Float>();
    const Image photo = photograph(Image::GREYSCALE);
    const Picture grey = pictureOf(photo);
    std::vector<std::uint16_t> values(grey.texels.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<std::uint16_t>(std::lround(257.0f * 255.0f * grey.texels[i][0])); // 255 becomes 65535
    RectTexture source(grey.width, grey.height, RectTexture::R16UI);
    RectTexture destination(grey.width, grey.height, RectTexture::RGBA32F);
    source.upload(values.data());
    const Picture result = run(*filter, source, destination);
    for (std::size_t i = 0; i < values.size(); ++i)
        ASSERT_NEAR(result.texels[i][0], grey.texels[i][0], kRelativeRounding) << "texel " << i;
}

TEST_F(DebugUInt2Float, DrawsIntoRegionsAlone)
{
    const auto filter = makeQuietly<cvprocess::DebugUInt2Float>();
    const std::vector<std::uint16_t> values(8 * 6, 65535);
    RectTexture source(8, 6, RectTexture::R16UI), destination(8, 6, RectTexture::RGBA32F);
    source.upload(values.data());
    filter->addROI(2, 1, 5, 4);
    const Picture result = run(*filter, source, destination);
    for (unsigned y = 0; y < 6; ++y)
        for (unsigned x = 0; x < 8; ++x)
            EXPECT_EQ(result.at(x, y)[0] == 1.0f, 2 <= x && x < 5 && 1 <= y && y < 4) << x << ", " << y;
}

} // namespace
} // namespace velmor::tests
