// What no driver can be made to do: refusing textures that it announced, and unusual limits.

#include "glsupport/RectTexture.h"

#include "tests/script/ScriptTest.h"

#include <stdexcept>

using velmor::glsupport::RectTexture;

namespace velmor::tests {
namespace {

using RectTextureScript = ScriptTest;

std::string errorOf(unsigned width, unsigned height)
{
    try {
        const RectTexture texture(width, height, RectTexture::RGB8);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no error";
}

TEST_F(RectTextureScript, RectTextureOwnsItsTexture)
{
    {
        const RectTexture texture(5, 4, RectTexture::RGB8);
        EXPECT_EQ(gl.textures, std::set<GLuint>{texture.getTexId()});
    }
    EXPECT_TRUE(gl.textures.empty());
}

TEST_F(RectTextureScript, RectTextureNamesTheLimitThatASizeExceeds)
{
    gl.maxRectangleTextureSize = 100;
    EXPECT_EQ(errorOf(100, 100), "no error");
    EXPECT_EQ(errorOf(101, 7), "RectTexture::RectTexture(): cannot make a rectangle texture of 101 x 7 texels RGB8: "
                               "this driver takes sides of 1 to 100 texels");
    EXPECT_EQ(errorOf(7, 101), "RectTexture::RectTexture(): cannot make a rectangle texture of 7 x 101 texels RGB8: "
                               "this driver takes sides of 1 to 100 texels");
    EXPECT_EQ(errorOf(0, 7), "RectTexture::RectTexture(): cannot make a rectangle texture of 0 x 7 texels RGB8: "
                             "this driver takes sides of 1 to 100 texels");
}

TEST_F(RectTextureScript, RectTextureThatTheDriverHasNoMemoryForIsDeletedAndReported)
{
    gl.refusesTextures = true;
    EXPECT_EQ(errorOf(5, 4), "RectTexture::RectTexture(): cannot make a rectangle texture of 5 x 4 texels RGB8: "
                             "the driver has no memory for it");
    EXPECT_TRUE(gl.textures.empty());
}

/// The internal format of a GREY8 texture, and its swizzle.
Calls greyCalls(ScriptedGl& gl)
{
    const RectTexture texture(5, 4, RectTexture::GREY8);
    Calls calls;
    for (const std::string& call : gl.takeOnly({"glTexImage2D", "glTexParameteriv"}))
        if (call.find("PROXY") == std::string::npos)
            calls.push_back(call);
    return calls;
}

TEST_F(RectTextureScript, RectTextureOfGreyIsRedWhereShadersCanReadItAsGrey)
{
    const Calls red = {"glTexImage2D(GL_TEXTURE_RECTANGLE_ARB, 0, " + std::to_string(GL_R8) +
                           ", 5, 4, 0, GL_RED, GL_UNSIGNED_BYTE, data)",
                       "glTexParameteriv(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_SWIZZLE_RGBA, " + std::to_string(GL_RED) +
                           ", " + std::to_string(GL_RED) + ", " + std::to_string(GL_RED) + ", " +
                           std::to_string(GL_ONE) + ")"};
    const Calls luminance = {"glTexImage2D(GL_TEXTURE_RECTANGLE_ARB, 0, " + std::to_string(GL_LUMINANCE8) +
                             ", 5, 4, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE, data)"};
    struct
    {
        GLboolean version30, redTextures, version33, arbSwizzle, extSwizzle;
        const Calls& expected;
    } const drivers[] = {{1, 0, 1, 0, 0, red},       {1, 0, 0, 1, 0, red},       {0, 1, 0, 0, 1, red},
                         {0, 0, 1, 1, 1, luminance}, {1, 1, 0, 0, 0, luminance}, {0, 0, 0, 0, 0, luminance}};
    for (const auto& driver : drivers) {
        __GLEW_VERSION_3_0 = driver.version30;
        __GLEW_ARB_texture_rg = driver.redTextures;
        __GLEW_VERSION_3_3 = driver.version33;
        __GLEW_ARB_texture_swizzle = driver.arbSwizzle;
        __GLEW_EXT_texture_swizzle = driver.extSwizzle;
        EXPECT_EQ(greyCalls(gl), driver.expected);
    }
    __GLEW_VERSION_3_0 = __GLEW_ARB_texture_rg = __GLEW_VERSION_3_3 = GL_TRUE;
    __GLEW_ARB_texture_swizzle = __GLEW_EXT_texture_swizzle = GL_TRUE;
}

TEST_F(RectTextureScript, RectTextureLeavesTheErrorQueueToItsOwner)
{
    gl.errors = {GL_INVALID_ENUM};
    const RectTexture texture(5, 4, RectTexture::RGB8);
    EXPECT_EQ(gl.errors.size(), 1u);
    EXPECT_EQ(gl.takeOnly({"glGetError"}), Calls{});
}

} // namespace
} // namespace velmor::tests
