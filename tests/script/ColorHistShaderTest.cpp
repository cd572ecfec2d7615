#include "cvprocess/gpuStdShaders/ColorHistShader.h"

#include "core/cvdata/ColourHist2d.h"
#include "tests/script/PassCalls.h"
#include "tests/support/ShaderText.h"

#include <memory>

using velmor::core::cvdata::ColourHist2d;
using velmor::core::cvdata::TextureGpu;

namespace velmor::tests {
namespace {

const char* const kFile = "cvprocess/gpuStdShaders/ColorHistShader.cpp";

/// The points of a picture of 25 x 12 in blocks of 10: four kinds of block.
const Calls kBlocksOf25By12 = {"glBegin(GL_POINTS)",  "glColor3f(10, 10, 0)", "glVertex2f(0, 0)",
                               "glVertex2f(10, 0)",   "glColor3f(5, 10, 0)",  "glVertex2f(20, 0)",
                               "glColor3f(10, 2, 0)", "glVertex2f(0, 10)",    "glVertex2f(10, 10)",
                               "glColor3f(5, 2, 0)",  "glVertex2f(20, 10)",   "glEnd()"};

/// A filter of 3 x 3 x 3 cells over pictures of 25 x 12, unless a test says otherwise.
class ColorHistShader : public ScriptTest
{
protected:
    void SetUp() override
    {
        ScriptTest::SetUp();
        param.mNBins1 = param.mNBins2 = param.mNBins3 = 3;
        param.mXres = 25;
        param.mYres = 12;
        gl.integers[GL_MAX_GEOMETRY_OUTPUT_VERTICES_EXT] = 777;
    }

    void make()
    {
        construction = capture([&] { filter = std::make_unique<cvprocess::ColorHistShader>(&param, nullptr); });
    }

    void makeAndPrepare()
    {
        make();
        filter->prepareExecution(source, mask, destination);
        gl.take();
    }

    /// The points of a pass, with the colours before them.
    Calls points()
    {
        gl.take();
        filter->execute();
        Calls calls = gl.takeOnly({"glBegin", "glEnd", "glColor3f", "glVertex2f", "glNewList", "glEndList"});
        const auto listEnd = std::find(calls.begin(), calls.end(), "glEndList()");
        if (listEnd != calls.end())
            calls.erase(calls.begin(), listEnd + 1);
        return calls;
    }

    cvprocess::ColorHistShader::Param param;
    std::unique_ptr<cvprocess::ColorHistShader> filter;
    Output construction;
    TextureGpu source{101, 25, 12, GL_UNSIGNED_BYTE, GL_RGB, GL_RGB8, GL_TEXTURE_RECTANGLE_ARB};
    TextureGpu mask{102, 25, 12, GL_UNSIGNED_BYTE, GL_LUMINANCE, GL_LUMINANCE8, GL_TEXTURE_RECTANGLE_ARB};
    TextureGpu destination{103, 25, 12, GL_FLOAT, GL_RGBA, GL_RGBA32F_ARB, GL_TEXTURE_RECTANGLE_ARB};
};

TEST_F(ColorHistShader, IsConstructedByTheStatedCalls)
{
    make();
    const Calls points = {"glProgramParameteriEXT(2, GL_GEOMETRY_INPUT_TYPE_EXT, GL_POINTS)",
                          "glProgramParameteriEXT(2, GL_GEOMETRY_OUTPUT_TYPE_EXT, GL_POINTS)"};
    const Calls vertices = {"glGetIntegerv(GL_MAX_GEOMETRY_OUTPUT_VERTICES_EXT)",
                            "glProgramParameteriEXT(2, GL_GEOMETRY_VERTICES_OUT_EXT, 777)"};
    EXPECT_EQ(gl.take(), programBegun() + shaderAttached("GL_VERTEX_SHADER", 3) +
                             shaderAttached("GL_GEOMETRY_SHADER_EXT", 4) + points +
                             shaderAttached("GL_FRAGMENT_SHADER", 5) + vertices + programLinked());
    EXPECT_EQ(construction.out, "GL_ARB_texture_rectangle : present\n"
                                "Ready for OpenGL 2.x programmable shaders.\n"
                                "Attached shader Id: 3\n"
                                "Attached shader Id: 4\n"
                                "Attached shader Id: 5\n"
                                "WARNING: Max number of vertices emitted by the geometry shader: 777\n"
                                "Shader validation\n");
    EXPECT_EQ(construction.err, "");
}

TEST_F(ColorHistShader, RunsAndGoesByTheStatedCalls)
{
    gl.maxColorAttachments = 3;
    gl.uniformLocations = {{"texUnit0", 8}, {"texUnit1", 9}, {"nbins1", 1}, {"nbins2", 2},
                           {"nbins3", 3},   {"xres", 4},     {"yres", 5}};
    gl.integers = {{GL_BLEND_SRC, GL_SRC_ALPHA},
                   {GL_BLEND_DST, GL_ZERO},
                   {GL_BLEND_EQUATION, GL_FUNC_SUBTRACT},
                   {GL_CLAMP_VERTEX_COLOR_ARB, 1},
                   {GL_CLAMP_FRAGMENT_COLOR_ARB, 2},
                   {GL_CLAMP_READ_COLOR_ARB, 3},
                   {GL_MAX_GEOMETRY_OUTPUT_VERTICES_EXT, 777}};
    param.mNBins1 = 2;
    param.mNBins2 = 3;
    param.mNBins3 = 4;
    make();
    gl.framebufferBinding = kFramebuffer;
    gl.take();
    filter->prepareExecution(source, mask, destination);
    EXPECT_EQ(gl.take(), preparation({101, 102}, 103, {"texUnit0", "texUnit1"}, 1));

    const Calls saving = {"glIsEnabled(GL_DEPTH_TEST)",
                          "glDisable(GL_DEPTH_TEST)",
                          "glIsEnabled(GL_BLEND)",
                          "glGetIntegerv(GL_BLEND_SRC)",
                          "glGetIntegerv(GL_BLEND_DST)",
                          "glGetIntegerv(GL_BLEND_EQUATION)",
                          "glGetIntegerv(GL_CLAMP_VERTEX_COLOR_ARB)",
                          "glGetIntegerv(GL_CLAMP_FRAGMENT_COLOR_ARB)",
                          "glGetIntegerv(GL_CLAMP_READ_COLOR_ARB)",
                          "glEnable(GL_BLEND)",
                          "glBlendEquation(GL_FUNC_ADD)",
                          "glBlendFunc(GL_ONE, GL_ONE)",
                          "glClampColorARB(GL_CLAMP_VERTEX_COLOR_ARB, 0)",
                          "glClampColorARB(GL_CLAMP_FRAGMENT_COLOR_ARB, 0)",
                          "glClampColorARB(GL_CLAMP_READ_COLOR_ARB, 0)"};
    const Calls counting = Calls{"glClearColor(0, 0, 0, 0)", "glClear(GL_COLOR_BUFFER_BIT)"} +
                           Calls{uniformLocation(2, "nbins1"), "glUniform1i(1, 2)"} +
                           Calls{uniformLocation(2, "nbins2"), "glUniform1i(2, 3)"} +
                           Calls{uniformLocation(2, "nbins3"), "glUniform1i(3, 4)"} +
                           Calls{uniformLocation(2, "xres"), "glUniform1i(4, 25)"} +
                           Calls{uniformLocation(2, "yres"), "glUniform1i(5, 12)", kGetError} + kBlocksOf25By12;
    const Calls restoring = {"glClampColorARB(GL_CLAMP_VERTEX_COLOR_ARB, 1)",
                             "glClampColorARB(GL_CLAMP_FRAGMENT_COLOR_ARB, 2)",
                             "glClampColorARB(GL_CLAMP_READ_COLOR_ARB, 3)",
                             "glDisable(GL_BLEND)",
                             "glBlendEquation(GL_FUNC_SUBTRACT)",
                             "glBlendFunc(GL_SRC_ALPHA, GL_ZERO)",
                             "glEnable(GL_DEPTH_TEST)"};
    Pass pass = {kFramebuffer, kProgram, 6, {101, 102}, 25, 12, {8, 9}};
    pass.listBuilding =
        compiledList(6, {"glBegin(GL_POINTS)", "glColor3f(0, 0, 0)", "glVertex2f(0, 0)", "glEnd()"}); // and not called
    gl.enabled = {GL_DEPTH_TEST};
    filter->execute();
    EXPECT_EQ(gl.take(), saving + setUpCalls(pass) + counting + cleanUpCalls(pass) + restoring);
    pass.listBuilding = {};
    filter->execute();
    EXPECT_EQ(gl.take(), saving + setUpCalls(pass) + counting + cleanUpCalls(pass) + restoring);

    filter.reset();
    EXPECT_EQ(gl.take(), Calls{"glDeleteLists(6, 1)"} + destruction(2, {3, 5, 4})); // by text
}

TEST_F(ColorHistShader, WithoutAListThereIsNoneToDelete)
{
    makeAndPrepare();
    filter.reset();
    EXPECT_EQ(gl.takeOnly({"glDeleteLists"}), Calls{});
}

TEST_F(ColorHistShader, TheShadersAreTheStatedOnes)
{
    make();
    const std::string version = "#version 130\n", geometryShader = "#extension GL_EXT_geometry_shader4 : enable\n",
                      clamp = "#extension GL_ARB_color_buffer_float : enable // Important to remove color clamping "
                              "(floating-point textures)\n",
                      rectangle = "#extension GL_ARB_texture_rectangle : enable\n";
    const std::string vertex = gl.shaderSources.at(3), geometry = gl.shaderSources.at(4),
                      fragment = gl.shaderSources.at(5);
    EXPECT_EQ(vertex.rfind(clamp, 0), 0u);
    EXPECT_EQ(withoutBlanks(vertex),
              withoutBlanks(clamp + "void main(void) { gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;"
                                    "gl_FrontColor = gl_Color; }"));
    EXPECT_EQ(fragment.rfind(clamp + rectangle, 0), 0u);
    EXPECT_EQ(withoutBlanks(fragment),
              withoutBlanks(clamp + rectangle + "void main(void) { gl_FragColor = gl_Color; }"));

    const std::string head = version + geometryShader + clamp + rectangle;
    EXPECT_EQ(geometry.rfind(head, 0), 0u);
    const std::string comments[] = {"// Here we store the camera input image", "// Here we store the sampling mask",
                                    "//TODO: max memory allocation for the histogram?",
                                    "// The point is the origin of a block, its colour the block's size",
                                    "// Four cells a texel, side by side in the first row"};
    std::string code = geometry.substr(head.size());
    for (const std::string& comment : comments) {
        const std::size_t place = code.find(comment + "\n");
        ASSERT_NE(place, std::string::npos) << comment;
        code.erase(place, comment.size());
    }
    EXPECT_EQ(
        withoutBlanks(code),
        withoutBlanks("uniform sampler2DRect texUnit0; uniform sampler2DRect texUnit1;"
                      "uniform int nbins1; uniform int nbins2; uniform int nbins3; uniform int xres; uniform int yres;"
                      "void main(void) {"
                      "int hist[1000]; int nb = nbins1*nbins2*nbins3; for (int i = 0; i < nb; i++) hist[i] = 0;"
                      "int x0 = int((gl_PositionIn[0].x+1.0)*float(xres)/2.0);"
                      "int y0 = int((gl_PositionIn[0].y+1.0)*float(yres)/2.0);"
                      "int width = int(gl_FrontColorIn[0].r); int height = int(gl_FrontColorIn[0].g);"
                      "for (int x = x0; x < x0+width; x++) { for (int y = y0; y < y0+height; y++) {"
                      "vec4 col = texture2DRect(texUnit0, vec2(float(x),float(y)));"
                      "int bin1 = min(int(floor(col[0]*float(nbins1))),nbins1-1);"
                      "int bin2 = min(int(floor(col[1]*float(nbins2))),nbins2-1);"
                      "int bin3 = min(int(floor(col[2]*float(nbins3))),nbins3-1);"
                      "int cell = bin1+nbins1*(bin2+nbins2*bin3); hist[cell]++; } }"
                      "for (int i = 0; i < nb/4; i++) {"
                      "gl_Position = vec4(-1.0+float(i)*2.0/float(xres),-1.0,0.0,1.0);"
                      "gl_FrontColor = vec4(float(hist[4*i]), float(hist[4*i+1]), float(hist[4*i+2]),"
                      "float(hist[4*i+3])); EmitVertex(); }"
                      "EndPrimitive(); }"));
}

TEST_F(ColorHistShader, WithoutAGeometryShaderItsSourceIsEmpty)
{
    param.mNoGeometryShader = true;
    make();
    EXPECT_EQ(gl.shaderSources.at(4), "");
}

TEST_F(ColorHistShader, ADriverWithoutGeometryShadersEndsTheProcess)
{
    EXPECT_EXIT(
        {
            __glewProgramParameteriEXT = nullptr;
            cvprocess::ColorHistShader(&param, nullptr);
        },
        testing::ExitedWithCode(255), exactly("ERROR: GL_EXT_geometry_shader4 not available!\n"));
}

TEST_F(ColorHistShader, AllFieldsOfTheCallersRecordAreCopied)
{
    param = {1, 2, 3, 4, 5, true, 6, 7, 8};
    make();
    const cvprocess::ColorHistShader::Param& own = *filter->params();
    EXPECT_NE(&own, &param);
    EXPECT_EQ(std::vector<int>({own.mNBins1, own.mNBins2, own.mNBins3, own.mXres, own.mYres, own.mNoGeometryShader,
                                own.mReserved1, own.mReserved2, own.mBlockSize}),
              std::vector<int>({1, 2, 3, 4, 5, 1, 6, 7, 8}));
}

TEST(ColorHistShaderParam, DefaultsAreTheStatedOnes)
{
    const cvprocess::ColorHistShader::Param defaults;
    EXPECT_EQ(
        std::vector<int>({defaults.mNBins1, defaults.mNBins2, defaults.mNBins3, defaults.mXres, defaults.mYres,
                          defaults.mNoGeometryShader, defaults.mReserved1, defaults.mReserved2, defaults.mBlockSize}),
        std::vector<int>({16, 16, 8, 1, 1, 0, 1, 1, 10}));
}

TEST_F(ColorHistShader, AThousandCellsAreAccepted)
{
    param.mNBins1 = param.mNBins2 = param.mNBins3 = 10;
    make();
    EXPECT_EQ(construction.err, "");
}

TEST_F(ColorHistShader, BlocksAreDrawnColumnByColumn)
{
    makeAndPrepare();
    filter->params()->mBlockSize = 6;
    filter->addROI(2, 0, 13, 11); // 12 x 12 pixels: the second corner belongs to the region
    EXPECT_EQ(points(), (Calls{"glBegin(GL_POINTS)", "glColor3f(6, 6, 0)", "glVertex2f(2, 0)", "glVertex2f(2, 6)",
                               "glVertex2f(8, 0)", "glVertex2f(8, 6)", "glEnd()"}));
}

TEST_F(ColorHistShader, WithoutARegionTheDestinationIsTheRegion)
{
    TextureGpu smaller(104, 10, 7, GL_FLOAT, GL_RGBA, GL_RGBA32F_ARB, GL_TEXTURE_RECTANGLE_ARB);
    make();
    filter->prepareExecution(source, mask, smaller);
    filter->params()->mBlockSize = 7;
    EXPECT_EQ(points(), (Calls{"glBegin(GL_POINTS)", "glColor3f(7, 7, 0)", "glVertex2f(0, 0)", "glColor3f(3, 7, 0)",
                               "glVertex2f(7, 0)", "glEnd()"}));
}

TEST_F(ColorHistShader, TheShaderIsToldTheSizeOfTheRecordNotThatOfATexture)
{
    param.mXres = 40;
    param.mYres = 30;
    gl.uniformLocations = {{"nbins1", 1}, {"nbins2", 2}, {"nbins3", 3}, {"xres", 4}, {"yres", 5}};
    makeAndPrepare();
    filter->execute();
    EXPECT_EQ(gl.takeOnly({"glUniform1i"}), (Calls{"glUniform1i(1, 3)", "glUniform1i(2, 3)", "glUniform1i(3, 3)",
                                                   "glUniform1i(4, 40)", "glUniform1i(5, 30)"}));
}

TEST_F(ColorHistShader, OnlyTheFirstRegionCounts)
{
    makeAndPrepare();
    filter->addROI(3, 4, 3, 4); // one pixel
    filter->addROI(0, 0, 24, 11);
    EXPECT_EQ(points(), (Calls{"glBegin(GL_POINTS)", "glColor3f(10, 10, 0)", "glColor3f(1, 10, 0)",
                               "glColor3f(10, 1, 0)", "glColor3f(1, 1, 0)", "glVertex2f(3, 4)", "glEnd()"}));
}

TEST_F(ColorHistShader, BlendingThatWasOnStaysOnAndADepthTestThatWasOffStaysOff)
{
    makeAndPrepare();
    gl.enabled = {GL_BLEND};
    filter->execute();
    EXPECT_EQ(gl.enabled.count(GL_BLEND), 1u);
    EXPECT_EQ(gl.enabled.count(GL_DEPTH_TEST), 0u);
}

TEST_F(ColorHistShader, ANewListReplacesAValidOne)
{
    makeAndPrepare();
    filter->execute();
    filter->prepareDisplayList();
    EXPECT_EQ(gl.displayLists.size(), 1u);
    EXPECT_EQ(gl.takeOnly({"glDeleteLists"}), Calls{"glDeleteLists(6, 1)"});
}

TEST_F(ColorHistShader, AnErrorOfTheUniformsIsReportedAtTheCheckpoint)
{
    makeAndPrepare();
    filter->prepareDisplayList();
    gl.errorOfCall = {{"glUniform1i", GL_INVALID_OPERATION}};
    const Output output = capture([&] { filter->execute(); });
    EXPECT_EQ(output.err.rfind("Error: invalid operation at 1.CP\n", 0), 0u);
}

TEST_F(ColorHistShader, ReadingBackIsTheStatedSequence)
{
    gl.integers[GL_READ_BUFFER] = GL_BACK;
    gl.integers[GL_CLAMP_READ_COLOR_ARB] = 3;
    makeAndPrepare();
    gl.framebufferBinding = 0;
    ColourHist2d histogram(3, 3, 3);
    filter->copyHistoFromGPU(histogram);
    EXPECT_EQ(gl.take(), (Calls{
                             "glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 1)",
                             "glGetIntegerv(GL_READ_BUFFER)",
                             "glReadBuffer(GL_COLOR_ATTACHMENT1_EXT)",
                             "glGetIntegerv(GL_CLAMP_VERTEX_COLOR_ARB)",
                             "glGetIntegerv(GL_CLAMP_FRAGMENT_COLOR_ARB)",
                             "glGetIntegerv(GL_CLAMP_READ_COLOR_ARB)",
                             "glClampColorARB(GL_CLAMP_VERTEX_COLOR_ARB, 0)",
                             "glClampColorARB(GL_CLAMP_FRAGMENT_COLOR_ARB, 0)",
                             "glClampColorARB(GL_CLAMP_READ_COLOR_ARB, 0)",
                             "glBindTexture(GL_TEXTURE_RECTANGLE_ARB, 103)",
                             "glReadPixels(0, 0, 6, 1, GL_RGBA, GL_FLOAT, data)",
                             "glClampColorARB(GL_CLAMP_VERTEX_COLOR_ARB, 0)",
                             "glClampColorARB(GL_CLAMP_FRAGMENT_COLOR_ARB, 0)",
                             "glClampColorARB(GL_CLAMP_READ_COLOR_ARB, 3)",
                             "glReadBuffer(GL_BACK)",
                             "glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0)",
                         }));
}

/// Answers a read of texels with 1, 2, 3, ...
void countUp(GLsizei width, void* pixels)
{
    auto* const values = static_cast<float*>(pixels);
    for (int i = 0; i < 4 * width; ++i)
        values[i] = static_cast<float>(i + 1);
}

TEST_F(ColorHistShader, CountsAreDividedByTheRegionsPixelsAndTheLastCellsAreZero)
{
    gl.readPixels = countUp;
    makeAndPrepare();
    filter->addROI(2, 1, 5, 5); // 4 x 5 pixels
    ColourHist2d histogram(3, 3, 3);
    std::fill(&histogram.data()[0], &histogram.data()[26] + 1, 99.0);
    filter->copyHistoFromGPU(histogram);
    for (unsigned k = 0; k < 24; ++k)
        EXPECT_EQ(histogram.data()[k], (k + 1) / 20.0) << k;
    for (unsigned k = 24; k < 27; ++k)
        EXPECT_EQ(histogram.data()[k], 0.0) << k;
}

TEST_F(ColorHistShader, WithoutARegionCountsAreDividedByTheDestinationsPixels)
{
    gl.readPixels = countUp;
    makeAndPrepare();
    ColourHist2d histogram(3, 3, 3);
    filter->copyHistoFromGPU(histogram);
    EXPECT_EQ(histogram.data()[5], 6.0 / (25 * 12));
}

TEST_F(ColorHistShader, TheReadBufferHoldsEveryCellWhateverTheSizesSay)
{
    gl.readPixels = countUp;
    param.mXres = -1; // no room by the record
    param.mYres = 1;
    makeAndPrepare();
    ColourHist2d small(3, 3, 3);
    filter->copyHistoFromGPU(small);
    EXPECT_GT(small.data()[23], 0.0);

    filter->params()->mNBins3 = 40; // raised after construction
    ColourHist2d large(3, 3, 40);
    filter->copyHistoFromGPU(large);
    EXPECT_GT(large.data()[359], 0.0);

    filter->params()->mNBins3 = 3; // what an earlier read left does not come back
    gl.readPixels = nullptr;
    filter->copyHistoFromGPU(small);
    for (unsigned k = 0; k < 27; ++k)
        EXPECT_EQ(small.data()[k], 0.0);
}

TEST_F(ColorHistShader, AHistogramMayHaveMoreCellsThanTheFilter)
{
    gl.readPixels = countUp;
    makeAndPrepare();
    ColourHist2d histogram(4, 4, 4);
    histogram.data()[27] = 99.0;
    filter->copyHistoFromGPU(histogram);
    EXPECT_EQ(histogram.data()[27], 99.0);
}

#ifndef NDEBUG

TEST_F(ColorHistShader, MoreThanAThousandCellsAreAnAssertion)
{
    const std::string text = assertion(kFile, "mParam.mNBins1*mParam.mNBins2*mParam.mNBins3<=1000 && "
                                              "\"ERROR: Maximum number of histogram cells is 1000!\"");
    param.mNBins1 = param.mNBins2 = 10;
    param.mNBins3 = 11;
    EXPECT_DEATH(cvprocess::ColorHistShader(&param, nullptr), text);
    param.mNBins1 = 7;
    param.mNBins2 = 11;
    param.mNBins3 = 13; // 1001
    EXPECT_DEATH(cvprocess::ColorHistShader(&param, nullptr), text);
    EXPECT_DEATH(cvprocess::ColorHistShader(nullptr, nullptr), text); // the defaults
}

TEST_F(ColorHistShader, MoreCellsThanTheDestinationHasPixelsAreAnAssertion)
{
    TextureGpu tiny(104, 2, 13, GL_FLOAT, GL_RGBA, GL_RGBA32F_ARB, GL_TEXTURE_RECTANGLE_ARB);
    makeAndPrepare();
    filter->prepareExecution(source, mask, tiny);
    EXPECT_DEATH(filter->execute(),
                 assertion(kFile, "(mParam.mNBins1*mParam.mNBins2*mParam.mNBins3)<=mXresDstTex1*mYresDstTex1"));
}

TEST_F(ColorHistShader, APassBeforeThePreparationIsAnAssertion)
{
    make();
    EXPECT_DEATH(filter->execute(), // there is no destination yet, and so no room
                 assertion(kFile, "(mParam.mNBins1*mParam.mNBins2*mParam.mNBins3)<=mXresDstTex1*mYresDstTex1"));
}

TEST_F(ColorHistShader, ABlockSizeOf0IsAnAssertion)
{
    makeAndPrepare();
    filter->params()->mBlockSize = 0;
    EXPECT_DEATH(filter->execute(),
                 assertion(kFile, "mParam.mBlockSize > 0 && \"ColorHistShader::execute(): expected a block size of at "
                                  "least 1\""));
}

TEST_F(ColorHistShader, ReadingBackBeforeThePreparationIsAnAssertion)
{
    make();
    ColourHist2d histogram(3, 3, 3);
    EXPECT_DEATH(filter->copyHistoFromGPU(histogram),
                 assertion(kFile, "mDstTex1 && \"ColorHistShader::copyHistoFromGPU(): expected an execute() before\""));
}

TEST_F(ColorHistShader, AHistogramOfFewerCellsIsAnAssertion)
{
    makeAndPrepare();
    ColourHist2d histogram(3, 3, 2);
    EXPECT_DEATH(filter->copyHistoFromGPU(histogram),
                 assertion(kFile, "data.size() >= cellCount && \"ColorHistShader::copyHistoFromGPU(): expected a "
                                  "histogram of at least the filter's cells\""));
}

TEST_F(ColorHistShader, TheFormOfOneSourceIsAnAssertion)
{
    make();
    EXPECT_DEATH(filter->prepareExecution(source, destination),
                 assertion("cvprocess/gpuStdShaders/GpuStdShaders.cpp", "!mAdditionalInput && \"wrong init\""));
}

#endif

} // namespace
} // namespace velmor::tests
