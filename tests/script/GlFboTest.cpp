#include "cvprocess/gpuStdShaders/GlFbo.h"

#include "tests/script/PassCalls.h"

#include <sstream>

using velmor::cvprocess::GlFbo;

namespace velmor::tests {
namespace {

using GlFboOnAFreshContext = ScriptTest;

constexpr GLenum kPoint0 = GL_COLOR_ATTACHMENT0_EXT;
constexpr GLenum kPoint1 = GL_COLOR_ATTACHMENT1_EXT;

const char* const kTextureWarning = "GlFbo::AttachTexture PERFORMANCE WARNING:\n"
                                    "\tRedundant bind of texture (id = 7).\n"
                                    "\tHINT : Compile with -DNDEBUG to remove this warning.\n";
const char* const kRenderbufferWarning = "GlFbo::AttachRenderBuffer PERFORMANCE WARNING:\n"
                                         "\tRedundant bind of Renderbuffer (id = 7)\n"
                                         "\tHINT : Compile with -DNDEBUG to remove this warning.\n";

std::string queried(const std::string& parameter, const std::string& point = "GL_COLOR_ATTACHMENT0_EXT")
{
    return "glGetFramebufferAttachmentParameterivEXT(GL_FRAMEBUFFER_EXT, " + point + ", GL_FRAMEBUFFER_ATTACHMENT_" +
           parameter + "_EXT)";
}

/// Framebuffer 1, with the application's framebuffer 55 bound and nothing recorded yet.
class GlFboScript : public ScriptTest
{
protected:
    void SetUp() override
    {
        ScriptTest::SetUp();
        fbo = std::make_unique<GlFbo>();
        gl.framebufferBinding = 55;
        gl.take();
    }

    /// The redundancy check that builds with assertions make while the framebuffer is bound already.
    static Calls redundancyCheck()
    {
#ifdef NDEBUG
        return {};
#else
        return {kReadBinding, queried("OBJECT_NAME")};
#endif
    }

    /// How a guarded operation with a check inside ends: with the check, the saved binding is this framebuffer's own.
    static Calls endOfAttach()
    {
#ifdef NDEBUG
        return {bound(55)};
#else
        return {};
#endif
    }

    std::unique_ptr<GlFbo> fbo;
};

TEST_F(GlFboOnAFreshContext, GlFboIsGeneratedAndBoundOnceWithTheOldBindingRestored)
{
    gl.framebufferBinding = 55;
    const GlFbo fbo;
    EXPECT_EQ(gl.take(), (Calls{"glGenFramebuffersEXT(1)", kReadBinding, bound(1), bound(55)}));
}

TEST_F(GlFboScript, DestructionDeletesTheFramebufferAlone)
{
    fbo->attachTexture(GL_TEXTURE_RECTANGLE_ARB, 7);
    gl.take();
    fbo.reset();
    EXPECT_EQ(gl.take(), Calls{"glDeleteFramebuffersEXT(1, 1)"});
    EXPECT_TRUE(gl.framebuffers.empty());
}

TEST_F(GlFboScript, BindAndDisableAreUnguarded)
{
    fbo->bind();
    GlFbo::disable();
    EXPECT_EQ(gl.take(), (Calls{bound(1), bound(0)}));
}

TEST_F(GlFboScript, AttachTextureChecksForRedundancyAndStaysBoundUnlessNDEBUG)
{
    const Output output = capture([&] { fbo->attachTexture(GL_TEXTURE_RECTANGLE_ARB, 7, kPoint0, 0, 0); });
    EXPECT_EQ(gl.take(), Calls({kReadBinding, bound(1)}) + redundancyCheck() +
                             Calls{"glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, "
                                   "GL_TEXTURE_RECTANGLE_ARB, 7, 0)"} +
                             endOfAttach());
#ifdef NDEBUG
    EXPECT_EQ(gl.framebufferBinding, 55);
#else
    EXPECT_EQ(gl.framebufferBinding, 1);
#endif
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "");
}

TEST_F(GlFboScript, AttachTextureDefaultsToTheFirstColourAttachmentLevel0Slice0)
{
    fbo->attachTexture(GL_TEXTURE_3D, 7);
    EXPECT_EQ(gl.takeOnly({"glFramebufferTexture3DEXT"}),
              Calls{"glFramebufferTexture3DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_3D, 7, 0, 0)"});
}

TEST_F(GlFboScript, AttachTextureChoosesTheCallByTarget)
{
    fbo->attachTexture(GL_TEXTURE_1D, 7, kPoint0, 3, 4);
    fbo->attachTexture(GL_TEXTURE_2D, 8, kPoint0, 3, 4);
    fbo->attachTexture(GL_TEXTURE_3D, 9, kPoint0, 3, 4);
    fbo->attachTexture(GL_TEXTURE_CUBE_MAP_POSITIVE_X, 10, kPoint0, 3, 4);
    fbo->attachTexture(GL_TEXTURE_RECTANGLE_ARB, 11, kPoint0, 3, 4);
    EXPECT_EQ(
        gl.takeOnly({"glFramebufferTexture1DEXT", "glFramebufferTexture2DEXT", "glFramebufferTexture3DEXT"}),
        (Calls{
            "glFramebufferTexture1DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_1D, 7, 3)",
            "glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_2D, 8, 3)",
            "glFramebufferTexture3DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_3D, 9, 3, 4)",
            "glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_CUBE_MAP_POSITIVE_X, "
            "10, 3)",
            "glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_RECTANGLE_ARB, 11, 3)",
        }));
}

TEST_F(GlFboScript, AttachingTheSameTextureAgainWarnsOnceAndAttachesNothing)
{
    fbo->attachTexture(GL_TEXTURE_RECTANGLE_ARB, 7);
    gl.take();
    const Output output = capture([&] { fbo->attachTexture(GL_TEXTURE_RECTANGLE_ARB, 7); });
    const Calls attached = gl.takeOnly({"glFramebufferTexture2DEXT"});
#ifdef NDEBUG
    EXPECT_EQ(attached.size(), 1u);
    EXPECT_EQ(output.err, "");
#else
    EXPECT_EQ(attached, Calls{});
    EXPECT_EQ(output.err, kTextureWarning);
#endif
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(gl.attachments[1][kPoint0].id, 7u);
}

TEST_F(GlFboScript, RedundancyComparesIdsAlone)
{
    fbo->attachTexture(GL_TEXTURE_RECTANGLE_ARB, 7);
    const Output output = capture([&] { fbo->attachTexture(GL_TEXTURE_2D, 7, kPoint0, 2, 0); });
    const Output otherKind = capture([&] { fbo->attachRenderBuffer(7); });
#ifdef NDEBUG
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(otherKind.err, "");
    EXPECT_EQ(gl.attachments[1][kPoint0].type, static_cast<GLenum>(GL_RENDERBUFFER_EXT));
#else
    EXPECT_EQ(output.err, kTextureWarning);
    EXPECT_EQ(otherKind.err, kRenderbufferWarning);
    EXPECT_EQ(gl.attachments[1][kPoint0].type, static_cast<GLenum>(GL_TEXTURE));
#endif
}

TEST_F(GlFboScript, AttachRenderBufferAttachesAndWarnsWithoutAFullStop)
{
    fbo->attachRenderBuffer(7);
    EXPECT_EQ(gl.take(), Calls({kReadBinding, bound(1)}) + redundancyCheck() +
                             Calls{"glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, "
                                   "GL_RENDERBUFFER_EXT, 7)"} +
                             endOfAttach());
    const Output output = capture([&] { fbo->attachRenderBuffer(7); });
    const Calls attached = gl.takeOnly({"glFramebufferRenderbufferEXT"});
#ifdef NDEBUG
    EXPECT_EQ(attached.size(), 1u);
    EXPECT_EQ(output.err, "");
#else
    EXPECT_EQ(attached, Calls{});
    EXPECT_EQ(output.err, kRenderbufferWarning);
#endif
}

TEST_F(GlFboScript, AttachTexturesFillsDefaultsWhereArraysAreMissing)
{
    GLenum targets[] = {GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_3D};
    GLuint ids[] = {7, 8};
    fbo->attachTextures(2, targets, ids);
    EXPECT_EQ(
        gl.takeOnly({"glFramebufferTexture2DEXT", "glFramebufferTexture3DEXT"}),
        (Calls{
            "glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_RECTANGLE_ARB, 7, 0)",
            "glFramebufferTexture3DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT1_EXT, GL_TEXTURE_3D, 8, 0, 0)",
        }));
}

TEST_F(GlFboScript, AttachTexturesUsesTheArraysThatAreGiven)
{
    GLenum targets[] = {GL_TEXTURE_3D, GL_TEXTURE_3D};
    GLuint ids[] = {7, 8};
    GLenum points[] = {GL_COLOR_ATTACHMENT3_EXT, GL_DEPTH_ATTACHMENT_EXT};
    int levels[] = {1, 2};
    int slices[] = {3, 4};
    fbo->attachTextures(2, targets, ids, points, levels, slices);
    EXPECT_EQ(gl.takeOnly({"glFramebufferTexture3DEXT"}),
              (Calls{
                  "glFramebufferTexture3DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT3_EXT, GL_TEXTURE_3D, 7, 1, 3)",
                  "glFramebufferTexture3DEXT(GL_FRAMEBUFFER_EXT, GL_DEPTH_ATTACHMENT_EXT, GL_TEXTURE_3D, 8, 2, 4)",
              }));
}

TEST_F(GlFboScript, AttachTexturesOfNoneDoesNothing)
{
    fbo->attachTextures(0, nullptr, nullptr);
    fbo->attachRenderBuffers(0, nullptr);
    EXPECT_EQ(gl.take(), Calls{});
}

TEST_F(GlFboScript, AttachRenderBuffersGoesByTheArraysOrTheColourAttachments)
{
    GLuint ids[] = {7, 8};
    GLenum points[] = {GL_DEPTH_ATTACHMENT_EXT, GL_COLOR_ATTACHMENT2_EXT};
    fbo->attachRenderBuffers(2, ids);
    fbo->attachRenderBuffers(2, ids, points);
    const std::string call = "glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, ";
    EXPECT_EQ(gl.takeOnly({"glFramebufferRenderbufferEXT"}),
              (Calls{
                  call + "GL_COLOR_ATTACHMENT0_EXT, GL_RENDERBUFFER_EXT, 7)",
                  call + "GL_COLOR_ATTACHMENT1_EXT, GL_RENDERBUFFER_EXT, 8)",
                  call + "GL_DEPTH_ATTACHMENT_EXT, GL_RENDERBUFFER_EXT, 7)",
                  call + "GL_COLOR_ATTACHMENT2_EXT, GL_RENDERBUFFER_EXT, 8)",
              }));
}

TEST_F(GlFboScript, UnattachTakesATextureOffByThe2DTargetAndStaysBound)
{
    fbo->attachTexture(GL_TEXTURE_RECTANGLE_ARB, 7);
    gl.framebufferBinding = 55;
    gl.take();
    fbo->unattach(kPoint0);
    EXPECT_EQ(
        gl.take(),
        Calls({kReadBinding, bound(1), kReadBinding, queried("OBJECT_TYPE"), kReadBinding}) + redundancyCheck() +
            Calls{"glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_2D, 0, 0)"});
    EXPECT_EQ(gl.framebufferBinding, 1);
}

TEST_F(GlFboScript, UnattachTakesARenderbufferOff)
{
    fbo->attachRenderBuffer(7);
    gl.take();
    fbo->unattach(kPoint0);
    EXPECT_EQ(gl.takeOnly({"glFramebufferRenderbufferEXT", "glFramebufferTexture2DEXT"}),
              Calls{"glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_RENDERBUFFER_EXT, "
                    "0)"});
}

TEST_F(GlFboScript, UnattachOfAnEmptyPointIsSilentAndStaysBound)
{
    const Output output = capture([&] { fbo->unattach(kPoint0); });
    EXPECT_EQ(gl.take(), (Calls{kReadBinding, bound(1), kReadBinding, queried("OBJECT_TYPE")}));
    EXPECT_EQ(gl.framebufferBinding, 1);
    EXPECT_EQ(output.out + output.err, "");
}

TEST_F(GlFboScript, UnattachOfAnUnknownTypeReportsIt)
{
    gl.attachedType = GL_FRAMEBUFFER_EXT;
    const Output output = capture([&] { fbo->unattach(kPoint0); });
    EXPECT_EQ(output.err, "GlFbo::unbind_attachment ERROR: Unknown attached resource type\n");
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(gl.takeOnly({"glFramebufferRenderbufferEXT", "glFramebufferTexture2DEXT"}), Calls{});
}

TEST_F(GlFboScript, UnattachAllGoesThroughTheColourAttachmentsAlone)
{
    gl.maxColorAttachments = 3;
    fbo->attachTexture(GL_TEXTURE_RECTANGLE_ARB, 7, kPoint1);
    fbo->attachTexture(GL_TEXTURE_2D, 8, GL_DEPTH_ATTACHMENT_EXT);
    gl.take();
    fbo->unattachAll();
    EXPECT_EQ(gl.takeOnly({"glGetFramebufferAttachmentParameterivEXT", "glFramebufferTexture2DEXT"})[0],
              queried("OBJECT_TYPE", "GL_COLOR_ATTACHMENT0_EXT"));
    EXPECT_EQ(gl.attachments[1][kPoint1].id, 0u);
    EXPECT_EQ(gl.attachments[1][GL_DEPTH_ATTACHMENT_EXT].id, 8u);

    fbo->unattachAll();
    EXPECT_EQ(
        gl.takeOnly({"glGetFramebufferAttachmentParameterivEXT"}),
        (Calls{queried("OBJECT_TYPE", "GL_COLOR_ATTACHMENT0_EXT"), queried("OBJECT_TYPE", "GL_COLOR_ATTACHMENT1_EXT"),
               queried("OBJECT_TYPE", "GL_COLOR_ATTACHMENT2_EXT")}));
}

TEST_F(GlFboScript, EachQueryAsksForItsParameterAndRestoresTheBinding)
{
    fbo->attachTexture(GL_TEXTURE_RECTANGLE_ARB, 7);
    const auto expectQuery = [&](const std::string& parameter, auto query, auto value) {
        SCOPED_TRACE(parameter);
        gl.framebufferBinding = 55;
        gl.take();
        EXPECT_EQ(query(), value);
        EXPECT_EQ(gl.take(), (Calls{kReadBinding, bound(1), queried(parameter), bound(55)}));
    };
    expectQuery(
        "OBJECT_TYPE", [&] { return fbo->getAttachedType(kPoint0); }, static_cast<GLenum>(GL_TEXTURE));
    expectQuery(
        "OBJECT_NAME", [&] { return fbo->getAttachedId(kPoint0); }, 7u);
    expectQuery(
        "TEXTURE_LEVEL", [&] { return fbo->getAttachedMipLevel(kPoint0); }, 0);
    expectQuery(
        "TEXTURE_CUBE_MAP_FACE", [&] { return fbo->getAttachedCubeFace(kPoint0); }, 0);
    expectQuery(
        "TEXTURE_3D_ZOFFSET", [&] { return fbo->getAttachedZSlice(kPoint0); }, 0);
    EXPECT_TRUE(gl.errors.empty());
}

TEST_F(GlFboScript, LevelFaceAndSliceOfNothingAre0AndLeaveAnErrorToTheCaller)
{
    EXPECT_EQ(fbo->getAttachedMipLevel(kPoint0), 0);
    EXPECT_EQ(fbo->getAttachedCubeFace(kPoint0), 0);
    EXPECT_EQ(fbo->getAttachedZSlice(kPoint0), 0);
    EXPECT_EQ(gl.errors.size(), 3u);
    EXPECT_EQ(gl.takeOnly({"glGetError"}), Calls{});
}

TEST_F(GlFboScript, GetMaxColorAttachmentsAsksTheDriver)
{
    gl.maxColorAttachments = 9;
    EXPECT_EQ(GlFbo::getMaxColorAttachments(), 9);
    EXPECT_EQ(gl.take(), Calls{"glGetIntegerv(GL_MAX_COLOR_ATTACHMENTS_EXT)"});
}

TEST_F(GlFboScript, IsValidOfACompleteFramebufferIsSilentAndRestoresTheBinding)
{
    std::ostringstream stream;
    EXPECT_TRUE(fbo->isValid(stream));
    EXPECT_EQ(stream.str(), "");
    EXPECT_EQ(gl.take(), (Calls{kReadBinding, bound(1), kStatus, bound(55)}));
}

TEST_F(GlFboScript, IsValidNamesEveryStatusAndBoundsItsTableOnBothSides)
{
    const std::pair<GLenum, const char*> table[] = {
        {0x8CD6, "GL_FRAMEBUFFER_INCOMPLETE_ATTACHMENT_EXT\n"},
        {0x8CD7, "GL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT_EXT\n"},
        {0x8CD8, "Unknown ERROR\n"},
        {0x8CD9, "GL_FRAMEBUFFER_INCOMPLETE_DIMENSIONS_EXT\n"},
        {0x8CDA, "GL_FRAMEBUFFER_INCOMPLETE_FORMATS_EXT\n"},
        {0x8CDB, "GL_FRAMEBUFFER_INCOMPLETE_DRAW_BUFFER_EXT\n"},
        {0x8CDC, "GL_FRAMEBUFFER_INCOMPLETE_READ_BUFFER_EXT\n"},
        {0x8CDD, "GL_FRAMEBUFFER_UNSUPPORTED_EXT\n"},
        {0x8CDE, "Unknown ERROR\n"},
        {0x8CD4, "Unknown ERROR\n"},
        {0, "Unknown ERROR\n"},
        {0xFFFFFFFF, "Unknown ERROR\n"},
    };
    for (const auto& [status, text] : table) {
        SCOPED_TRACE(status);
        gl.framebufferStatus = status;
        std::ostringstream stream;
        EXPECT_FALSE(fbo->isValid(stream));
        EXPECT_EQ(stream.str(), std::string("CheckFramebufferStatus() ERROR:\n\t") + text);
        EXPECT_EQ(gl.framebufferBinding, 55);
    }
}

TEST_F(GlFboScript, IsValidReportsOnStandardErrorUnlessToldOtherwise)
{
    gl.framebufferStatus = GL_FRAMEBUFFER_UNSUPPORTED_EXT;
    const Output output = capture([&] { fbo->isValid(); });
    EXPECT_EQ(output.err, "CheckFramebufferStatus() ERROR:\n\tGL_FRAMEBUFFER_UNSUPPORTED_EXT\n");
    EXPECT_EQ(output.out, "");
}

TEST_F(GlFboScript, WhatAttachesAndTakesOffForOthersGoesThroughTheVirtualFunctions)
{
    struct Traced : GlFbo
    {
        void attachTexture(GLenum texTarget, GLuint texId, GLenum attachment, int mipLevel, int zSlice) override
        {
            calls.push_back({texTarget, texId, attachment, static_cast<GLuint>(mipLevel), static_cast<GLuint>(zSlice)});
        }
        void attachRenderBuffer(GLuint buffId, GLenum attachment) override { calls.push_back({buffId, attachment}); }

        std::vector<std::vector<GLuint>> calls;
    };
    Traced traced;
    const auto expectCalls = [&](const std::vector<std::vector<GLuint>>& calls) {
        EXPECT_EQ(traced.calls, calls);
        traced.calls.clear();
    };
    GLenum targets[] = {GL_TEXTURE_3D, GL_TEXTURE_1D};
    GLuint ids[] = {7, 8};
    int levels[] = {1, 2};
    int slices[] = {3, 4};
    traced.attachTextures(2, targets, ids, nullptr, levels, slices);
    expectCalls({{GL_TEXTURE_3D, 7, kPoint0, 1, 3}, {GL_TEXTURE_1D, 8, kPoint1, 2, 4}});
    traced.attachRenderBuffers(2, ids);
    expectCalls({{7, kPoint0}, {8, kPoint1}});
    gl.attachedType = GL_TEXTURE;
    traced.unattach(kPoint1);
    expectCalls({{GL_TEXTURE_2D, 0, kPoint1, 0, 0}});
    gl.attachedType = GL_RENDERBUFFER_EXT;
    traced.unattach(kPoint1);
    expectCalls({{0, kPoint1}});
}

TEST_F(GlFboScript, DerivedClassesHaveTheStepsOfAttaching)
{
    struct Derived : GlFbo
    {
        static GLuint generated() { return _generateFboId(); }
        void attachDirectly()
        {
            _guardedBind();
            _framebufferTextureND(GL_COLOR_ATTACHMENT1_EXT, GL_TEXTURE_3D, 7, 2, 5);
            _guardedUnbind();
        }
    };
    Derived derived; // framebuffer 2
    gl.take();
    derived.attachDirectly();
    EXPECT_EQ(gl.take(),
              (Calls{kReadBinding, bound(2),
                     "glFramebufferTexture3DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT1_EXT, GL_TEXTURE_3D, 7, 2, 5)",
                     bound(55)}));
    EXPECT_EQ(Derived::generated(), 3u);
    EXPECT_EQ(gl.take(), Calls{"glGenFramebuffersEXT(1)"});
}

TEST_F(GlFboOnAFreshContext, CheckGlErrorsOnAnEmptyQueueIsSilentAndFalse)
{
    const Output output = capture([] { EXPECT_FALSE(GlFbo::checkGlErrors(nullptr)); });
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_EQ(gl.take(), Calls{kGetError});
}

TEST_F(GlFboOnAFreshContext, CheckGlErrorsDrainsTheQueueWithALinePerError)
{
    gl.errors = {GL_INVALID_ENUM, GL_INVALID_VALUE};
    const Output output = capture([] { EXPECT_TRUE(GlFbo::checkGlErrors("here")); });
    EXPECT_EQ(output.err, "Error: invalid enumerant at here\nError: invalid value at here\n");
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(gl.take(), (Calls{kGetError, kGetError, kGetError}));
}

TEST_F(GlFboOnAFreshContext, CheckGlErrorsWithoutALocationEndsTheLine)
{
    gl.errors = {GL_INVALID_OPERATION};
    const Output output = capture([] { EXPECT_TRUE(GlFbo::checkGlErrors(nullptr)); });
    EXPECT_EQ(output.err, "Error: invalid operation\n");
}

TEST_F(GlFboOnAFreshContext, CheckGlErrorsWritesACodeWithoutATextInDecimalOnALineOfItsOwn)
{
    gl.errors = {0x1234, 0x1235};
    const Output output = capture([] { EXPECT_TRUE(GlFbo::checkGlErrors("there")); });
    EXPECT_EQ(output.err, "Error: 4660\n at there\nError: 4661\n at there\n");
}

} // namespace
} // namespace velmor::tests
