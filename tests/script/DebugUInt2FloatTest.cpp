#include "cvprocess/gpuStdShaders/DebugUInt2Float.h"

#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "tests/script/PassCalls.h"

#include <memory>

using velmor::core::cvdata::TextureGpu;

namespace velmor::tests {
namespace {

const char* const kFile = "cvprocess/gpuStdShaders/DebugUInt2Float.cpp";

struct OpenDebugUInt2Float : cvprocess::DebugUInt2Float
{
    using cvprocess::DebugUInt2Float::mAdditionalInput;
    using cvprocess::DebugUInt2Float::mCurrentFbo;
    using cvprocess::DebugUInt2Float::mXresDstTex1;
    using cvprocess::DebugUInt2Float::mXresSrcTex1;
    using cvprocess::DebugUInt2Float::mYresDstTex1;
    using cvprocess::DebugUInt2Float::mYresSrcTex1;
};

/// A filter with framebuffer 1 and program 2, with nothing recorded yet.
class DebugUInt2Float : public ScriptTest
{
protected:
    void SetUp() override
    {
        ScriptTest::SetUp();
        capture([&] { view = std::make_unique<OpenDebugUInt2Float>(); });
        view->mCurrentFbo->bind();
        gl.take();
    }

    /// outputToScreen() onto so many pixels.
    static Calls screenCalls(const std::string& width, const std::string& height)
    {
        return {"glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0)",
                "glDrawBuffer(GL_BACK)",
                "glActiveTexture(GL_TEXTURE0)",
                "glBindTexture(GL_TEXTURE_RECTANGLE_ARB, 101)",
                "glEnable(GL_TEXTURE_RECTANGLE_ARB)",
                "glUseProgram(2)",
                "glGetUniformLocation(2, texUnit0)",
                "glUniform1iARB(-1, 0)",
                "glViewport(0, 0, " + width + ", " + height + ")",
                "glMatrixMode(GL_PROJECTION)",
                "glLoadIdentity()",
                "gluOrtho2D(-1, 1, -1, 1)",
                "glMatrixMode(GL_MODELVIEW)",
                "glLoadIdentity()",
                "glDisable(GL_DEPTH_TEST)",
                "glPolygonMode(GL_FRONT_AND_BACK, GL_FILL)",
                "glColor4f(1, 1, 1, 1)",
                "glBegin(GL_QUADS)",
                "glTexCoord2f(0, 0)",
                "glVertex3f(-1, -1, -0.5)",
                "glTexCoord2f(" + width + ", 0)",
                "glVertex3f(1, -1, -0.5)",
                "glTexCoord2f(" + width + ", " + height + ")",
                "glVertex3f(1, 1, -0.5)",
                "glTexCoord2f(0, " + height + ")",
                "glVertex3f(-1, 1, -0.5)",
                "glEnd()",
                "glUseProgram(0)",
                "glActiveTexture(GL_TEXTURE0)",
                "glDisable(GL_TEXTURE_RECTANGLE_ARB)",
                "glFinish()",
                "glutSwapBuffers()"};
    }

    std::unique_ptr<OpenDebugUInt2Float> view;
    TextureGpu source = texture(101, 64, 48);
    TextureGpu destination = texture(102, 32, 24);
};

TEST_F(DebugUInt2Float, PreparingForATextureAttachesBothAndChecksOnce)
{
    view->prepareExecution(source, destination);
    EXPECT_EQ(gl.take(), attachment(0, 101) + attachment(1, 102) + Calls({kReadBinding, kStatus}));
    expectSizes(*view, {64, 48}, {32, 24});
}

TEST_F(DebugUInt2Float, PreparingAgainAttachesWithoutAskingWhatIsAttached)
{
    view->prepareExecution(source, destination);
    gl.take();
    const Output output = capture([&] { view->prepareExecution(source, destination); });
#ifdef NDEBUG
    EXPECT_EQ(gl.take(), attachment(0, 101) + attachment(1, 102) + Calls({kReadBinding, kStatus}));
    EXPECT_EQ(output.err, "");
#else
    EXPECT_EQ(gl.take(),
              (Calls{kReadBinding, kReadBinding, idAt(0), kReadBinding, kReadBinding, idAt(1), kReadBinding, kStatus}));
    EXPECT_EQ(output.err, "GlFbo::AttachTexture PERFORMANCE WARNING:\n"
                          "\tRedundant bind of texture (id = 101).\n"
                          "\tHINT : Compile with -DNDEBUG to remove this warning.\n"
                          "GlFbo::AttachTexture PERFORMANCE WARNING:\n"
                          "\tRedundant bind of texture (id = 102).\n"
                          "\tHINT : Compile with -DNDEBUG to remove this warning.\n");
#endif
    EXPECT_EQ(output.out, "");
}

TEST_F(DebugUInt2Float, AnIncompleteFramebufferIsReportedAndThePassRuns)
{
    gl.framebufferStatus = GL_FRAMEBUFFER_UNSUPPORTED_EXT;
    const Output output = capture([&] { view->prepareExecution(source, destination); });
    EXPECT_EQ(output.err, "CheckFramebufferStatus() ERROR:\n\tGL_FRAMEBUFFER_UNSUPPORTED_EXT\n");
    view->execute();
    EXPECT_EQ(gl.takeOnly({"glCallList"}).size(), 1u);
}

TEST_F(DebugUInt2Float, PreparingForTheScreenSizesTheWindowAndShowsIt)
{
    view->prepareExecution(source);
    EXPECT_EQ(gl.take(), (Calls{"glutReshapeWindow(64, 48)", "glutShowWindow()"}));
    EXPECT_EQ(view->mXresSrcTex1, 64);
    EXPECT_EQ(view->mYresSrcTex1, 48);
}

TEST_F(DebugUInt2Float, TheScreenIsDrawnAsLargeAsTheLastDestination)
{
    view->prepareExecution(source, destination);
    view->prepareExecution(source);
    gl.take();
    const Output output = capture([&] { view->outputToScreen(); });
    EXPECT_EQ(gl.take(), screenCalls("32", "24"));
    EXPECT_EQ(output.out + output.err, "");
}

TEST_F(DebugUInt2Float, WithoutADestinationEverTheScreenIsDrawnWithSizeZero)
{
    view->prepareExecution(source);
    gl.take();
    view->outputToScreen();
    EXPECT_EQ(gl.take(), screenCalls("0", "0"));
}

TEST_F(DebugUInt2Float, TexturesAreAttachedBoundAndEnabledByTheirOwnTargets)
{
    TextureGpu line(201, 64, 1, GL_UNSIGNED_INT, GL_RGBA, GL_RGBA8, GL_TEXTURE_1D);
    TextureGpu plane(202, 64, 1, GL_UNSIGNED_BYTE, GL_RGBA, GL_RGBA8, GL_TEXTURE_2D);
    view->prepareExecution(line, plane);
    EXPECT_EQ(gl.takeOnly({"glFramebufferTexture1DEXT", "glFramebufferTexture2DEXT"}),
              (Calls{"glFramebufferTexture1DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_1D, 201, 0)",
                     "glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT1_EXT, GL_TEXTURE_2D, 202, "
                     "0)"}));
    view->prepareExecution(line);
    view->outputToScreen();
    EXPECT_EQ(gl.takeOnly({"glBindTexture", "glEnable", "glDisable"}),
              (Calls{"glBindTexture(GL_TEXTURE_1D, 201)", "glEnable(GL_TEXTURE_1D)", "glDisable(GL_DEPTH_TEST)",
                     "glDisable(GL_TEXTURE_1D)"}));
}

TEST_F(DebugUInt2Float, PreparingForATextureEndsTheScreenMode)
{
    view->prepareExecution(source);
    view->prepareExecution(source, destination);
    gl.take();
    view->execute();
    EXPECT_EQ(gl.takeOnly({"glCallList", "glDrawBuffer", "glutSwapBuffers"}),
              (Calls{"glDrawBuffer(GL_COLOR_ATTACHMENT1_EXT)", "glCallList(4)"}));
}

#ifndef NDEBUG

TEST_F(DebugUInt2Float, ExecuteInScreenModeIsAnAssertion)
{
    view->prepareExecution(source, destination);
    view->prepareExecution(source);
    EXPECT_DEATH(view->execute(), assertion(kFile, "!outputToScreenEnabled"));
}

TEST_F(DebugUInt2Float, ExecuteBeforeAnyPreparationIsAnAssertionOfTheFrame)
{
    EXPECT_DEATH(view->execute(),
                 assertion("cvprocess/gpuStdShaders/GpuStdShaders.cpp",
                           "mSrcTex1 && mDstTex1 && \"ERROR: prepareExecution() not called before execute()\""));
}

TEST_F(DebugUInt2Float, PreparingAFilterOfTwoSourcesIsAnAssertion)
{
    view->mAdditionalInput = true;
    EXPECT_DEATH(view->prepareExecution(source, destination), assertion(kFile, "!mAdditionalInput && \"wrong init\""));
}

TEST_F(DebugUInt2Float, ThePreparationOfTwoSourcesCanBeCalledAndIsAnAssertion)
{
    EXPECT_DEATH(view->prepareExecution(source, source, destination),
                 assertion("cvprocess/gpuStdShaders/GpuStdShaders.cpp", "mAdditionalInput && \"wrong init\""));
}

#endif

} // namespace
} // namespace velmor::tests
