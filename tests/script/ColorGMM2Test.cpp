#include "cvprocess/gpuStdShaders/ColorGMM2.h"

#include "tests/script/ScriptTest.h"
#include "tests/support/Models.h"

#include <algorithm>
#include <memory>
#include <sstream>

using velmor::core::cvdata::TextureGpu;
using Model = velmor::core::cvdata::ColorGMM;

namespace velmor::tests {
namespace {

const char* const kFile = "cvprocess/gpuStdShaders/ColorGMM2.cpp";

/// The source as it is stated, line by line: M is the largest number of mixtures, N the number of models.
std::vector<std::string> statedLines(int m, int n)
{
    const std::string mixtures = std::to_string(m), models = std::to_string(n);
    return {"#extension GL_EXT_gpu_shader4 : enable",
            "#extension GL_ARB_texture_rectangle : enable",
            "#extension GL_ARB_draw_buffers : enable",
            "",
            "uniform sampler2DRect inputTexture;",
            "",
            "uniform int nOfClasses;",
            "",
            "uniform struct",
            "{",
            "float det[" + mixtures + "];",
            "mat2 icov[" + mixtures + "];",
            "vec2 mean[" + mixtures + "];",
            "float minP;",
            "int nOfMixtures;",
            "float weight[" + mixtures + "];",
            "",
            "} gmms[" + models + "];",
            "",
            "float pipi = 6.2831853;",
            "float pAll[" + models + "];",
            "float d1 = 0.0;",
            "float p = 0.0;",
            "vec2 delta;",
            "int cls = 0;",
            "int colorClass = -1;",
            "float colorOut = 0.0;",
            "",
            "void main(void)",
            "{",
            "vec2 texCoord = gl_TexCoord[0].xy;",
            "vec4 c  = texture2DRect(inputTexture, texCoord);",
            "",
            "for(int j = 0; j < nOfClasses; j++)",
            "{",
            "pAll[j] = 0.0;",
            "for(int i = 0; i < gmms[j].nOfMixtures; i++)",
            "{",
            "delta[0] = c[0] * 255.0 - gmms[j].mean[i][0];",
            "delta[1] = c[1] * 255.0 - gmms[j].mean[i][1];",
            "d1 = delta[0] * (delta[0] * gmms[j].icov[i][0][0] + delta[1] * gmms[j].icov[i][0][1]);",
            "d1 += delta[1] * (delta[0] * gmms[j].icov[i][1][0] + delta[1] * gmms[j].icov[i][1][1]);",
            "",
            "p = (1.0/(pipi * sqrt(gmms[j].det[i])) * exp(-0.5*d1));",
            "pAll[j] += gmms[j].weight[i] * p;",
            "}",
            "}",
            "",
            "p = -1.0;",
            "",
            "for(int j = 0; j < nOfClasses; j++)",
            "{",
            "if(pAll[j] > p)",
            "{",
            "p = pAll[j];",
            "cls = j;",
            "}",
            "}",
            "if(nOfClasses > 1)",
            "{",
            "gl_FragColor[0] = cls;",
            "}",
            "else",
            "{",
            "if(pAll[0] > gmms[0].minP)",
            "{",
            "gl_FragColor = vec4(1.0, 1.0, 1.0, 1.0);",
            "}",
            "}",
            "}"};
}

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        result.push_back(line);
    return result;
}

/// Models of the given numbers of components.
class ColorGMM2 : public ScriptTest
{
protected:
    void makeModels(const std::vector<int>& mixtures)
    {
        models.clear();
        for (std::size_t j = 0; j < mixtures.size(); ++j) {
            std::vector<Gaussian> gaussians;
            for (int i = 0; i < mixtures[j]; ++i)
                gaussians.push_back(numbered(static_cast<int>(j) * 10 + i));
            models.push_back(makeModel(gaussians, 0.5 + static_cast<double>(j)));
        }
        pointers.clear();
        for (Model& model : models)
            pointers.push_back(&model);
    }

    void make()
    {
        construction = capture([&] { filter = std::make_unique<cvprocess::ColorGMM2>(pointers); });
    }

    std::vector<Model> models;
    std::vector<Model*> pointers;
    std::unique_ptr<cvprocess::ColorGMM2> filter;
    Output construction;
    TextureGpu source{101, 8, 8, GL_UNSIGNED_BYTE, GL_RGB, GL_RGB8, GL_TEXTURE_RECTANGLE_ARB};
    TextureGpu destination{102, 8, 8, GL_FLOAT, GL_RED, GL_R32F, GL_TEXTURE_RECTANGLE_ARB};
};

TEST_F(ColorGMM2, TheGeneratedSourceIsTheStatedOne)
{
    for (const std::vector<int>& mixtures : {std::vector<int>{1}, std::vector<int>{3, 1}, std::vector<int>{9},
                                             std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 2}}) {
        gl.reset();
        makeModels(mixtures);
        make();
        ASSERT_EQ(gl.shaderSources.size(), 1u);
        const std::string text = gl.shaderSources.begin()->second;
        const std::vector<std::string> expected =
            statedLines(*std::max_element(mixtures.begin(), mixtures.end()), static_cast<int>(mixtures.size()));
        EXPECT_EQ(expected.size(), 70u);
        EXPECT_EQ(lines(text), expected);
        EXPECT_EQ(text.back(), '}'); // no line end behind the last line
        filter.reset();
    }
}

TEST_F(ColorGMM2, EveryUniformIsLookedUpByNameWhenItIsSent)
{
    makeModels({2, 1});
    make();
    const std::vector<std::string> names = {
        "nOfClasses",        "gmms[0].minP",      "gmms[0].nOfMixtures", "gmms[0].det[0]",  "gmms[0].icov[0]",
        "gmms[0].mean[0]",   "gmms[0].weight[0]", "gmms[0].det[1]",      "gmms[0].icov[1]", "gmms[0].mean[1]",
        "gmms[0].weight[1]", "gmms[1].minP",      "gmms[1].nOfMixtures", "gmms[1].det[0]",  "gmms[1].icov[0]",
        "gmms[1].mean[0]",   "gmms[1].weight[0]"};
    for (std::size_t i = 0; i < names.size(); ++i)
        gl.uniformLocations[names[i]] = static_cast<GLint>(i);
    const std::vector<std::string> sends = {
        "glUniform1i(0, 2)",         "glUniform1f(1, 0.5)",        "glUniform1i(2, 2)",
        "glUniform1f(3, 5)",         "glUniform4f(4, 1, 2, 3, 4)", "glUniform2f(5, 6, 7)",
        "glUniform1f(6, 8)",         "glUniform1f(7, 15)",         "glUniform4f(8, 11, 12, 13, 14)",
        "glUniform2f(9, 16, 17)",    "glUniform1f(10, 18)",        "glUniform1f(11, 1.5)",
        "glUniform1i(12, 1)",        "glUniform1f(13, 105)",       "glUniform4f(14, 101, 102, 103, 104)",
        "glUniform2f(15, 106, 107)", "glUniform1f(16, 108)"};
    Calls expected;
    for (std::size_t i = 0; i < names.size(); ++i)
        expected = expected + Calls{"glGetUniformLocation(2, " + names[i] + ")", sends[i]};

    filter->prepareExecution(source, destination);
    for (int pass = 0; pass < 2; ++pass) {
        gl.take();
        filter->execute();
        EXPECT_EQ(gl.takeOnly({"glGetUniformLocation", "glUniform1i", "glUniform1f", "glUniform2f", "glUniform4f"}),
                  expected);
    }
}

TEST_F(ColorGMM2, TheArgumentIsCopiedAndTheModelsAreNot)
{
    makeModels({1});
    make();
    pointers.clear();
    models[0].mixture[0]->weight = 77.0f;
    filter->prepareExecution(source, destination);
    gl.take();
    filter->execute();
    EXPECT_EQ(gl.takeOnly({"glUniform1f"}).back(), "glUniform1f(-1, 77)");
    filter.reset();
    EXPECT_EQ(models[0].mixture.size(), 1u);
}

TEST_F(ColorGMM2, NineMixturesAndElevenModelsAreAccepted)
{
    makeModels(std::vector<int>(11, 9));
    make();
    EXPECT_EQ(construction.err, "");
}

#ifndef NDEBUG

TEST_F(ColorGMM2, NoModelIsAnAssertion)
{
    EXPECT_DEATH(cvprocess::ColorGMM2{pointers},
                 assertion(kFile, "!gmms.empty() && \"ColorGMM2::ColorGMM2(): expected at least one model\""));
}

TEST_F(ColorGMM2, AModelWithoutComponentsIsAnAssertion)
{
    const std::string expression =
        "!model->mixture.empty() && \"ColorGMM2::ColorGMM2(): expected models of at least one component\"";
    makeModels({0});
    EXPECT_DEATH(cvprocess::ColorGMM2{pointers}, assertion(kFile, expression));
    makeModels({1, 0});
    EXPECT_DEATH(cvprocess::ColorGMM2{pointers}, assertion(kFile, expression));
}

TEST_F(ColorGMM2, DifferentDimensionsAreAnAssertionBeforeTheOthers)
{
    makeModels({1, 1});
    models[1].mixture[0]->dimension = 5;
    EXPECT_DEATH(cvprocess::ColorGMM2{pointers},
                 assertion(kFile, "gmms[i]->mixture[0]->dimension == gmms[i-1]->mixture[0]->dimension && "
                                  "\"DIFFERENT DIMENSION IN THE GMMs... PLEASE CHECK\""));
}

TEST_F(ColorGMM2, OtherDimensionsThanTwoAreAssertions)
{
    makeModels({1});
    models[0].mixture[0]->dimension = 5;
    EXPECT_DEATH(cvprocess::ColorGMM2{pointers}, assertion(kFile, "dim <= 4 && \"CHECK DIMENSIONS\""));
    for (const int dimension : {1, 3, 4}) {
        models[0].mixture[0]->dimension = dimension;
        EXPECT_DEATH(cvprocess::ColorGMM2{pointers}, assertion(kFile, "dim == 2 && \" NOT IMPLEMENTED YET\""));
    }
}

TEST_F(ColorGMM2, TenMixturesAreAnAssertion)
{
    const std::string expression = "maxMixtures < 10 && \"not supported number of mixtures\"";
    for (const std::vector<int>& mixtures : {std::vector<int>{1, 10}, {10, 1}, std::vector<int>(12, 10)}) {
        makeModels(mixtures);
        EXPECT_DEATH(cvprocess::ColorGMM2{pointers}, assertion(kFile, expression));
    }
}

TEST_F(ColorGMM2, TwelveModelsAreAnAssertion)
{
    makeModels(std::vector<int>(12, 9));
    EXPECT_DEATH(cvprocess::ColorGMM2{pointers},
                 assertion(kFile, "this->gmms.size() < 12 && \"not supported number of gmms!\""));
}

#endif

} // namespace
} // namespace velmor::tests
