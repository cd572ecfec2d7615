#include "cvprocess/gpuStdShaders/ColorGMM.h"

#include "tests/script/ScriptTest.h"
#include "tests/support/Models.h"

#include <memory>

using velmor::core::cvdata::TextureGpu;
using velmor::cvprocess::ColorGMM;

namespace velmor::tests {
namespace {

/// A driver that accepts every shader and gives every uniform a location: cov1..4 are 11..14, mean 21..24,
/// weight 31..34, det 41..44, minP 5.
class ColorGMMScript : public ScriptTest
{
protected:
    void SetUp() override
    {
        ScriptTest::SetUp();
        gl.uniformLocations["minP"] = 5;
        for (int mixture = 1; mixture <= 4; ++mixture) {
            const std::string number = std::to_string(mixture);
            gl.uniformLocations["cov" + number] = 10 + mixture;
            gl.uniformLocations["mean" + number] = 20 + mixture;
            gl.uniformLocations["weight" + number] = 30 + mixture;
            gl.uniformLocations["det" + number] = 40 + mixture;
        }
    }

    void makeModelOf(int mixtures)
    {
        std::vector<Gaussian> gaussians;
        for (int mixture = 1; mixture <= mixtures; ++mixture)
            gaussians.push_back(numbered(mixture));
        model = makeModel(gaussians, 0.25);
    }

    void make(int mixtures, ColorGMM::Param* param = nullptr)
    {
        makeModelOf(mixtures);
        construction = capture([&] { filter = std::make_unique<ColorGMM>(&model, param); });
    }

    /// What execute() looks up and sends.
    Calls uniformsOfPass()
    {
        filter->prepareExecution(source, destination);
        gl.take();
        pass = capture([&] { filter->execute(); });
        Calls calls = gl.takeOnly({"glGetUniformLocation", "glUniform1f", "glUniform2f", "glUniform4f", "glUniform1i"});
        return calls;
    }

    std::string fragmentSource() const { return gl.shaderSources.begin()->second; }

    static Calls lookUps(int mixture)
    {
        Calls calls;
        for (const char* const word : {"cov", "mean", "weight", "det"})
            calls.push_back("glGetUniformLocation(2, " + std::string(word) + std::to_string(mixture) + ")");
        return calls;
    }

    /// The numbers of a component, sent to its own slots but for the determinant.
    static Calls sends(int mixture, int detMixture)
    {
        const std::string k = std::to_string(mixture);
        return {"glUniform1f(3" + k + ", " + k + "8)",
                "glUniform4f(1" + k + ", " + k + "1, " + k + "2, " + k + "3, " + k + "4)",
                "glUniform2f(2" + k + ", " + k + "6, " + k + "7)",
                "glUniform1f(4" + std::to_string(detMixture) + ", " + k + "5)"};
    }

    const Calls threshold = {"glGetUniformLocation(2, minP)", "glUniform1f(5, 0.25)"};
    core::cvdata::ColorGMM model;
    std::unique_ptr<ColorGMM> filter;
    Output construction;
    Output pass;
    TextureGpu source{101, 8, 8, GL_UNSIGNED_BYTE, GL_RGB, GL_RGB8, GL_TEXTURE_RECTANGLE_ARB};
    TextureGpu destination{102, 8, 8, GL_UNSIGNED_BYTE, GL_RGBA, GL_RGBA8, GL_TEXTURE_RECTANGLE_ARB};
};

TEST_F(ColorGMMScript, ConstructionBuildsTheProgramAndLooksEveryUniformUp)
{
    make(2);
    const Calls calls = gl.take();
    const auto linked = std::find(calls.begin(), calls.end(), "glLinkProgram(2)");
    ASSERT_NE(linked, calls.end());
    EXPECT_EQ(gl.shaders.size(), 1u); // no vertex shader
    EXPECT_EQ(Calls(calls.end() - 16, calls.end()), lookUps(1) + lookUps(2) + lookUps(3) + lookUps(4));
    EXPECT_EQ(construction.out, "GL_ARB_texture_rectangle : present\nReady for OpenGL 2.x programmable shaders.\n"
                                "Attached shader Id: 3\nShader validation\n");
    EXPECT_EQ(construction.err, "");
}

TEST_F(ColorGMMScript, TheCallersRecordIsCopied)
{
    ColorGMM::Param given;
    given.mBinaryOutput = true;
    make(2, &given);
    EXPECT_NE(filter->params(), &given);
    EXPECT_TRUE(filter->params()->mBinaryOutput);
    filter->params()->mBinaryOutput = false;
    EXPECT_TRUE(given.mBinaryOutput);
    make(2);
    EXPECT_FALSE(filter->params()->mBinaryOutput);
}

TEST_F(ColorGMMScript, TheOutputModeChoosesTheEnding)
{
    make(2);
    EXPECT_NE(fragmentSource().find("gl_FragColor = c;"), std::string::npos);
    EXPECT_EQ(fragmentSource().find("gl_FragColor[0] = 1.0;"), std::string::npos);
    ColorGMM::Param binary;
    binary.mBinaryOutput = true;
    gl.reset();
    make(2, &binary);
    EXPECT_EQ(fragmentSource().find("gl_FragColor = c;"), std::string::npos);
    for (const char* const line : {"gl_FragColor[0] = 1.0;", "gl_FragColor[1] = 1.0;", "gl_FragColor[2] = 1.0;",
                                   "gl_FragColor[3] = 1.0;", "gl_FragColor[0] = 0.0;", "gl_FragColor[1] = 0.0;",
                                   "gl_FragColor[2] = 0.0;", "gl_FragColor[3] = 0.0;", "if (pAll > minP)"})
        EXPECT_NE(fragmentSource().find(line), std::string::npos) << line;
}

int occurrences(const std::string& text, const std::string& part)
{
    int count = 0;
    for (std::size_t place = text.find(part); place != std::string::npos; place = text.find(part, place + 1))
        ++count;
    return count;
}

TEST_F(ColorGMMScript, TheSourcesDifferAsTheyAlwaysHave)
{
    make(1);
    const std::string one = fragmentSource();
    EXPECT_EQ(occurrences(one, "float p1"), 0); // used, not declared
    EXPECT_EQ(occurrences(one, "p1 = (1.0/(pipi * sqrt(det1)) * exp(-0.5*d1));"), 1);
    EXPECT_EQ(occurrences(one, "pAll = weight1*p1;"), 1);
    EXPECT_EQ(occurrences(one, "cov2"), 0);

    gl.reset();
    make(2);
    const std::string two = fragmentSource();
    EXPECT_EQ(occurrences(two, "float p1 = 0.0;"), 1);
    EXPECT_EQ(occurrences(two, "float p2 = 0.0;"), 1);
    EXPECT_EQ(occurrences(two, "p2 = (1.0/(pipi * sqrt(det2)) * exp(-0.5*d2));"), 1);
    EXPECT_EQ(occurrences(two, "pAll = weight1*p1 + weight2*p2;"), 1);

    gl.reset();
    make(3);
    const std::string three = fragmentSource();
    EXPECT_EQ(occurrences(three, "float p2 = 0.0;"), 2); // declared twice
    EXPECT_EQ(occurrences(three, "p2 = (1.0/(pipi * sqrt(det3)) * exp(-0.5*d2));"), 1);
    EXPECT_EQ(occurrences(three, "p3"), 0);
    EXPECT_EQ(occurrences(three, "pAll = weight1*p1 + weight2*p2 + weight3*p2;"), 1);
    // Source 3 is source 2 with one mixture more: up to the sum, but for the uniforms, the texts agree.
    const std::string bodyOfTwo =
        two.substr(two.find("void main"), two.find("    pAll = weight1") - two.find("void main"));
    EXPECT_NE(three.find(bodyOfTwo), std::string::npos);

    const std::string head = "#extension GL_EXT_gpu_shader4 : enable\n"
                             "#extension GL_ARB_texture_rectangle : enable\n"
                             "#extension GL_ARB_draw_buffers : enable\n";
    for (const std::string& text : {one, two, three}) {
        EXPECT_EQ(text.rfind(head, 0), 0u);
        EXPECT_NE(text.find("uniform sampler2DRect inputTexture;\nuniform vec4 cov1;\nuniform vec2 mean1;\n"
                            "uniform float weight1;\nuniform float det1;\n"),
                  std::string::npos);
        EXPECT_NE(text.find("uniform float minP;\n\nvoid main"), std::string::npos);
    }
}

TEST_F(ColorGMMScript, OneMixtureGoesThroughSlot0WhichIsNowhere)
{
    make(1);
    EXPECT_EQ(uniformsOfPass(), threshold + Calls({"glGetUniformLocation(2, cov1)", "glGetUniformLocation(2, mean1)",
                                                   "glGetUniformLocation(2, det1)", "glUniform4f(-1, 11, 12, 13, 14)",
                                                   "glUniform2f(-1, 16, 17)", "glUniform1f(-1, 15)"}));
    EXPECT_EQ(pass.err + pass.out, "");
}

TEST_F(ColorGMMScript, TwoMixturesAreLookedUpAndSentInTurn)
{
    make(2);
    EXPECT_EQ(uniformsOfPass(), threshold + lookUps(1) + sends(1, 1) + lookUps(2) + sends(2, 2));
}

TEST_F(ColorGMMScript, TheThirdDeterminantGoesWhereTheSecondIs)
{
    make(3);
    EXPECT_EQ(uniformsOfPass(),
              threshold + lookUps(1) + sends(1, 1) + lookUps(2) + sends(2, 2) + lookUps(3) + sends(3, 2));
}

TEST_F(ColorGMMScript, FourMixturesAreNotLookedUpAgain)
{
    make(4);
    EXPECT_NE(construction.out.find("not yet supported number of Gauss!!\n"), std::string::npos);
    EXPECT_EQ(uniformsOfPass(), threshold + sends(1, 1) + sends(2, 2) + sends(3, 2) + sends(4, 2));
}

TEST_F(ColorGMMScript, FiveMixturesArePrintedOnBothStreamsAndNothingIsSent)
{
    make(5);
    EXPECT_NE(construction.out.find("not yet supported number of Gauss!!\n"), std::string::npos);
    EXPECT_EQ(construction.err, "");
    EXPECT_EQ(fragmentSource().find("void main"), std::string::npos); // the ending alone
    EXPECT_NE(fragmentSource().find("gl_FragColor = c;"), std::string::npos);
    EXPECT_EQ(uniformsOfPass(), threshold);
    EXPECT_EQ(pass.err, "not implemented number of mixtures\n");
    EXPECT_EQ(pass.out, "");
}

TEST_F(ColorGMMScript, AModelWithoutMixturesHasNoShaderAndSendsNothing)
{
    make(0);
    EXPECT_NE(construction.out.find("not yet supported number of Gauss!!\n"), std::string::npos);
    EXPECT_EQ(uniformsOfPass(), threshold);
    EXPECT_EQ(pass.err, "not implemented number of mixtures\n");
}

TEST_F(ColorGMMScript, AnEndingAloneEndsTheProcessOnADriverThatChecks)
{
    makeModelOf(5);
    gl.compiles = false;
    EXPECT_EXIT((ColorGMM{&model, nullptr}), testing::ExitedWithCode(255), "ERROR: Unable to compile shader Id: 3\n");
}

TEST_F(ColorGMMScript, TheModelIsReadAnewInEachPass)
{
    make(2);
    uniformsOfPass();
    model.detectionThreshold = 0.5;
    model.mixture[1]->mean[0] = 99.0;
    const Calls calls = uniformsOfPass();
    EXPECT_EQ(calls[1], "glUniform1f(5, 0.5)");
    EXPECT_NE(std::find(calls.begin(), calls.end(), "glUniform2f(22, 99, 27)"), calls.end());
    model.mixture.pop_back(); // the shader stays, the branch follows
    EXPECT_EQ(uniformsOfPass().size(), threshold.size() + 6u);
    EXPECT_EQ(gl.shaders.size(), 1u);
}

TEST_F(ColorGMMScript, ThePassDrawsTheListBetweenTheUniformsAndTheCleanUp)
{
    make(2);
    filter->prepareExecution(source, destination);
    gl.errors.clear();
    gl.take();
    filter->execute();
    const Calls order = gl.takeOnly({"glUseProgram", "glUniform1f", "glCallList", "glFinish"});
    EXPECT_EQ(order.front(), "glUseProgram(2)");
    EXPECT_EQ(Calls(order.end() - 4, order.end()),
              (Calls{"glUniform1f(42, 25)", "glCallList(4)", "glFinish()", "glUseProgram(0)"}));
}

TEST_F(ColorGMMScript, AnErrorOfTheThresholdIsReportedAtItsCheckpoint)
{
    make(1);
    filter->prepareExecution(source, destination);
    gl.errorOfCall = {{"glUniform1f", GL_INVALID_OPERATION}};
    const Output output = capture([&] { filter->execute(); });
    EXPECT_EQ(output.err.rfind("Error: invalid operation at 1.CP\n", 0), 0u);
}

TEST_F(ColorGMMScript, DestructionLeavesTheModelAlone)
{
    make(2);
    filter.reset();
    EXPECT_EQ(model.mixture.size(), 2u);
    EXPECT_TRUE(gl.programs.empty());
    EXPECT_TRUE(gl.shaders.empty());
    EXPECT_TRUE(gl.framebuffers.empty());
}

} // namespace
} // namespace velmor::tests
