#include "cvprocess/gpuStdShaders/GlFbo.h"

#include "glsupport/RectTexture.h"
#include "tests/gl/GlTest.h"

#include <sstream>

using velmor::cvprocess::GlFbo;
using velmor::glsupport::RectTexture;

namespace velmor::tests {
namespace {

using GlFboTest = GlTest;

constexpr GLenum kPoint0 = GL_COLOR_ATTACHMENT0_EXT;
constexpr GLenum kPoint1 = GL_COLOR_ATTACHMENT1_EXT;

GLint boundFramebuffer()
{
    GLint framebuffer = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &framebuffer);
    return framebuffer;
}

TEST_F(GlFboTest, AFramebufferExistsFromItsConstructionOnAndNoLonger)
{
    GLint id = 0;
    {
        GlFbo fbo;
        EXPECT_EQ(boundFramebuffer(), 0);
        fbo.bind();
        id = boundFramebuffer();
        EXPECT_TRUE(glIsFramebufferEXT(static_cast<GLuint>(id)));
        GlFbo::disable();
        EXPECT_EQ(boundFramebuffer(), 0);
    }
    EXPECT_FALSE(glIsFramebufferEXT(static_cast<GLuint>(id)));
}

TEST_F(GlFboTest, AttachedTexturesAreFoundAgainAndTakenOff)
{
    GlFbo fbo;
    RectTexture texture(8, 4, RectTexture::RGBA8);
    fbo.attachTexture(texture.getTexTargetType(), texture.getTexId(), kPoint1);
    EXPECT_EQ(fbo.getAttachedType(kPoint1), static_cast<GLenum>(GL_TEXTURE));
    EXPECT_EQ(fbo.getAttachedId(kPoint1), texture.getTexId());
    EXPECT_EQ(fbo.getAttachedMipLevel(kPoint1), 0);
    EXPECT_EQ(fbo.getAttachedCubeFace(kPoint1), 0);
    EXPECT_EQ(fbo.getAttachedZSlice(kPoint1), 0);
    EXPECT_EQ(fbo.getAttachedType(kPoint0), static_cast<GLenum>(GL_NONE));
    EXPECT_EQ(fbo.getAttachedId(kPoint0), 0u);

    fbo.unattach(kPoint1);
    EXPECT_EQ(fbo.getAttachedType(kPoint1), static_cast<GLenum>(GL_NONE));
    fbo.attachTexture(texture.getTexTargetType(), texture.getTexId(), kPoint0);
    fbo.unattachAll();
    EXPECT_EQ(fbo.getAttachedType(kPoint0), static_cast<GLenum>(GL_NONE));
}

TEST_F(GlFboTest, RenderbuffersAndTexturesOfOtherKindsAttach)
{
    GlFbo fbo;
    GLuint buffers[2], cube = 0, volume = 0, line = 0;
    glGenRenderbuffersEXT(2, buffers);
    for (const GLuint buffer : buffers) {
        glBindRenderbufferEXT(GL_RENDERBUFFER_EXT, buffer);
        glRenderbufferStorageEXT(GL_RENDERBUFFER_EXT, GL_RGBA8, 8, 4);
    }
    fbo.attachRenderBuffers(2, buffers);
    EXPECT_EQ(fbo.getAttachedType(kPoint1), static_cast<GLenum>(GL_RENDERBUFFER_EXT));
    EXPECT_EQ(fbo.getAttachedId(kPoint1), buffers[1]);
    EXPECT_TRUE(fbo.isValid());
    fbo.unattachAll();
    EXPECT_EQ(fbo.getAttachedId(kPoint0), 0u);

    glGenTextures(1, &cube);
    glBindTexture(GL_TEXTURE_CUBE_MAP, cube);
    for (GLenum face = GL_TEXTURE_CUBE_MAP_POSITIVE_X; face <= GL_TEXTURE_CUBE_MAP_NEGATIVE_Z; ++face)
        for (const GLint level : {0, 1})
            glTexImage2D(face, level, GL_RGBA8, 4 >> level, 4 >> level, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    fbo.attachTexture(GL_TEXTURE_CUBE_MAP_POSITIVE_Y, cube, kPoint0, 1);
    EXPECT_EQ(fbo.getAttachedCubeFace(kPoint0), GL_TEXTURE_CUBE_MAP_POSITIVE_Y);
    EXPECT_EQ(fbo.getAttachedMipLevel(kPoint0), 1);

    glGenTextures(1, &volume);
    glBindTexture(GL_TEXTURE_3D, volume);
    glTexImage3D(GL_TEXTURE_3D, 0, GL_RGBA8, 4, 4, 3, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    fbo.attachTexture(GL_TEXTURE_3D, volume, kPoint0, 0, 2);
    EXPECT_EQ(fbo.getAttachedZSlice(kPoint0), 2);

    glGenTextures(1, &line);
    glBindTexture(GL_TEXTURE_1D, line);
    glTexImage1D(GL_TEXTURE_1D, 0, GL_RGBA8, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    fbo.attachTexture(GL_TEXTURE_1D, line, kPoint0);
    EXPECT_EQ(fbo.getAttachedId(kPoint0), line);

    fbo.unattachAll();
    const GLuint textures[] = {cube, volume, line};
    glDeleteTextures(3, textures);
    glDeleteRenderbuffersEXT(2, buffers);
}

TEST_F(GlFboTest, AfterAttachTextureThisFramebufferIsBoundUnlessNDEBUG)
{
    GlFbo fbo;
    const RectTexture texture(8, 4, RectTexture::RGBA8);
    fbo.bind();
    const GLint id = boundFramebuffer();
    GlFbo::disable();
    fbo.attachTexture(texture.getTexTargetType(), texture.getTexId());
#ifdef NDEBUG
    EXPECT_EQ(boundFramebuffer(), 0);
#else
    EXPECT_EQ(boundFramebuffer(), id);
#endif
    GlFbo::disable();
    fbo.unattach(kPoint1);
    EXPECT_EQ(boundFramebuffer(), id);
    GlFbo::disable();
    EXPECT_TRUE(fbo.isValid());
    EXPECT_EQ(fbo.getAttachedId(kPoint0), texture.getTexId());
    EXPECT_EQ(boundFramebuffer(), 0);
}

TEST_F(GlFboTest, AFramebufferWithoutAttachmentsIsNotValid)
{
    GlFbo fbo;
    std::ostringstream stream;
    EXPECT_FALSE(fbo.isValid(stream));
    EXPECT_EQ(stream.str(), "CheckFramebufferStatus() ERROR:\n\tGL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT_EXT\n");
}

TEST_F(GlFboTest, UnattachingAnEmptyPointPrintsNothing)
{
    GlFbo fbo;
    const Output output = capture([&] { fbo.unattach(kPoint0); });
    EXPECT_EQ(output.out + output.err, "");
}

TEST_F(GlFboTest, LevelFaceAndSliceOfNothingLeaveAnErrorToTheCaller)
{
    GlFbo fbo;
    const Output output = capture([&] {
        EXPECT_EQ(fbo.getAttachedMipLevel(kPoint0), 0);
        EXPECT_TRUE(GlFbo::checkGlErrors(nullptr));
    });
    EXPECT_EQ(output.err.rfind("Error: invalid", 0), 0u);
}

TEST_F(GlFboTest, CheckGlErrorsNamesTheErrorAndThePlace)
{
    const Output output = capture([] {
        glEnable(0xFFFF);
        EXPECT_TRUE(GlFbo::checkGlErrors("here"));
        EXPECT_FALSE(GlFbo::checkGlErrors("here"));
    });
    EXPECT_EQ(output.err, "Error: invalid enumerant at here\n");
}

TEST_F(GlFboTest, TheDriverOffersTheAttachmentsOfAPass)
{
    EXPECT_GE(GlFbo::getMaxColorAttachments(), 3);
}

} // namespace
} // namespace velmor::tests
