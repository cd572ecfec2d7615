#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "tests/script/PassCalls.h"
#include "tests/script/Traced.h"
#include "tests/support/FailingAllocation.h"

#include <memory>

using velmor::core::cvdata::TextureGpu;
using velmor::cvprocess::GlFbo;
using velmor::cvprocess::GpuStdShaders;

namespace velmor::tests {
namespace {

using GpuStdShadersOnAFreshContext = ScriptTest;

using testing::ExitedWithCode;

const char* const kFile = "cvprocess/gpuStdShaders/GpuStdShaders.cpp";

/// A filter as applications derive them.
class Filter : public GpuStdShaders
{
public:
    explicit Filter(bool additionalInput) : GpuStdShaders(additionalInput)
    {
        buildProgram("_ENFORCE_NEW_", "tests/Filter", "fragment text");
    }

    using GpuStdShaders::mCurrentFbo;
    using GpuStdShaders::mDisplayList;
    using GpuStdShaders::mDisplayListValid;
    using GpuStdShaders::mParameterStatus;
    using GpuStdShaders::mProgObj;
    using GpuStdShaders::mTexUnit0Loc;
    using GpuStdShaders::mTexUnit1Loc;
    using GpuStdShaders::mXresDstTex1;
    using GpuStdShaders::mXresSrcTex1;
    using GpuStdShaders::mXresSrcTex2;
    using GpuStdShaders::mYresDstTex1;
    using GpuStdShaders::mYresSrcTex1;
    using GpuStdShaders::mYresSrcTex2;
};

/// A filter whose constructor asks for no framebuffer.
class WithoutFramebuffer : public GpuStdShaders
{
public:
    explicit WithoutFramebuffer(bool additionalInput) : GpuStdShaders(additionalInput) {}
};

/// Filters of one and of two sources, with nothing recorded yet.
class GpuStdShadersScript : public ScriptTest
{
protected:
    void SetUp() override
    {
        ScriptTest::SetUp();
        capture([&] {
            one = std::make_unique<Filter>(false);
            two = std::make_unique<Filter>(true);
        });
        gl.framebufferBinding = 0;
        gl.take();
    }

    GLuint fboOf(const Filter& filter)
    {
        filter.mCurrentFbo->bind();
        gl.take();
        return static_cast<GLuint>(gl.framebufferBinding);
    }

    std::unique_ptr<Filter> one;
    std::unique_ptr<Filter> two;
    TextureGpu a = texture(101, 64, 48);
    TextureGpu b = texture(102, 64, 48);
    TextureGpu c = texture(103, 64, 48);
    TextureGpu half = texture(104, 32, 24);
};

TEST_F(GpuStdShadersOnAFreshContext, AFilterIsBuiltInTheStatedOrder)
{
    const Output output = capture([] { const Filter filter(false); });
    const Calls calls = gl.take();
    EXPECT_EQ(Calls(calls.begin(), calls.begin() + 8),
              (Calls{"glewIsSupported(GL_ARB_texture_rectangle)", "glewIsSupported(GL_VERSION_2_0)",
                     "glGenFramebuffersEXT(1)", kReadBinding, bound(1), bound(0), "glCreateProgram()",
                     "glCreateShader(GL_FRAGMENT_SHADER)"}));
    EXPECT_EQ(output.out, "GL_ARB_texture_rectangle : present\n"
                          "Ready for OpenGL 2.x programmable shaders.\n"
                          "Attached shader Id: 3\n"
                          "Shader validation\n");
    EXPECT_EQ(output.err, "");
}

TEST_F(GpuStdShadersOnAFreshContext, WithoutRectangleTexturesTheProcessEnds)
{
    gl.unsupported = {"GL_ARB_texture_rectangle"};
    EXPECT_EXIT(Filter(false), ExitedWithCode(255),
                exactly("ERROR: GL_ARB_texture_rectangle not available or GLEW >= 1.4.0 required!\n"));
}

TEST_F(GpuStdShadersOnAFreshContext, WithoutOpenGl2TheProcessEnds)
{
    gl.unsupported = {"GL_VERSION_2_0"};
    EXPECT_EXIT(Filter(false), ExitedWithCode(1), exactly("ERROR: OpenGL 2.0 not found.\n"));
}

TEST_F(GpuStdShadersOnAFreshContext, AShaderThatDoesNotCompileEndsTheProcess)
{
    gl.compiles = false;
    EXPECT_EXIT(Filter(false), ExitedWithCode(255), exactly("ERROR: Unable to compile shader Id: 3\n"));
}

TEST_F(GpuStdShadersOnAFreshContext, AProgramThatDoesNotLinkIsReportedAndKept)
{
    gl.links = false;
    const Output output = capture([] {
        const Filter filter(false);
        EXPECT_NE(filter.mProgObj, 0u);
    });
    EXPECT_EQ(output.err, "ERROR: Linking failed.\n");
}

TEST_F(GpuStdShadersOnAFreshContext, AProgramThatIsRegisteredAlreadyIsNotBuiltAgain)
{
    struct Twice : Filter
    {
        Twice() : Filter(false), first(mProgObj)
        {
            mProgObj = 0;
            ScriptedGl::instance().take();
            buildProgram("_ENFORCE_NEW_", "tests/Filter", "another text");
        }
        GLuint first;
    };
    const Output output = capture([&] {
        const Twice filter;
        EXPECT_EQ(gl.take(), (Calls{"glGenFramebuffersEXT(1)", kReadBinding, bound(4), bound(0)}));
        EXPECT_EQ(filter.mProgObj, filter.first);
    });
    EXPECT_EQ(output.err, "");
}

TEST_F(GpuStdShadersScript, FieldsWithoutAValueStartHarmless)
{
    EXPECT_EQ(one->mTexUnit0Loc, -1);
    EXPECT_EQ(one->mTexUnit1Loc, -1);
    EXPECT_EQ(one->mDisplayList, 0u);
    EXPECT_FALSE(one->mDisplayListValid);
    for (const std::int32_t size : {one->mXresSrcTex1, one->mYresSrcTex1, one->mXresSrcTex2, one->mYresSrcTex2,
                                    one->mXresDstTex1, one->mYresDstTex1})
        EXPECT_EQ(size, 0);
}

TEST_F(GpuStdShadersScript, InitClearsTheParameterStatusAndNothingElse)
{
    one->mParameterStatus = 17;
    one->init();
    EXPECT_EQ(one->parameterStatus(), 1);
    EXPECT_EQ(gl.take(), Calls{});
}

TEST_F(GpuStdShadersScript, GetGlFboEnforcesNewOnesAndFindsOthersAgain)
{
    GlFbo* const fromConstructor = one->mCurrentFbo;
    GlFbo* const first = one->getGlFbo("_ENFORCE_NEW_", 0);
    EXPECT_EQ(one->mCurrentFbo, first);
    GlFbo* const second = one->getGlFbo("_ENFORCE_NEW_", 0);
    EXPECT_NE(first, fromConstructor);
    EXPECT_NE(first, second);

    GlFbo* const named = one->getGlFbo("x", 1);
    EXPECT_EQ(one->getGlFbo("x", 1), named);
    EXPECT_NE(one->getGlFbo("x", 2), named);
    EXPECT_EQ(one->getGlFbo("x1", 0), one->getGlFbo("x", 10)); // the key is name and index in one text
    EXPECT_EQ(one->getGlFbo("x", 1), one->mCurrentFbo);
}

TEST_F(GpuStdShadersScript, AFramebufferThatThereIsNoMemoryForLeavesNothingBehind)
{
    GlFbo* const before = one->mCurrentFbo;
    {
        const FailingAllocation noMemory(sizeof(GlFbo));
        EXPECT_THROW(one->getGlFbo("x", 1), std::bad_alloc);
    }
    EXPECT_EQ(one->mCurrentFbo, before);
    EXPECT_NE(one->getGlFbo("x", 1), nullptr);
    one.reset();
}

TEST_F(GpuStdShadersScript, FiltersShareNothing)
{
    EXPECT_NE(one->mCurrentFbo, two->mCurrentFbo);
    EXPECT_NE(one->mProgObj, two->mProgObj);
    EXPECT_NE(one->getGlShaderMgr(), two->getGlShaderMgr());
    EXPECT_EQ(one->getGlShaderMgr(), one->getGlShaderMgr());
}

// Preparation

TEST_F(GpuStdShadersScript, FirstPreparationOfOneSourceAttachesWithoutAskingAndChecksTwice)
{
    one->mCurrentFbo->bind();
    gl.take();
    gl.uniformLocations = {{"texUnit0", 4}};
    const Output output = capture([&] { one->prepareExecution(a, half); });
    EXPECT_EQ(gl.take(),
              attachment(0, 101) + attachment(1, 104) +
                  Calls({kReadBinding, kStatus, kReadBinding, kStatus, uniformLocation(one->mProgObj, "texUnit0")}));
    EXPECT_EQ(one->mTexUnit0Loc, 4);
    expectSizes(*one, {64, 48}, {32, 24});
    EXPECT_EQ(output.out + output.err, "");
}

TEST_F(GpuStdShadersScript, FirstPreparationOfTwoSourcesAttachesInOrderAndChecksOnce)
{
    two->mCurrentFbo->bind();
    gl.take();
    gl.uniformLocations = {{"texUnit0", 4}, {"texUnit1", 5}};
    two->prepareExecution(a, half, b);
    EXPECT_EQ(gl.take(), attachment(0, 101) + attachment(2, 104) + attachment(1, 102) +
                             Calls({kReadBinding, kStatus, uniformLocation(two->mProgObj, "texUnit0"),
                                    uniformLocation(two->mProgObj, "texUnit1")}));
    EXPECT_EQ(two->mTexUnit0Loc, 4);
    EXPECT_EQ(two->mTexUnit1Loc, 5);
    expectSizes(*two, {64, 48}, {64, 48});
    EXPECT_EQ(two->mXresSrcTex2, 32);
    EXPECT_EQ(two->mYresSrcTex2, 24);
}

TEST_F(GpuStdShadersScript, PreparingWithTheSameTexturesCostsQueriesOnly)
{
    one->prepareExecution(a, b);
    one->mCurrentFbo->bind();
    gl.take();
    const Output output = capture([&] { one->prepareExecution(a, b); });
    EXPECT_EQ(gl.take(), (Calls{kReadBinding, idAt(0), kReadBinding, idAt(1), kReadBinding, kStatus, kReadBinding,
                                kStatus, uniformLocation(one->mProgObj, "texUnit0")}));
    EXPECT_EQ(output.err, "");
}

TEST_F(GpuStdShadersScript, PreparingWithTheSameTexturesAllocatesNothing)
{
    one->prepareExecution(a, b);
    two->prepareExecution(a, b, c);
    gl.recording = false;
    const std::size_t before = allocationCount();
    for (int i = 0; i < 10; ++i) {
        one->prepareExecution(a, b);
        two->prepareExecution(a, b, c);
    }
    EXPECT_EQ(allocationCount(), before);
    ::operator delete(::operator new(1)); // the counter does count
    EXPECT_EQ(allocationCount(), before + 1);
}

TEST_F(GpuStdShadersScript, PreparingAttachesWhatChangedAlone)
{
    two->prepareExecution(a, b, c);
    gl.take();
    two->prepareExecution(a, half, c);
    EXPECT_EQ(gl.takeOnly({"glFramebufferTexture2DEXT"}), Calls{attached(2, 104)});
    two->prepareExecution(b, half, a);
    EXPECT_EQ(gl.takeOnly({"glFramebufferTexture2DEXT"}), (Calls{attached(0, 102), attached(1, 101)}));
}

TEST_F(GpuStdShadersScript, AnIncompleteFramebufferIsReportedAsOftenAsItIsCheckedAndThePassRuns)
{
    gl.framebufferStatus = GL_FRAMEBUFFER_UNSUPPORTED_EXT;
    const std::string report = "CheckFramebufferStatus() ERROR:\n\tGL_FRAMEBUFFER_UNSUPPORTED_EXT\n";
    EXPECT_EQ(capture([&] { one->prepareExecution(a, b); }).err, report + report);
    EXPECT_EQ(capture([&] { two->prepareExecution(a, b, c); }).err, report);
    gl.take();
    one->execute();
    EXPECT_EQ(gl.takeOnly({"glCallList"}).size(), 1u);
}

#ifndef NDEBUG

TEST_F(GpuStdShadersScript, TheWrongFormOfPreparationIsAnAssertion)
{
    EXPECT_DEATH(two->prepareExecution(a, b), assertion(kFile, "!mAdditionalInput && \"wrong init\""));
    EXPECT_DEATH(one->prepareExecution(a, b, c), assertion(kFile, "mAdditionalInput && \"wrong init\""));
}

TEST_F(GpuStdShadersScript, PreparationWithoutAFramebufferIsAnAssertion)
{
    const std::string expression = "mCurrentFbo != nullptr && \"ERROR: No current FBO is available!\"";
    WithoutFramebuffer bareOne(false);
    WithoutFramebuffer bareTwo(true);
    EXPECT_DEATH(bareOne.prepareExecution(a, b), assertion(kFile, expression));
    EXPECT_DEATH(bareTwo.prepareExecution(a, b, c), assertion(kFile, expression));
}

TEST_F(GpuStdShadersScript, ExecuteBeforePreparationIsAnAssertion)
{
    const std::string expression = "mSrcTex1 && mDstTex1 && \"ERROR: prepareExecution() not called before execute()\"";
    EXPECT_DEATH(one->execute(), assertion(kFile, expression));
    EXPECT_DEATH(two->execute(), assertion(kFile, expression));
}

#endif

// Geometry

TEST_F(GpuStdShadersScript, WithoutRegionsOneQuadStretchesTheSourceOverTheDestination)
{
    one->prepareExecution(a, half);
    one->execute();
    EXPECT_EQ(gl.takeOnly(kGeometry), stretchedQuad(64, 48, 32, 24));
}

TEST_F(GpuStdShadersScript, OfTwoSourcesTheQuadSpansTheFirst)
{
    two->prepareExecution(a, half, c);
    two->execute();
    EXPECT_EQ(gl.takeOnly(kGeometry), stretchedQuad(64, 48, 64, 48));
    two->prepareExecution(half, b, c);
    two->resetROIs();
    two->execute();
    EXPECT_EQ(gl.takeOnly(kGeometry), stretchedQuad(32, 24, 64, 48));
}

TEST_F(GpuStdShadersScript, ARegionIsAQuadOfEqualTextureCoordinates)
{
    one->addROI(10, 20, 30, 40);
    one->prepareExecution(a, b);
    one->execute();
    EXPECT_EQ(gl.takeOnly(kGeometry),
              quad(corner(10, 20, 10, 20), corner(30, 20, 30, 20), corner(30, 40, 30, 40), corner(10, 40, 10, 40)));
}

TEST_F(GpuStdShadersScript, RegionsAreQuadsOfTheirOwnInTheOrderOfTheirAdding)
{
    one->addROI(10, 20, 30, 40);
    one->addROI(1, 2, 3, 4);
    one->prepareExecution(a, b);
    one->execute();
    EXPECT_EQ(gl.takeOnly(kGeometry),
              quad(corner(10, 20, 10, 20), corner(30, 20, 30, 20), corner(30, 40, 30, 40), corner(10, 40, 10, 40)) +
                  quad(corner(1, 2, 1, 2), corner(3, 2, 3, 2), corner(3, 4, 3, 4), corner(1, 4, 1, 4)));
}

TEST_F(GpuStdShadersScript, ResettingTheRegionsBringsTheFullQuadBack)
{
    one->addROI(10, 20, 30, 40);
    one->prepareExecution(a, b);
    one->execute();
    one->resetROIs();
    gl.take();
    one->execute();
    EXPECT_EQ(gl.takeOnly(kGeometry), stretchedQuad(64, 48, 64, 48));
}

TEST_F(GpuStdShadersScript, TheGeometryIsCompiledOnceAndReplayed)
{
    one->prepareExecution(a, b);
    gl.take();
    one->execute();
    const std::string list = std::to_string(one->mDisplayList);
    EXPECT_EQ(
        gl.takeOnly({"glGenLists", "glNewList", "glEndList", "glCallList"}),
        (Calls{"glGenLists(1)", "glNewList(" + list + ", GL_COMPILE)", "glEndList()", "glCallList(" + list + ")"}));
    one->execute();
    EXPECT_EQ(gl.takeOnly({"glGenLists", "glNewList", "glEndList", "glCallList"}), Calls{"glCallList(" + list + ")"});
}

TEST_F(GpuStdShadersScript, NewSizesKeepTheOldQuadUntilTheRegionsChange)
{
    one->prepareExecution(a, b);
    one->execute();
    gl.take();
    one->prepareExecution(a, half);
    one->execute();
    EXPECT_EQ(gl.takeOnly(kGeometry), Calls{});
    one->resetROIs();
    one->execute();
    EXPECT_EQ(gl.takeOnly(kGeometry), stretchedQuad(64, 48, 32, 24));
}

TEST_F(GpuStdShadersScript, APreparationBeforeTheFirstExecuteSetsTheSizes)
{
    one->prepareExecution(a, b);
    one->prepareExecution(a, half);
    one->execute();
    EXPECT_EQ(gl.takeOnly(kGeometry), stretchedQuad(64, 48, 32, 24));
}

TEST_F(GpuStdShadersScript, AValidListIsDeletedWhenItIsBuiltAgainAndAStaleOneIsNot)
{
    one->prepareExecution(a, b);
    one->prepareDisplayList();
    const GLuint first = one->mDisplayList;
    EXPECT_TRUE(one->mDisplayListValid);
    one->prepareDisplayList();
    const GLuint second = one->mDisplayList;
    EXPECT_EQ(gl.displayLists, std::set<GLuint>{second});
    EXPECT_EQ(gl.takeOnly({"glDeleteLists"}), Calls{"glDeleteLists(" + std::to_string(first) + ", 1)"});

    one->addROI(0, 0, 1, 1);
    one->execute();
    one->resetROIs();
    one->execute();
    EXPECT_EQ(gl.takeOnly({"glDeleteLists"}), Calls{});
    EXPECT_EQ(gl.displayLists.size(), 3u);
}

// The pass

TEST_F(GpuStdShadersScript, APassOfOneSourceIsTheStatedSequence)
{
    const GLuint fbo = fboOf(*one);
    gl.uniformLocations = {{"texUnit0", 4}};
    one->prepareExecution(a, half);
    one->prepareDisplayList();
    gl.take();
    const Output output = capture([&] { one->execute(); });
    const std::string program = std::to_string(one->mProgObj);
    EXPECT_EQ(gl.take(), (Calls{
                             kGetError, // 0.CP
                             kGetError, // 1.CP
                             bound(fbo),
                             "glDrawBuffer(GL_COLOR_ATTACHMENT1_EXT)",
                             kGetError, // 2.CP
                             "glActiveTexture(GL_TEXTURE0)",
                             "glBindTexture(GL_TEXTURE_RECTANGLE_ARB, 101)",
                             "glEnable(GL_TEXTURE_RECTANGLE_ARB)",
                             kGetError, // 3.CP
                             "glUseProgram(" + program + ")",
                             kGetError, // 4.CP
                             "glUniform1iARB(4, 0)",
                             "glViewport(0, 0, 32, 24)",
                             "glMatrixMode(GL_PROJECTION)",
                             "glLoadIdentity()",
                             "gluOrtho2D(0, 32, 0, 24)",
                             "glMatrixMode(GL_MODELVIEW)",
                             "glLoadIdentity()",
                             kGetError, // 5.CP
                             "glDisable(GL_DEPTH_TEST)",
                             "glPolygonMode(GL_FRONT_AND_BACK, GL_FILL)",
                             "glCallList(" + std::to_string(one->mDisplayList) + ")",
                             "glFinish()",
                             "glUseProgram(0)",
                             "glActiveTexture(GL_TEXTURE0)",
                             "glDisable(GL_TEXTURE_RECTANGLE_ARB)",
                         }));
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_EQ(gl.framebufferBinding, static_cast<GLint>(fbo)); // it stays bound
}

TEST_F(GpuStdShadersScript, APassOfTwoSourcesBindsBothAndLeavesUnit1Active)
{
    const GLuint fbo = fboOf(*two);
    gl.uniformLocations = {{"texUnit0", 4}, {"texUnit1", 5}};
    two->prepareExecution(a, half, b);
    two->prepareDisplayList();
    gl.take();
    two->execute();
    EXPECT_EQ(gl.take(), passCalls({fbo, two->mProgObj, two->mDisplayList, {101, 104}, 64, 48, {4, 5}}));
}

TEST_F(GpuStdShadersScript, TexturesAreAttachedBoundAndEnabledByTheirOwnTargets)
{
    TextureGpu plane(201, 64, 48, GL_UNSIGNED_BYTE, GL_RGB, GL_RGB8, GL_TEXTURE_2D);
    TextureGpu line(202, 64, 1, GL_UNSIGNED_BYTE, GL_RGB, GL_RGB8, GL_TEXTURE_1D);
    two->prepareExecution(plane, line, b);
    EXPECT_EQ(gl.takeOnly({"glFramebufferTexture1DEXT", "glFramebufferTexture2DEXT"}),
              (Calls{"glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_2D, 201, 0)",
                     "glFramebufferTexture1DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT2_EXT, GL_TEXTURE_1D, 202, 0)",
                     attached(1, 102)}));
    two->execute();
    EXPECT_EQ(gl.takeOnly({"glBindTexture", "glEnable", "glDisable"}),
              (Calls{"glBindTexture(GL_TEXTURE_2D, 201)", "glEnable(GL_TEXTURE_2D)",
                     "glBindTexture(GL_TEXTURE_1D, 202)", "glEnable(GL_TEXTURE_1D)", "glDisable(GL_DEPTH_TEST)",
                     "glDisable(GL_TEXTURE_2D)", "glDisable(GL_TEXTURE_1D)"}));
}

TEST_F(GpuStdShadersScript, EachCheckpointReportsTheErrorsBeforeItAndThePassGoesOn)
{
    const std::pair<const char*, const char*> table[] = {
        {"", "0.CP"},
        {"glEndList", "1.CP"},
        {"glDrawBuffer", "2.CP"},
        {"glBindTexture", "3.CP"},
        {"glUseProgram", "4.CP"},
        {"glUniform1iARB", "5.CP"},
    };
    one->prepareExecution(a, b);
    for (const auto& [function, label] : table) {
        SCOPED_TRACE(label);
        one->resetROIs(); // so that the list is built in this pass
        gl.take();
        gl.errors.clear();
        gl.errorOfCall.clear();
        if (*function)
            gl.errorOfCall = {{function, GL_INVALID_OPERATION}};
        else
            gl.errors = {GL_INVALID_OPERATION};
        const Output output = capture([&] { one->execute(); });
        EXPECT_EQ(output.err, std::string("Error: invalid operation at ") + label + " GpuStdShaders\n");
        EXPECT_EQ(gl.takeOnly({"glCallList", "glFinish"}).size(), 2u);
    }
}

TEST_F(GpuStdShadersScript, TheStagesOfAPassAreVirtualCalls)
{
    std::unique_ptr<Traced<Filter>> filter;
    capture([&] { filter = std::make_unique<Traced<Filter>>(false); });
    filter->prepareExecution(a, b);
    filter->execute();
    EXPECT_EQ(filter->trace, "init list mapping cleanUp ");
}

// Destruction

TEST_F(GpuStdShadersScript, DestructionDetachesAndDeletesFramebuffersByKeyThenProgramsAndShaders)
{
    gl.maxColorAttachments = 3;
    const GLuint enforced = fboOf(*one);
    one->prepareExecution(a, b);
    one->getGlFbo("A", 0); // sorts before "_ENFORCE_NEW_00"
    const GLuint named = fboOf(*one);
    gl.take();
    const std::string program = std::to_string(one->mProgObj);
    one.reset();
    const auto deleted = [](GLuint id) {
        return "glDeleteFramebuffersEXT(1, " + std::to_string(id) + ")";
    };
    const std::string off = "glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT";
    const Calls calls = gl.takeOnly({"glGetIntegerv", "glFramebufferTexture2DEXT", "glDeleteFramebuffersEXT",
                                     "glUseProgram", "glDeleteProgram", "glDeleteShader", "glDeleteLists"});
    Calls withoutQueries;
    for (const std::string& call : calls)
        if (call != kReadBinding)
            withoutQueries.push_back(call);
    EXPECT_EQ(withoutQueries, (Calls{
                                  "glGetIntegerv(GL_MAX_COLOR_ATTACHMENTS_EXT)",
                                  deleted(named),
                                  "glGetIntegerv(GL_MAX_COLOR_ATTACHMENTS_EXT)",
                                  off + "0_EXT, GL_TEXTURE_2D, 0, 0)",
                                  off + "1_EXT, GL_TEXTURE_2D, 0, 0)",
                                  deleted(enforced),
                                  "glUseProgram(0)",
                                  "glDeleteProgram(" + program + ")",
                                  "glDeleteShader(" + std::to_string(std::stoi(program) + 1) + ")",
                              }));
}

TEST_F(GpuStdShadersScript, EveryObjectThatAFilterMakesIsDeletedWithItButTheDisplayLists)
{
    one->prepareExecution(a, b);
    one->execute();
    one->addROI(0, 0, 4, 4);
    one->execute();
    two->prepareExecution(a, b, c);
    two->execute();
    one->getGlFbo("more", 1);
    one.reset();
    two.reset();
    EXPECT_TRUE(gl.framebuffers.empty());
    EXPECT_TRUE(gl.programs.empty());
    EXPECT_TRUE(gl.shaders.empty());
    EXPECT_EQ(gl.displayLists.size(), 3u); // one of each filter, and the one that addROI() made stale
}

} // namespace
} // namespace velmor::tests
