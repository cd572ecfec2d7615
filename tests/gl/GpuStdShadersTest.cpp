// The frame on a real driver, by way of two of its filters.

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include "core/cvdata/RectTexture.h"
#include "cvprocess/gpuStdShaders/Not.h"
#include "cvprocess/gpuStdShaders/Subtract.h"
#include "tests/support/PixelTest.h"

using velmor::core::cvdata::RectTexture;
using velmor::cvprocess::GlFbo;
using velmor::cvprocess::Not;
using velmor::cvprocess::Subtract;

namespace velmor::tests {
namespace {

constexpr float kSentinel = -7.0f;
constexpr float kRounding = 6e-8f; // of one subtraction on 0..1

/// Textures of one float per texel.
class FrameTest : public PixelTest
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

TEST_F(FrameTest, ASmallerDestinationShowsTheSourceStretchedOverIt)
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

TEST_F(FrameTest, NewSizesKeepTheOldQuadUntilTheRegionsAreReset)
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

TEST_F(FrameTest, RepeatedPassesFollowTheContentOfTheSources)
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

TEST_F(FrameTest, TheOutputOfOneFilterIsTheInputOfTheNext)
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

TEST_F(FrameTest, PreparingAgainPrintsNothingAndRaisesNoError)
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

TEST_F(FrameTest, APassEndsWithTheStatedState)
{
    const auto filter = makeQuietly<Subtract>();
    RectTexture a(6, 5, RectTexture::RGBA8), b(6, 5, RectTexture::RGBA8), c(6, 5, RectTexture::RGBA8);
    glEnable(GL_DEPTH_TEST);
    filter->prepareExecution(a, b, c);
    GlFbo::disable();
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

TEST_F(FrameTest, AFiltersFramebufferGoesWithIt)
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
TEST_F(FrameTest, ExecuteBeforePreparationIsAnAssertion)
{
    const auto filter = makeQuietly<Not>(nullptr);
    EXPECT_DEATH(filter->execute(),
                 assertion("cvprocess/gpuStdShaders/GpuStdShaders.cpp",
                           "mSrcTex1 && mDstTex1 && \"ERROR: prepareExecution() not called before execute()\""));
}
#endif

} // namespace
} // namespace velmor::tests
