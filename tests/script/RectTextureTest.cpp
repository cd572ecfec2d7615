// What no driver can be made to do: refusing textures that it announced, and unusual limits.

#include "core/cvdata/RectTexture.h"

#include "tests/script/ScriptTest.h"

#include <stdexcept>

using velmor::core::cvdata::RectTexture;

namespace velmor::tests {
namespace {

std::string errorOf(unsigned width, unsigned height)
{
    try {
        const RectTexture texture(width, height, RectTexture::RGB8);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no error";
}

TEST_F(ScriptTest, RectTextureOwnsItsTexture)
{
    {
        const RectTexture texture(5, 4, RectTexture::RGB8);
        EXPECT_EQ(gl.textures, std::set<GLuint>{texture.getTexId()});
    }
    EXPECT_TRUE(gl.textures.empty());
}

TEST_F(ScriptTest, RectTextureNamesTheLimitThatASizeExceeds)
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

TEST_F(ScriptTest, RectTextureThatTheDriverHasNoMemoryForIsDeletedAndReported)
{
    gl.refusesTextures = true;
    EXPECT_EQ(errorOf(5, 4), "RectTexture::RectTexture(): cannot make a rectangle texture of 5 x 4 texels RGB8: "
                             "the driver has no memory for it");
    EXPECT_TRUE(gl.textures.empty());
}

TEST_F(ScriptTest, RectTextureLeavesTheErrorQueueToItsOwner)
{
    gl.errors = {GL_INVALID_ENUM};
    const RectTexture texture(5, 4, RectTexture::RGB8);
    EXPECT_EQ(gl.errors.size(), 1u);
    EXPECT_EQ(gl.takeOnly({"glGetError"}), Calls{});
}

} // namespace
} // namespace velmor::tests
