#include "glsupport/HeadlessContext.h"

#include "core/cvdata/RectTexture.h"
#include "tests/support/DeathText.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <thread>

using velmor::core::cvdata::RectTexture;
using velmor::glsupport::HeadlessContext;

namespace velmor::tests {
namespace {

GLubyte texelThrough(RectTexture& texture, GLubyte value)
{
    texture.upload(&value);
    GLubyte result = 0;
    texture.download(&result);
    return result;
}

TEST(HeadlessContext, IsCurrentWithGlewInitialised)
{
    const HeadlessContext context;
    EXPECT_TRUE(GLEW_VERSION_2_0);
    EXPECT_TRUE(glewIsSupported("GL_ARB_texture_rectangle"));
    EXPECT_NE(glCreateShader, nullptr);
    GLint profile = 0;
    glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
    EXPECT_EQ(profile, GL_CONTEXT_COMPATIBILITY_PROFILE_BIT);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

TEST(HeadlessContext, DescribesWhatItRunsOn)
{
    const HeadlessContext context;
    EXPECT_EQ(context.description(), std::string(reinterpret_cast<const char*>(glGetString(GL_RENDERER))) +
                                         ", OpenGL " + reinterpret_cast<const char*>(glGetString(GL_VERSION)));
}

TEST(HeadlessContext, SeveralContextsAreUsedInTurn)
{
    HeadlessContext first;
    RectTexture ofFirst(1, 1, RectTexture::GREY8);
    EXPECT_EQ(texelThrough(ofFirst, 11), 11);
    {
        HeadlessContext second;
        RectTexture ofSecond(1, 1, RectTexture::GREY8);
        EXPECT_EQ(texelThrough(ofSecond, 22), 22);
        first.makeCurrent();
        EXPECT_EQ(texelThrough(ofFirst, 33), 33);
        second.makeCurrent();
        EXPECT_EQ(texelThrough(ofSecond, 44), 44);
    }
    first.makeCurrent(); // the display outlives the second context
    EXPECT_EQ(texelThrough(ofFirst, 55), 55);
}

TEST(HeadlessContext, CanBeMadeAgainAndAgain)
{
    for (int i = 0; i < 3; ++i) {
        const HeadlessContext context;
        RectTexture texture(1, 1, RectTexture::GREY8);
        EXPECT_EQ(texelThrough(texture, 7), 7);
    }
}

TEST(HeadlessContext, AContextThatAnotherThreadHoldsIsRefused)
{
    HeadlessContext context;
    std::string message;
    std::thread([&] {
        try {
            context.makeCurrent();
        } catch (const std::runtime_error& error) {
            message = error.what();
        }
    }).join();
    EXPECT_EQ(message.rfind("HeadlessContext::makeCurrent(): eglMakeCurrent: ", 0), 0u) << message;
}

TEST(HeadlessContext, SaysWhatIsMissing)
{
    EXPECT_EXIT(
        {
            setenv("__EGL_VENDOR_LIBRARY_FILENAMES", "/nowhere.json", 1);
            try {
                const HeadlessContext context;
            } catch (const std::runtime_error& error) {
                fputs(error.what(), stderr);
                std::_Exit(3);
            }
        },
        testing::ExitedWithCode(3), "^HeadlessContext::HeadlessContext\\(\\): cannot make an OpenGL context; EGL ");
}

} // namespace
} // namespace velmor::tests
