#include "cvprocess/gpuStdShaders/ColorGMM.h"

#include "tests/script/ScriptTest.h"
#include "tests/support/Models.h"
#include "tests/support/ShaderText.h"

#include <algorithm>
#include <memory>

using velmor::core::cvdata::TextureGpu;

namespace velmor::tests {
namespace {

/// A driver that accepts every shader and gives every uniform a location: cov1..4 are 11..14, mean 21..24,
/// weight 31..34, det 41..44, minP 5.
class ColorGMM : public ScriptTest
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

    void make(int mixtures, cvprocess::ColorGMM::Param* param = nullptr)
    {
        makeModelOf(mixtures);
        construction = capture([&] { filter = std::make_unique<cvprocess::ColorGMM>(&model, param); });
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
    std::unique_ptr<cvprocess::ColorGMM> filter;
    Output construction;
    Output pass;
    TextureGpu source{101, 8, 8, GL_UNSIGNED_BYTE, GL_RGB, GL_RGB8, GL_TEXTURE_RECTANGLE_ARB};
    TextureGpu destination{102, 8, 8, GL_UNSIGNED_BYTE, GL_RGBA, GL_RGBA8, GL_TEXTURE_RECTANGLE_ARB};
};

TEST_F(ColorGMM, TheCallersRecordIsCopied)
{
    cvprocess::ColorGMM::Param given;
    given.mBinaryOutput = true;
    make(2, &given);
    EXPECT_NE(filter->params(), &given);
    EXPECT_TRUE(filter->params()->mBinaryOutput);
    filter->params()->mBinaryOutput = false;
    EXPECT_TRUE(given.mBinaryOutput);
    make(2);
    EXPECT_FALSE(filter->params()->mBinaryOutput);
}

// The sources as they are stated, without blanks and line ends.

const std::string kExtensions = "#extension GL_EXT_gpu_shader4 : enable\n"
                                "#extension GL_ARB_texture_rectangle : enable\n"
                                "#extension GL_ARB_draw_buffers : enable\n";

/// Extensions, uniforms and the begin of main.
std::string begin(int mixtures)
{
    std::string text = kExtensions + "uniform sampler2DRect inputTexture;";
    for (int mixture = 1; mixture <= mixtures; ++mixture)
        for (const char* const uniform : {"vec4 cov", "vec2 mean", "float weight", "float det"})
            text += "uniform " + (uniform + std::to_string(mixture)) + ";";
    return text + "uniform float minP; void main(void) {"
                  "vec2 texCoord = gl_TexCoord[0].xy; vec4 c = texture2DRect(inputTexture, texCoord);"
                  "float pipi = 2.0 * 3.14159265; float pAll = 0.0; float d1 = 0.0; float d2 = 0.0; vec2 delta;";
}

/// The quadratic form of a mixture.
std::string form(const std::string& k, const std::string& d)
{
    return "delta[0] = c[0] * 255.0 - mean" + k + "[0]; delta[1] = c[1] * 255.0 - mean" + k + "[1];" + d +
           " = delta[0] * (delta[0] * cov" + k + "[0] + delta[1] * cov" + k + "[2]) + delta[1] * (delta[0] * cov" + k +
           "[1] + delta[1] * cov" + k + "[3]);";
}

std::string density(const std::string& p, const std::string& k, const std::string& d)
{
    return p + " = (1.0/(pipi * sqrt(det" + k + ")) * exp(-0.5*" + d + "));";
}

const std::string kBlack = "else { gl_FragColor[0] = 0.0; gl_FragColor[1] = 0.0; gl_FragColor[2] = 0.0;"
                           "gl_FragColor[3] = 0.0; } }";
const std::string kColourEnding = "if (pAll > minP) { gl_FragColor = c; }" + kBlack;
const std::string kBinaryEnding = "if (pAll > minP) { gl_FragColor[0] = 1.0; gl_FragColor[1] = 1.0;"
                                  "gl_FragColor[2] = 1.0; gl_FragColor[3] = 1.0; }" +
                                  kBlack;

const std::string kBodies[] = {
    "",
    begin(1) + form("1", "d1") + density("p1", "1", "d1") + "pAll = weight1*p1;", // p1 is not declared
    begin(2) + form("1", "d1") + "float p1 = 0.0;" + density("p1", "1", "d1") + form("2", "d2") + "float p2 = 0.0;" +
        density("p2", "2", "d2") + "pAll = weight1*p1 + weight2*p2;",
    begin(3) + form("1", "d1") + "float p1 = 0.0;" + density("p1", "1", "d1") + form("2", "d2") + "float p2 = 0.0;" +
        density("p2", "2", "d2") + form("3", "d2") + "float p2 = 0.0;" + density("p2", "3", "d2") + // in p2's place
        "pAll = weight1*p1 + weight2*p2 + weight3*p2;",
    "", // the ending alone
    "",
};

TEST_F(ColorGMM, TheSourcesAreTheStatedOnes)
{
    cvprocess::ColorGMM::Param binary;
    binary.mBinaryOutput = true;
    for (int mixtures = 0; mixtures <= 5; ++mixtures) {
        SCOPED_TRACE(mixtures);
        const std::string& body = kBodies[mixtures];
        gl.reset();
        make(mixtures);
        EXPECT_EQ(fragmentSource().substr(0, body.empty() ? 0 : kExtensions.size()), body.empty() ? "" : kExtensions);
        EXPECT_EQ(withoutBlanks(fragmentSource()), withoutBlanks(body + kColourEnding));
        gl.reset();
        make(mixtures, &binary);
        EXPECT_EQ(withoutBlanks(fragmentSource()), withoutBlanks(body + kBinaryEnding));
    }
}

TEST_F(ColorGMM, OneMixtureGoesThroughSlot0WhichIsNowhere)
{
    make(1);
    EXPECT_EQ(uniformsOfPass(), threshold + Calls({"glGetUniformLocation(2, cov1)", "glGetUniformLocation(2, mean1)",
                                                   "glGetUniformLocation(2, det1)", "glUniform4f(-1, 11, 12, 13, 14)",
                                                   "glUniform2f(-1, 16, 17)", "glUniform1f(-1, 15)"}));
    EXPECT_EQ(pass.err + pass.out, "");
}

TEST_F(ColorGMM, TwoMixturesAreLookedUpAndSentInTurn)
{
    make(2);
    EXPECT_EQ(uniformsOfPass(), threshold + lookUps(1) + sends(1, 1) + lookUps(2) + sends(2, 2));
}

TEST_F(ColorGMM, TheThirdDeterminantGoesWhereTheSecondIs)
{
    make(3);
    EXPECT_EQ(uniformsOfPass(),
              threshold + lookUps(1) + sends(1, 1) + lookUps(2) + sends(2, 2) + lookUps(3) + sends(3, 2));
}

TEST_F(ColorGMM, FourMixturesAreNotLookedUpAgain)
{
    make(4);
    EXPECT_NE(construction.out.find("not yet supported number of Gauss!!\n"), std::string::npos);
    EXPECT_EQ(uniformsOfPass(), threshold + sends(1, 1) + sends(2, 2) + sends(3, 2) + sends(4, 2));
}

TEST_F(ColorGMM, FiveMixturesArePrintedOnBothStreamsAndNothingIsSent)
{
    make(5);
    EXPECT_EQ(construction.out, "GL_ARB_texture_rectangle : present\nReady for OpenGL 2.x programmable shaders.\n"
                                "not yet supported number of Gauss!!\nAttached shader Id: 3\nShader validation\n");
    EXPECT_EQ(construction.err, "");
    EXPECT_EQ(uniformsOfPass(), threshold);
    EXPECT_EQ(pass.err, "not implemented number of mixtures\n");
    EXPECT_EQ(pass.out, "");
}

TEST_F(ColorGMM, AModelWithoutMixturesHasNoShaderAndSendsNothing)
{
    make(0);
    EXPECT_NE(construction.out.find("not yet supported number of Gauss!!\n"), std::string::npos);
    EXPECT_EQ(uniformsOfPass(), threshold);
    EXPECT_EQ(pass.err, "not implemented number of mixtures\n");
}

TEST_F(ColorGMM, AnEndingAloneEndsTheProcessOnADriverThatChecks)
{
    makeModelOf(5);
    gl.compiles = false;
    EXPECT_EXIT((cvprocess::ColorGMM{&model, nullptr}), testing::ExitedWithCode(255),
                "ERROR: Unable to compile shader Id: 3\n");
}

TEST_F(ColorGMM, TheModelIsReadAnewInEachPass)
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

TEST_F(ColorGMM, AnErrorOfTheThresholdIsReportedAtItsCheckpoint)
{
    make(1);
    filter->prepareExecution(source, destination);
    gl.errorOfCall = {{"glUniform1f", GL_INVALID_OPERATION}};
    const Output output = capture([&] { filter->execute(); });
    EXPECT_EQ(output.err.rfind("Error: invalid operation at 1.CP\n", 0), 0u);
}

TEST_F(ColorGMM, DestructionLeavesTheModelAlone)
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
