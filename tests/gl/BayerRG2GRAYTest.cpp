#include "cvprocess/gpuStdShaders/BayerRG2GRAY.h"

#include "tests/support/ReferenceRules.h"

using velmor::core::cvdata::Image;
using velmor::glsupport::RectTexture;

namespace velmor::tests {
namespace {

using BayerRG2GRAY = PixelTest;

constexpr float kRounding = 2e-6f; // that of the colours, as for BayerRG2RGB: the weights of the sum add up to 1

/// Only red is written.
const Reference kGrey = {
    [](const Picture& mosaic, const Picture&, int x, int y) { return luminance(demosaiced(mosaic, x, y), {}); },
    kRounding, 1};

TEST_F(BayerRG2GRAY, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2GRAY>();
    expectPixels(*filter, false, kGrey);
}

TEST_F(BayerRG2GRAY, OfAFrame)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2GRAY>();
    expectFrame(*filter, kGrey, mosaicOf(photograph(Image::RGB)));
}

TEST_F(BayerRG2GRAY, IntoTexturesOfOneChannel)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2GRAY>();
    const Image mosaic = mosaicOf(photograph(Image::RGB));
    RectTexture source(mosaic.width(), mosaic.height(), RectTexture::GREY8);
    RectTexture floats(mosaic.width(), mosaic.height(), RectTexture::R32F);
    RectTexture bytes(mosaic.width(), mosaic.height(), RectTexture::GREY8);
    source.upload(mosaic);
    const Picture raw = pictureOf(mosaic);
    const Picture ofFloats = run(*filter, source, floats);
    const Picture ofBytes = run(*filter, source, bytes);
    for (unsigned y = 0; y < raw.height; y += 5) {
        for (unsigned x = 0; x < raw.width; x += 3) {
            const float grey = kGrey.rule(raw, raw, static_cast<int>(x), static_cast<int>(y))[0];
            EXPECT_NEAR(ofFloats.at(x, y)[0], grey, kRounding) << x << ", " << y;
            EXPECT_NEAR(ofBytes.at(x, y)[0], std::min(grey, 1.0f), 0.5f / 255.0f + kRounding) << x << ", " << y;
        }
    }
}

TEST_F(BayerRG2GRAY, FollowsTheModesOfItsSource)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2GRAY>();
    expectBorderColour(*filter, kGrey);
    expectLinearFilter(*filter, kGrey);
}

TEST_F(BayerRG2GRAY, OfAConstantPictureIsThatConstant)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2GRAY>();
    const Picture result = run(*filter, Picture(7, 6, {0.5f, 0.9f, 0.9f, 0.9f}));
    for (const Texel& texel : result.texels)
        EXPECT_NEAR(texel[0], 0.5f, kRounding);
}

TEST_F(BayerRG2GRAY, OfBlackIsBlack)
{
    const auto filter = makeQuietly<cvprocess::BayerRG2GRAY>();
    const Picture result = run(*filter, Picture(6, 6));
    for (const Texel& texel : result.texels)
        EXPECT_EQ(texel[0], 0.0f);
}

} // namespace
} // namespace velmor::tests
