// The frame on a real driver, by way of two of its filters.

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include "cvprocess/gpuStdShaders/FlipV.h"
#include "cvprocess/gpuStdShaders/Not.h"
#include "cvprocess/gpuStdShaders/Subtract.h"
#include "glsupport/RectTexture.h"
#include "tests/support/PixelTest.h"

using velmor::cvprocess::Not;
using velmor::cvprocess::Subtract;
using velmor::glsupport::RectTexture;

namespace velmor::tests {
namespace {

constexpr float kSentinel = -7.0f;
constexpr float kRounding = 6e-8f; // of one subtraction on 0..1

/// Textures of one float per texel.
class GpuStdShadersTest : public PixelTest
{
protected:
    static std::vector<float> pattern(unsigned width, unsigned height)
    {
        std::vector<float> texels(static_cast<std::size_t>(width) * height);
        for (unsigned y = 0; y < height; ++y)
            for (unsigned x = 0; x < width; ++x)
                texels[y * width + x] = static_cast<float>(100 * y + x) / 16384.0f;
        return texels;
    }

    static void fill(RectTexture& texture, float value)
    {
        const std::vector<float> texels(static_cast<std::size_t>(texture.width()) * texture.height(), value);
        texture.upload(texels.data());
    }

    static std::vector<float> texelsOf(const RectTexture& texture)
    {
        std::vector<float> texels(static_cast<std::size_t>(texture.width()) * texture.height());
        texture.download(texels.data());
        return texels;
    }
};

TEST_F(GpuStdShadersTest, ASmallerDestinationShowsTheSourceStretchedOverIt)
{
    const auto filter = makeQuietly<Not>(nullptr);
    RectTexture source(64, 48, RectTexture::R32F);
    RectTexture destination(32, 16, RectTexture::R32F);
    source.upload(pattern(64, 48).data());
    fill(destination, kSentinel);
    filter->prepareExecution(source, destination);
    filter->execute();
    const std::vector<float> result = texelsOf(destination);
    // The centre of destination pixel (x, y) shows source place (2x + 1, 3y + 1.5): on a boundary of two columns, in
    // the middle of row 3y + 1. Which column is taken is the driver's.
    for (unsigned y = 0; y < 16; ++y)
        for (unsigned x = 0; x < 32; ++x) {
            const float left = 1.0f - static_cast<float>(100 * (3 * y + 1) + 2 * x) / 16384.0f;
            const float right = left - 1.0f / 16384.0f;
            const float value = result[y * 32 + x];
            EXPECT_TRUE(std::abs(value - left) <= kRounding || std::abs(value - right) <= kRounding)
                << "(" << x << ", " << y << "): " << value;
        }
}

TEST_F(GpuStdShadersTest, ALinearFilterMixesTheTexelsOfAStretchedSource)
{
    RectTexture source(2, 1, RectTexture::R32F), destination(8, 1, RectTexture::R32F);
    const float texels[] = {0.0f, 1.0f};
    source.upload(texels);
    setLinearFilter(source);
    const auto expectMixed = [&](cvprocess::GpuStdShaders& filter, const std::vector<float>& expected) {
        fill(destination, kSentinel);
        filter.prepareExecution(source, destination);
        filter.execute();
        const std::vector<float> result = texelsOf(destination);
        for (std::size_t x = 0; x < expected.size(); ++x)
            EXPECT_NEAR(result[x], expected[x], 1e-6f) << x; // the place, on 0..2, and the mean of two are rounded
    };
    // Pixel x shows the place (x + 0.5) / 4, and the middles of the texels lie at 0.5 and 1.5.
    const float e = 0.125f;
    expectMixed(*makeQuietly<cvprocess::FlipV>(), {0.0f, 0.0f, e, 3 * e, 5 * e, 7 * e, 1.0f, 1.0f});
    expectMixed(*makeQuietly<Not>(nullptr), {1.0f, 1.0f, 7 * e, 5 * e, 3 * e, e, 0.0f, 0.0f});
}

TEST_F(GpuStdShadersTest, SourcesAndDestinationMayBeOfDifferentFormats)
{
    const auto filter = makeQuietly<Subtract>();
    RectTexture bytes(2, 1, RectTexture::RGB8), floats(2, 1, RectTexture::R32F), grey(2, 1, RectTexture::GREY8);
    RectTexture destination(2, 1, RectTexture::RGBA32F);
    const unsigned char colours[] = {255, 51, 0, 0, 102, 204}, greys[] = {51, 153};
    const float values[] = {0.25f, -2.0f};
    bytes.upload(colours);
    floats.upload(values);
    grey.upload(greys);
    const auto expectDistances = [&](RectTexture& first, RectTexture& second, const Texel& left, const Texel& right) {
        const Output output = capture([&] {
            filter->prepareExecution(first, second, destination);
            filter->execute();
        });
        EXPECT_EQ(output.out + output.err, "");
        expectNoGlError("the pass");
        Texel result[2];
        destination.download(result);
        expectNear(result[0], left, 2 * kRounding); // of a byte that is made a float too
        expectNear(result[1], right, 2 * kRounding);
    };
    // Bytes read as (r, g, b, 1), floats as (v, 0, 0, 1) and greys as (v, v, v, 1).
    expectDistances(bytes, floats, {0.75f, 0.2f, 0.0f, 0.0f}, {2.0f, 0.4f, 0.8f, 0.0f});
    expectDistances(floats, bytes, {0.75f, 0.2f, 0.0f, 0.0f}, {2.0f, 0.4f, 0.8f, 0.0f});
    expectDistances(bytes, grey, {0.8f, 0.0f, 0.2f, 0.0f}, {0.6f, 0.2f, 0.2f, 0.0f});
}

TEST_F(GpuStdShadersTest, OfTwoSourcesTheQuadSpansTheFirst)
{
    const auto filter = makeQuietly<Subtract>();
    RectTexture large(6, 6, RectTexture::R32F), small(2, 2, RectTexture::R32F), destination(6, 6, RectTexture::R32F);
    large.upload(pattern(6, 6).data());
    fill(small, 0.0f);
    filter->prepareExecution(large, small, destination);
    filter->execute();
    EXPECT_EQ(texelsOf(destination), pattern(6, 6));
}

TEST_F(GpuStdShadersTest, ADestinationMadeAgainUnderItsNameIsNotAttachedAgain)
{
    // Drivers give a name anew sooner or later. Here it is taken by binding it.
    const GLenum target = GL_TEXTURE_RECTANGLE_ARB;
    constexpr GLuint kName = 1000;
    core::cvdata::TextureGpu destination(kName, 4, 3, GL_FLOAT, GL_RED, GL_R32F, target);
    const auto define = [&] {
        const std::vector<float> texels(12, kSentinel);
        glBindTexture(target, kName);
        glTexImage2D(target, 0, GL_R32F, 4, 3, 0, GL_RED, GL_FLOAT, texels.data());
    };
    RectTexture source(4, 3, RectTexture::R32F), elsewhere(4, 3, RectTexture::R32F);
    fill(source, 0.25f);
    const auto drawn = [&](cvprocess::GpuStdShaders& filter) {
        filter.prepareExecution(source, destination);
        filter.execute();
        std::vector<float> texels(12);
        glBindTexture(target, kName);
        glGetTexImage(target, 0, GL_RED, GL_FLOAT, texels.data());
        return texels;
    };
    const std::vector<float> nothing(12, kSentinel), inverse(12, 0.75f);
    const auto filter = makeQuietly<Not>(nullptr);
    const auto other = makeQuietly<Not>(nullptr);
    define();
    EXPECT_EQ(drawn(*filter), inverse);

    other->prepareExecution(source, elsewhere);
    other->execute(); // its framebuffer is bound: the filter's keeps what is deleted now
    glDeleteTextures(1, &kName);
    define();
    // A filter knows textures by name, and draws into the one that had it before. By design; a new filter helps.
    EXPECT_EQ(drawn(*filter), nothing);
    EXPECT_EQ(drawn(*makeQuietly<Not>(nullptr)), inverse);
    glDeleteTextures(1, &kName);
}

TEST_F(GpuStdShadersTest, NewSizesKeepTheOldQuadUntilTheRegionsAreReset)
{
    const auto filter = makeQuietly<Not>(nullptr);
    RectTexture small(8, 8, RectTexture::R32F);
    RectTexture smallResult(8, 8, RectTexture::R32F);
    filter->prepareExecution(small, smallResult);
    filter->execute();

    RectTexture large(16, 16, RectTexture::R32F);
    RectTexture largeResult(16, 16, RectTexture::R32F);
    const auto covered = [&] {
        fill(largeResult, kSentinel);
        filter->execute();
        const std::vector<float> result = texelsOf(largeResult);
        return result.size() - static_cast<std::size_t>(std::count(result.begin(), result.end(), kSentinel));
    };
    filter->prepareExecution(large, largeResult);
    EXPECT_EQ(covered(), 8u * 8u);
    filter->resetROIs();
    EXPECT_EQ(covered(), 16u * 16u);
}

TEST_F(GpuStdShadersTest, RepeatedPassesFollowTheContentOfTheSources)
{
    const auto filter = makeQuietly<Not>(nullptr);
    RectTexture source(5, 3, RectTexture::R32F);
    RectTexture destination(5, 3, RectTexture::R32F);
    filter->prepareExecution(source, destination);
    for (const float value : {0.0f, 0.25f, 1.0f}) {
        fill(source, value);
        filter->execute();
        EXPECT_EQ(texelsOf(destination), std::vector<float>(15, 1.0f - value));
    }
}

TEST_F(GpuStdShadersTest, TheOutputOfOneFilterIsTheInputOfTheNext)
{
    const auto subtract = makeQuietly<Subtract>();
    const auto invert = makeQuietly<Not>(nullptr);
    RectTexture a(6, 5, RectTexture::R32F), b(6, 5, RectTexture::R32F);
    RectTexture between(6, 5, RectTexture::R32F), result(6, 5, RectTexture::R32F);
    a.upload(pattern(6, 5).data());
    fill(b, 0.0f);
    subtract->prepareExecution(a, b, between);
    invert->prepareExecution(between, result);
    subtract->execute();
    invert->execute();
    std::vector<float> expected = pattern(6, 5);
    for (float& value : expected)
        value = 1.0f - value;
    EXPECT_EQ(texelsOf(result), expected); // multiples of 2^-14: exact
}

TEST_F(GpuStdShadersTest, PreparingAgainPrintsNothingAndRaisesNoError)
{
    const auto filter = makeQuietly<Subtract>();
    RectTexture a(6, 5, RectTexture::RGBA8), b(6, 5, RectTexture::RGBA8), c(6, 5, RectTexture::RGBA8);
    const Output output = capture([&] {
        filter->prepareExecution(a, b, c);
        filter->prepareExecution(a, b, c);
        filter->prepareExecution(b, a, c);
        filter->execute();
    });
    EXPECT_EQ(output.out + output.err, "");
}

TEST_F(GpuStdShadersTest, APassEndsWithTheStatedState)
{
    const auto filter = makeQuietly<Subtract>();
    RectTexture a(6, 5, RectTexture::RGBA8), b(6, 5, RectTexture::RGBA8), c(6, 5, RectTexture::RGBA8);
    glEnable(GL_DEPTH_TEST);
    filter->prepareExecution(a, b, c);
    cvprocess::GlFbo::disable();
    filter->execute();

    const auto integer = [](GLenum name) {
        GLint value = 0;
        glGetIntegerv(name, &value);
        return value;
    };
    GLint viewport[4];
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(std::vector<GLint>(viewport, viewport + 4), (std::vector<GLint>{0, 0, 6, 5}));
    EXPECT_NE(integer(GL_FRAMEBUFFER_BINDING_EXT), 0);
    EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_COLOR_ATTACHMENT1_EXT);
    EXPECT_EQ(integer(GL_CURRENT_PROGRAM), 0);
    EXPECT_EQ(integer(GL_ACTIVE_TEXTURE), GL_TEXTURE1);
    EXPECT_EQ(integer(GL_MATRIX_MODE), GL_MODELVIEW);
    EXPECT_FALSE(glIsEnabled(GL_DEPTH_TEST));
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_RECTANGLE_ARB));
    glActiveTexture(GL_TEXTURE0);
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_RECTANGLE_ARB));
}

TEST_F(GpuStdShadersTest, AFiltersFramebufferGoesWithIt)
{
    RectTexture a(6, 5, RectTexture::RGBA8), b(6, 5, RectTexture::RGBA8), c(6, 5, RectTexture::RGBA8);
    GLint framebuffer = 0;
    {
        const auto filter = makeQuietly<Subtract>();
        filter->prepareExecution(a, b, c);
        filter->execute();
        glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &framebuffer);
        EXPECT_TRUE(glIsFramebufferEXT(static_cast<GLuint>(framebuffer)));
    }
    EXPECT_FALSE(glIsFramebufferEXT(static_cast<GLuint>(framebuffer)));
}

#ifndef NDEBUG
TEST_F(GpuStdShadersTest, ExecuteBeforePreparationIsAnAssertion)
{
    const auto filter = makeQuietly<Not>(nullptr);
    EXPECT_DEATH(filter->execute(),
                 assertion("cvprocess/gpuStdShaders/GpuStdShaders.cpp",
                           "mSrcTex1 && mDstTex1 && \"ERROR: prepareExecution() not called before execute()\""));
}
#endif

} // namespace
} // namespace velmor::tests
