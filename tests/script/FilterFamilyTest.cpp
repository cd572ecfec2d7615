// The filters of one fragment shader in the frame that they share: what each does from construction to destruction,
// call by call, which names it uses, where its fields and virtual functions stand. Compiled without access control, to
// see fields.

#include "catalogue/GpuFilters.h"
#include "core/cvdata/Image.h"
#include "cvprocess/gpuStdShaders/And.h"
#include "cvprocess/gpuStdShaders/BGR2GRAY.h"
#include "cvprocess/gpuStdShaders/BGR2HSV.h"
#include "cvprocess/gpuStdShaders/BayerRG2GRAY.h"
#include "cvprocess/gpuStdShaders/BayerRG2RGB.h"
#include "cvprocess/gpuStdShaders/Classify.h"
#include "cvprocess/gpuStdShaders/ColorGMM.h"
#include "cvprocess/gpuStdShaders/ColorGMM2.h"
#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/DebugUInt2Float.h"
#include "cvprocess/gpuStdShaders/FlipV.h"
#include "cvprocess/gpuStdShaders/GRAY2Sobel.h"
#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "cvprocess/gpuStdShaders/GlShaderMgr.h"
#include "cvprocess/gpuStdShaders/Laplacian.h"
#include "cvprocess/gpuStdShaders/NonMaxSupression.h"
#include "cvprocess/gpuStdShaders/Not.h"
#include "cvprocess/gpuStdShaders/Or.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "cvprocess/gpuStdShaders/RGB2GRAY.h"
#include "cvprocess/gpuStdShaders/RGB2HSV.h"
#include "cvprocess/gpuStdShaders/Subtract.h"
#include "cvprocess/gpuStdShaders/Xor.h"
#include "tests/script/PassCalls.h"
#include "tests/script/Traced.h"
#include "tests/support/FieldOrder.h"
#include "tests/support/Models.h"
#include "tests/support/ShaderText.h"
#include "tests/support/VirtualSlot.h"

#include <functional>
#include <memory>
#include <regex>
#include <sstream>

using namespace velmor::cvprocess;
using velmor::catalogue::Operator;
using velmor::core::cvdata::TextureGpu;

namespace velmor::tests {
namespace {

using FilterFamilyAsAWhole = ScriptTest;

constexpr GLuint kShader = 3;
constexpr GLuint kList = 4;

constexpr int kNumberLocation = 7; ///< of the uniform of a parameter

struct FilterCase
{
    std::string name;
    std::function<std::unique_ptr<GpuStdShaders>()> make;
    int sources;
    Calls stated;                          ///< what its shader text contains word for word
    Calls samplers;                        ///< asked for by the preparation, with locations 0, 1
    int completenessChecks;                ///< of the preparation
    Calls geometry;                        ///< for a source of 64 x 48 and a destination of 32 x 24
    std::set<std::size_t> overridden = {}; ///< slots besides the destructors
    Calls ownUniforms = {};                ///< calls that set them, between the set-up and the drawing
    std::vector<double> numbers = {};      ///< that uniforms of their own are set to after those, in the shader's order
    const char* framebufferKey = "_ENFORCE_NEW_00";
    Calls afterLinking = {}; ///< what its construction ends with
};

std::ostream& operator<<(std::ostream& stream, const FilterCase& filterCase)
{
    return stream << filterCase.name;
}

template<typename Filter>
std::unique_ptr<GpuStdShaders> make()
{
    if constexpr (std::is_default_constructible_v<Filter>)
        return std::make_unique<Filter>();
    else
        return std::make_unique<Filter>(nullptr);
}

const Calls kPlainQuad = stretchedQuad(64, 48, 32, 24);

/// A filter of two sources that has nothing of its own but its shader and its parameters.
FilterCase ofTwoSources(const Operator& filter)
{
    const Calls stated = {"\nuniform sampler2DRect texUnit0;\n", "\nuniform sampler2DRect texUnit1;\n",
                          "gl_TexCoord[0].xy", "gl_FragColor"};
    const auto make = [&filter] {
        return catalogue::makeGpu(filter.name);
    };
    return {filter.name, make, 2, stated, {"texUnit0", "texUnit1"}, 1, kPlainQuad};
}

/// The same of one source, whose sampler the frame asks for by another name, and so does not find.
FilterCase ofOneSource(const Operator& filter)
{
    const Calls stated = {"\nuniform sampler2DRect inputTexture;\n", "gl_FragData[0]"};
    const auto make = [&filter] {
        return catalogue::makeGpu(filter.name);
    };
    return {filter.name, make, 1, stated, {"texUnit0"}, 2, kPlainQuad};
}

FilterCase ofNot()
{
    FilterCase result = {"Not", make<Not>, 1, {}, {"texUnit0"}, 2, kPlainQuad};
    result.stated = {"\nuniform sampler2DRect texUnit0;\n", "gl_TexCoord[0].xy", "gl_FragColor"};
    result.framebufferKey = "_ENFNOTCE_NEW_0";
    return result;
}

FilterCase ofFlipV()
{
    FilterCase result = ofOneSource(*catalogue::find("FlipV"));
    result.stated.push_back("gl_TexCoord[0].xy");
    result.geometry = quad(corner(0, 48, 0, 0), corner(64, 48, 32, 0), corner(64, 0, 32, 24), corner(0, 0, 0, 24));
    result.overridden = {10};
    return result;
}

FilterCase ofDebugUInt2Float()
{
    const Calls stated = {"\nuniform usampler2DRect inputTexture;\n", "\n#define FACTOR 1.0/65535.0\n",
                          "gl_TexCoord[0].st", "gl_FragData[0]"};
    return {"DebugUInt2Float", make<DebugUInt2Float>, 1, stated, {}, 1, kPlainQuad, {5, 8}};
}

core::cvdata::ColorGMM& modelOfTwo()
{
    static core::cvdata::ColorGMM model = makeModel({numbered(1), numbered(2)}, 0.25);
    return model;
}

FilterCase ofColorGMM()
{
    const auto make = []() -> std::unique_ptr<GpuStdShaders> {
        return std::make_unique<ColorGMM>(&modelOfTwo(), nullptr);
    };
    Calls stated = {"\nuniform sampler2DRect inputTexture;\n", "\nuniform float minP;\n", "gl_TexCoord[0].xy"};
    Calls lookUps[4];
    for (const int k : {1, 2, 3, 4})
        for (const char* const word : {"cov", "mean", "weight", "det"})
            lookUps[k - 1].push_back(uniformLocation(kProgram, word + std::to_string(k)));
    for (const std::string k : {"1", "2"})
        for (const char* const type : {"vec4 cov", "vec2 mean", "float weight", "float det"})
            stated.push_back("\nuniform " + (type + k) + ";\n");

    FilterCase result = {"ColorGMM", make, 1, stated, {"texUnit0"}, 2, kPlainQuad, {5}};
    result.afterLinking = lookUps[0] + lookUps[1] + lookUps[2] + lookUps[3];
    result.ownUniforms = Calls{uniformLocation(kProgram, "minP"), "glUniform1f(-1, 0.25)", kGetError} + lookUps[0] +
                         Calls{"glUniform1f(-1, 18)", "glUniform4f(-1, 11, 12, 13, 14)", "glUniform2f(-1, 16, 17)",
                               "glUniform1f(-1, 15)"} +
                         lookUps[1] +
                         Calls{"glUniform1f(-1, 28)", "glUniform4f(-1, 21, 22, 23, 24)", "glUniform2f(-1, 26, 27)",
                               "glUniform1f(-1, 25)"};
    return result;
}

FilterCase ofColorGMM2()
{
    const auto make = []() -> std::unique_ptr<GpuStdShaders> {
        std::vector<core::cvdata::ColorGMM*> models = {&modelOfTwo()};
        return std::make_unique<ColorGMM2>(models);
    };
    const Calls stated = {"\nuniform sampler2DRect inputTexture;\n", "\nuniform int nOfClasses;\n",
                          "\nuniform struct\n"};
    FilterCase result = {"ColorGMM2", make, 1, stated, {"texUnit0"}, 2, kPlainQuad, {5}};
    const auto send = [&result](const char* name, const char* call) {
        result.ownUniforms = result.ownUniforms + Calls{uniformLocation(kProgram, name), call};
    };
    send("nOfClasses", "glUniform1i(-1, 1)");
    send("gmms[0].minP", "glUniform1f(-1, 0.25)");
    send("gmms[0].nOfMixtures", "glUniform1i(-1, 2)");
    send("gmms[0].det[0]", "glUniform1f(-1, 15)");
    send("gmms[0].icov[0]", "glUniform4f(-1, 11, 12, 13, 14)");
    send("gmms[0].mean[0]", "glUniform2f(-1, 16, 17)");
    send("gmms[0].weight[0]", "glUniform1f(-1, 18)");
    send("gmms[0].det[1]", "glUniform1f(-1, 25)");
    send("gmms[0].icov[1]", "glUniform4f(-1, 21, 22, 23, 24)");
    send("gmms[0].mean[1]", "glUniform2f(-1, 26, 27)");
    send("gmms[0].weight[1]", "glUniform1f(-1, 28)");
    return result;
}

const Calls kGreyText = {"const vec4 lumCoeff = vec4(0.212671, 0.715160, 0.072169,0.0);", "gl_TexCoord[0].st"};
const Calls kHsvText = {"gl_TexCoord[0].st", ".bgra"};
const Calls kBayerText = {"\n#define GRAD 1.0/3.0\n", "\n#define INTERPOL 0.5\n", "\n#define INTERPOL_CROSS 0.5\n",
                          "gl_TexCoord[0].xy"};

/// Lines that shaders contain word for word beside what all have.
const std::map<std::string, Calls> kOwnLines = {
    {"BGR2GRAY", kGreyText + Calls{".bgra"}},
    {"RGB2GRAY", kGreyText},
    {"BGR2HSV", kHsvText + Calls{".rgba"}},
    {"RGB2HSV", kHsvText},
    {"BayerRG2GRAY", kBayerText + Calls{"const vec3 lumCoeff = vec3(0.212671, 0.715160, 0.072169);",
                                        "gl_FragData[0].r = dot(beta, lumCoeff);"}}, // no other channel
    {"BayerRG2RGB", kBayerText + Calls{"gl_FragData[0] = vec4(beta, 0.0);"}},
    {"GRAY2Sobel",
     {"// output requires signed texture with doubled bit size!\n",
      "// STRONGLY avoid using uniform arrays (=from CPU) as kernels\n", "gl_TexCoord[0].xy", "gl_FragData[0].rgb"}},
    {"Laplacian",
     {"gl_TexCoord[0].xy", "uniform int kernelType;\n",
      "// STRONGLY avoid using uniform arrays (=from CPU) as kernels\n"}},
    {"NonMaxSupression",
     {"const float threshold = 1.4142; // considered: 1.4142, 1.5, 2", "gl_TexCoord[0].xy", "gl_FragData[0].rgb"}},
};

/// Filters that have more of their own than that.
const std::map<std::string, FilterCase (*)()> kSpecialCases = {
    {"ColorGMM", ofColorGMM}, {"ColorGMM2", ofColorGMM2}, {"DebugUInt2Float", ofDebugUInt2Float}, {"FlipV", ofFlipV},
    {"Not", ofNot},
};

FilterCase caseOf(const Operator& filter)
{
    const auto special = kSpecialCases.find(filter.name);
    if (special != kSpecialCases.end())
        return special->second();
    FilterCase result = filter.sources == 2 ? ofTwoSources(filter) : ofOneSource(filter);
    const auto ownLines = kOwnLines.find(filter.name);
    if (ownLines != kOwnLines.end())
        result.stated = result.stated + ownLines->second;
    for (const catalogue::Parameter& parameter : filter.parameters)
        result.numbers.push_back(parameter.initial);
    if (!result.numbers.empty())
        result.overridden = {5};
    return result;
}

/// The filters of one shader: all but the two that count, which have several.
std::vector<FilterCase> filtersOfOneShader()
{
    std::vector<FilterCase> result;
    for (const Operator& each : catalogue::operators())
        if (each.kind == catalogue::Kind::FILTER && each.gives != catalogue::Data::HISTOGRAM &&
            each.gives != catalogue::Data::COUNTS)
            result.push_back(caseOf(each));
    return result;
}

/// Every filter of the family in turn.
class FilterFamilyScript : public ScriptTest, public testing::WithParamInterface<FilterCase>
{
protected:
    void SetUp() override
    {
        ScriptTest::SetUp();
        gl.maxColorAttachments = 3;
        for (std::size_t unit = 0; unit < GetParam().samplers.size(); ++unit)
            gl.uniformLocations[GetParam().samplers[unit]] = static_cast<GLint>(unit);
    }

    std::unique_ptr<GpuStdShaders> makeFilter()
    {
        std::unique_ptr<GpuStdShaders> filter;
        output = capture([&] { filter = GetParam().make(); });
        return filter;
    }

    bool twoSources() const { return GetParam().sources == 2; }

    /// The calls that send the numbers of the filter, each to a uniform of its own, to which this gives a place.
    Calls numbersSent()
    {
        const std::string source = gl.shaderSources.at(kShader);
        const std::regex declaration("\nuniform (int|float) (\\w+);");
        std::sregex_iterator uniform(source.begin(), source.end(), declaration);
        Calls calls;
        for (const double number : GetParam().numbers) {
            if (uniform == std::sregex_iterator()) {
                ADD_FAILURE() << "no uniform for " << number;
                return calls;
            }
            const std::string name = (*uniform)[2];
            gl.uniformLocations[name] = kNumberLocation;
            std::ostringstream sent;
            sent << ((*uniform)[1] == "int" ? "glUniform1i(" : "glUniform1f(") << kNumberLocation << ", " << number
                 << ")";
            calls = calls + Calls{uniformLocation(kProgram, name), sent.str()};
            ++uniform;
        }
        return calls;
    }

    void prepare(GpuStdShaders& filter)
    {
        if (twoSources())
            filter.prepareExecution(source1, source2, destination);
        else
            filter.prepareExecution(source1, destination);
    }

    TextureGpu source1 = texture(101, 64, 48);
    TextureGpu source2 = texture(102, 64, 48);
    TextureGpu destination = texture(103, 32, 24);
    Output output;
};

INSTANTIATE_TEST_SUITE_P(Family, FilterFamilyScript, testing::ValuesIn(filtersOfOneShader()),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(FilterFamilyScript, IsConstructedByTheStatedCalls)
{
    const auto filter = makeFilter();
    EXPECT_EQ(gl.take(), programBegun() + shaderAttached("GL_FRAGMENT_SHADER", kShader) + programLinked() +
                             GetParam().afterLinking);
    EXPECT_EQ(output.out, "GL_ARB_texture_rectangle : present\n"
                          "Ready for OpenGL 2.x programmable shaders.\n"
                          "Attached shader Id: 3\n"
                          "Shader validation\n");
    EXPECT_EQ(output.err, "");
}

TEST_P(FilterFamilyScript, IsPreparedByTheStatedCalls)
{
    const auto filter = makeFilter();
    filter->mCurrentFbo->bind();
    gl.take();
    output = capture([&] { prepare(*filter); });

    const std::vector<unsigned> sources = twoSources() ? std::vector<unsigned>{101, 102} : std::vector<unsigned>{101};
    EXPECT_EQ(gl.take(), preparation(sources, 103, GetParam().samplers, GetParam().completenessChecks));
    EXPECT_EQ(output.out + output.err, "");
}

TEST_P(FilterFamilyScript, RunsByTheStatedCallsAndBuildsItsListOnce)
{
    const auto filter = makeFilter();
    prepare(*filter);
    gl.take();
    Pass pass = {kFramebuffer, kProgram, kList, {101}, 32, 24, {GetParam().samplers.empty() ? -1 : 0}};
    if (twoSources()) {
        pass.sources.push_back(102);
        pass.locations.push_back(1);
    }
    pass.beforeDrawing = GetParam().ownUniforms + numbersSent();

    pass.listBuilding = compiledList(kList, GetParam().geometry);
    output = capture([&] { filter->execute(); });
    EXPECT_EQ(gl.take(), passCalls(pass));
    EXPECT_EQ(output.out + output.err, "");

    pass.listBuilding = {};
    filter->execute();
    EXPECT_EQ(gl.take(), passCalls(pass));
}

TEST_P(FilterFamilyScript, GoesByTheStatedCallsAndLeavesADisplayListAlone)
{
    auto filter = makeFilter();
    prepare(*filter);
    filter->execute();
    gl.take();
    filter.reset();

    EXPECT_EQ(gl.take(), destruction(static_cast<std::size_t>(GetParam().sources), {kShader}));
    EXPECT_TRUE(gl.framebuffers.empty());
    EXPECT_TRUE(gl.programs.empty());
    EXPECT_TRUE(gl.shaders.empty());
    EXPECT_EQ(gl.displayLists, std::set<GLuint>{kList});
}

TEST_P(FilterFamilyScript, UsesTheNamesOfItsClass)
{
    const auto filter = makeFilter();
    ASSERT_EQ(filter->mFbos.size(), 1u);
    EXPECT_EQ(filter->mFbos.begin()->first, GetParam().framebufferKey);
    EXPECT_EQ(filter->mFbos.begin()->second, filter->mCurrentFbo);
    const std::map<std::string, std::uint32_t> programs = {{"cvprocess/gpuStdShaders/" + GetParam().name, kProgram}};
    EXPECT_EQ(filter->mShaderMgr->mProgObjs, programs);
    EXPECT_EQ(filter->mProgObj, kProgram);
    EXPECT_EQ(filter->mAdditionalInput, twoSources());
}

TEST_P(FilterFamilyScript, HasTheShaderHeadOfTheFamilyAndItsOwnStatedLines)
{
    const auto filter = makeFilter();
    const std::string source = gl.shaderSources.at(kShader);
    EXPECT_EQ(source.rfind("#extension GL_EXT_gpu_shader4 : enable\n"
                           "#extension GL_ARB_texture_rectangle : enable\n"
                           "#extension GL_ARB_draw_buffers : enable\n",
                           0),
              0u);
    EXPECT_EQ(source.find("#version"), std::string::npos);
    std::size_t statedUniforms = GetParam().numbers.size();
    for (const std::string& text : GetParam().stated) {
        EXPECT_NE(source.find(text), std::string::npos) << text;
        statedUniforms += text.rfind("\nuniform ", 0) == 0;
    }
    std::size_t uniforms = 0;
    for (std::size_t at = source.find("\nuniform "); at != std::string::npos; at = source.find("\nuniform ", at + 1))
        ++uniforms;
    EXPECT_EQ(uniforms, statedUniforms);
}

// Pairs of filters whose shaders are the same text but for the lines in which they differ by purpose.

/// The shader text of a filter, the only one in its context.
template<typename Filter>
std::string shaderText()
{
    ScriptedGl::instance().reset();
    capture([] { make<Filter>(); });
    return ScriptedGl::instance().shaderSources.at(kShader);
}

/// A text with a part of it, which stands there once, replaced.
std::string replaced(std::string text, const std::string& part, const std::string& other)
{
    const std::size_t place = text.find(part);
    if (place == std::string::npos || text.find(part, place + 1) != std::string::npos) {
        ADD_FAILURE() << "not once: " << part;
        return text;
    }
    return text.replace(place, part.size(), other);
}

TEST_F(FilterFamilyAsAWhole, TheGreyFiltersDifferInAnExchangeOfEqualChannelsAlone)
{
    EXPECT_EQ(replaced(shaderText<BGR2GRAY>(), "vec4(grey).bgra;", "vec4(grey);"), shaderText<RGB2GRAY>());
}

TEST_F(FilterFamilyAsAWhole, TheHsvFiltersDifferInTheOrderOfTheStoredColoursAlone)
{
    EXPECT_EQ(replaced(shaderText<BGR2HSV>(), "gl_TexCoord[0].st).rgba;", "gl_TexCoord[0].st).bgra;"),
              shaderText<RGB2HSV>());
}

const char* const kBayerWeights = "    const vec3 lumCoeff = vec3(0.212671, 0.715160, 0.072169);\n";

TEST_F(FilterFamilyAsAWhole, TheBayerFiltersDifferInWhatTheyWriteAlone)
{
    const std::string withoutWeights = replaced(shaderText<BayerRG2GRAY>(), kBayerWeights, "");
    EXPECT_EQ(replaced(withoutWeights, "gl_FragData[0].r = dot(beta, lumCoeff);", "gl_FragData[0] = vec4(beta, 0.0);"),
              shaderText<BayerRG2RGB>());
}

// What no pixel shows: values that are not written have none, and the composition along the column is never reached.
TEST_F(FilterFamilyAsAWhole, TheBayerFiltersHoldTheirTablesAndTheCompositionThatIsNotUsed)
{
    const std::string text = shaderText<BayerRG2RGB>();
    for (const char* const site : {"if (site == 0) // red_top_left\n", "if (site == 1) // green_top_right\n",
                                   "if (site == 2) // green_bottom_left\n", "else // blue_bottom_right\n"})
        EXPECT_NE(text.find(site), std::string::npos) << site;

    const std::string code = withoutBlanks(text);
    for (const std::string part :
         {"float lowPassOffset[2]; lowPassOffset[0] = -2.0; lowPassOffset[1] = 2.0;",
          "float interpolationOffset[2]; interpolationOffset[0] = -1.0; interpolationOffset[1] = 1.0;",
          "alphaH += raw(lowPassOffset[i], 0.0);", "alphaV += raw(0.0, lowPassOffset[i]);",
          "gammaH += raw(interpolationOffset[i], 0.0);", "gammaV += raw(0.0, interpolationOffset[i]);",
          "alphaV = (alphaV + centre) * GRAD;", "float lambdaV = contrast(centre, alphaV);",
          "if (abs(lambdaH) <= abs(lambdaH))",
          "else { if (site == 0) beta = vec3(alphaV, gammaV, gammaX);"
          "else if (site == 1) beta = vec3(gammaH, alphaV, gammaV);"
          "else if (site == 2) beta = vec3(gammaV, alphaV, gammaH);"
          "else beta = vec3(gammaX, gammaV, alphaV);"
          "beta = beta * (1.0 + lambdaV); }"})
        EXPECT_NE(code.find(withoutBlanks(part)), std::string::npos) << part;
}

/// The virtual functions of an object, those of its destructor first.
template<typename Object>
void* const* functionTable(const Object& object)
{
    return *reinterpret_cast<void* const* const*>(&object);
}

/// The slots, counted from 1 and without the destructors, whose function is not the base's.
std::set<std::size_t> overriddenSlots(const GpuStdShaders& filter)
{
    const GpuStdShaders base(false);
    std::set<std::size_t> result;
    for (std::size_t slot = 3; slot <= 13; ++slot)
        if (functionTable(filter)[slot - 1] != functionTable(base)[slot - 1])
            result.insert(slot);
    return result;
}

/// A container with nothing of its own.
struct Container : core::util::ParameterContainer
{
    void init() override {}
};

TEST_F(FilterFamilyAsAWhole, TheFrameLeavesTheCallBackOfChangedParametersToItsBase)
{
    const GpuStdShaders frame(false);
    const Container container;
    EXPECT_EQ(functionTable(frame)[4 - 1], functionTable(container)[4 - 1]);
}

TEST_P(FilterFamilyScript, OverridesTheStatedVirtualFunctionsAlone)
{
    capture([&] { EXPECT_EQ(overriddenSlots(*GetParam().make()), GetParam().overridden); });
}

TEST_P(FilterFamilyScript, InstancesOwnProgramsAndFramebuffersOfTheirOwn)
{
    const auto first = makeFilter();
    const auto second = makeFilter();
    EXPECT_NE(first->mProgObj, second->mProgObj);
    EXPECT_NE(first->mCurrentFbo, second->mCurrentFbo);
    EXPECT_EQ(gl.programs.size(), 2u);
    EXPECT_EQ(gl.framebuffers.size(), 2u);
}

template<typename Filter, typename... Arguments>
void expectVirtualStages(Arguments&&... arguments)
{
    TextureGpu source = texture(101, 64, 48), mask = texture(102, 64, 48), destination = texture(103, 64, 48);
    std::unique_ptr<Traced<Filter>> filter;
    capture([&] { filter = std::make_unique<Traced<Filter>>(arguments...); });
    if (filter->mAdditionalInput)
        filter->prepareExecution(source, mask, destination);
    else
        filter->prepareExecution(source, destination);
    filter->execute();
    EXPECT_EQ(filter->trace, "init list mapping cleanUp ");
}

ColorHistShader::Param smallHistogram()
{
    ColorHistShader::Param param;
    param.mNBins1 = param.mNBins2 = param.mNBins3 = 2;
    return param;
}

TEST_F(FilterFamilyAsAWhole, FiltersWithAPassOfTheirOwnCallItsStagesVirtually)
{
    std::vector<core::cvdata::ColorGMM*> models = {&modelOfTwo()};
    ColorHistShader::Param histogram = smallHistogram();
    expectVirtualStages<Laplacian>(nullptr);
    expectVirtualStages<DebugUInt2Float>();
    expectVirtualStages<ColorGMM>(&modelOfTwo(), nullptr);
    expectVirtualStages<ColorGMM2>(models);
    expectVirtualStages<ColorHistShader>(&histogram, nullptr);
}

#ifndef NDEBUG
TEST_P(FilterFamilyScript, TheFormOfPreparationForAnotherNumberOfSourcesIsAnAssertion)
{
    const char* const file = "cvprocess/gpuStdShaders/GpuStdShaders.cpp";
    const auto filter = makeFilter();
    if (twoSources())
        EXPECT_DEATH(filter->prepareExecution(source1, destination),
                     assertion(file, "!mAdditionalInput && \"wrong init\""));
    else
        EXPECT_DEATH(filter->prepareExecution(source1, source2, destination),
                     assertion(file, "mAdditionalInput && \"wrong init\""));
}
#endif

// The two filters of several shaders have the frame but for their construction, their list and the histogram's pass,
// which their own tests follow.

void expectNames(const GpuStdShaders& filter, const char* program, bool twoSources)
{
    ASSERT_EQ(filter.mFbos.size(), 1u);
    EXPECT_EQ(filter.mFbos.begin()->first, "_ENFORCE_NEW_00");
    EXPECT_EQ(filter.mShaderMgr->mProgObjs, (std::map<std::string, std::uint32_t>{{program, kProgram}}));
    EXPECT_EQ(filter.mAdditionalInput, twoSources);
}

TEST_F(FilterFamilyAsAWhole, TheReductionsUseTheNamesOfTheirClassAndOverrideTheStatedVirtualFunctionsAlone)
{
    capture([&] {
        const PixelCount count;
        expectNames(count, "cvprocess/gpuStdShaders/PixelCount", false);
        EXPECT_EQ(overriddenSlots(count), (std::set<std::size_t>{10}));
        gl.reset();
        ColorHistShader::Param param = smallHistogram();
        const ColorHistShader histogram(&param, nullptr);
        expectNames(histogram, "cvprocess/gpuStdShaders/ColorHistShader", true);
        EXPECT_EQ(overriddenSlots(histogram), (std::set<std::size_t>{5, 10}));
    });
}

// Parameters

template<typename Filter>
void expectOwnParameters()
{
    typename Filter::Param given;
    std::unique_ptr<Filter> filter;
    capture([&] { filter = std::make_unique<Filter>(&given); });
    EXPECT_EQ(filter->params(), &filter->mParam);
    EXPECT_NE(filter->params(), &given);
}

TEST_F(FilterFamilyAsAWhole, ParamsIsTheFiltersOwnRecord)
{
    expectOwnParameters<Not>();
    expectOwnParameters<Or>();
    expectOwnParameters<Laplacian>();
    expectOwnParameters<NonMaxSupression>();
    EXPECT_TRUE(std::is_empty_v<Not::Param>);
    EXPECT_TRUE(std::is_empty_v<Or::Param>);
    EXPECT_TRUE(std::is_empty_v<NonMaxSupression::Param>);
}

// The frame alone

TEST_F(FilterFamilyAsAWhole, TheFrameStartsEmpty)
{
    for (const bool additionalInput : {false, true}) {
        const GpuStdShaders frame(additionalInput);
        EXPECT_TRUE(frame.mFbos.empty());
        EXPECT_EQ(frame.mFboCounter, 0);
        EXPECT_EQ(frame.mCurrentFbo, nullptr);
        EXPECT_FALSE(frame.mDisplayListValid);
        for (const TextureGpu* const texture : {frame.mSrcTex1, frame.mSrcTex2, frame.mDstTex1})
            EXPECT_EQ(texture, nullptr);
        EXPECT_EQ(frame.mAdditionalInput, additionalInput);
        EXPECT_TRUE(frame.mROIs.empty());
        EXPECT_FALSE(frame.mUseROIs);
    }
}

TEST_F(FilterFamilyAsAWhole, FramebuffersAreKeptByNameCounterAndIndex)
{
    GpuStdShaders frame(false);
    frame.getGlFbo("_ENFORCE_NEW_", 0);
    frame.getGlFbo("out", 3);
    frame.getGlFbo("_ENFORCE_NEW_", 0);
    frame.getGlFbo("_ENFORCE_NEW_", 7);
    std::vector<std::string> keys;
    for (const auto& entry : frame.mFbos)
        keys.push_back(entry.first);
    EXPECT_EQ(keys, (std::vector<std::string>{"_ENFORCE_NEW_00", "_ENFORCE_NEW_10", "_ENFORCE_NEW_27", "out3"}));
    EXPECT_EQ(frame.mFboCounter, 3);
}

TEST_F(FilterFamilyAsAWhole, RegionsAreKeptAsTheyAreGiven)
{
    GpuStdShaders frame(false);
    frame.addROI(10, 20, 30, 40);
    frame.addROI(-1, 0, 5, 5);
    EXPECT_EQ(frame.mROIs, (std::vector<std::vector<std::int32_t>>{{10, 20, 30, 40}, {-1, 0, 5, 5}}));
    EXPECT_TRUE(frame.mUseROIs);
    frame.resetROIs();
    EXPECT_TRUE(frame.mROIs.empty());
    EXPECT_FALSE(frame.mUseROIs);
}

TEST_F(FilterFamilyAsAWhole, AFramebufferRemembersWhatWasBoundAtItsConstruction)
{
    gl.framebufferBinding = 55;
    EXPECT_EQ(GlFbo().mSavedFboId, 55);
    gl.framebufferBinding = 0;
    EXPECT_EQ(GlFbo().mSavedFboId, 0);
}

// Layout

template<typename Type, typename... Fields>
constexpr bool kAllAre = (std::is_same_v<Type, Fields> && ...);

static_assert(kAllAre<std::uint32_t, decltype(GlFbo::mFboId), decltype(GpuStdShaders::mProgObj),
                      decltype(GpuStdShaders::mDisplayList)>);
static_assert(kAllAre<std::int32_t, decltype(GlFbo::mSavedFboId), decltype(GpuStdShaders::mFboCounter),
                      decltype(GpuStdShaders::mTexUnit0Loc), decltype(GpuStdShaders::mTexUnit1Loc),
                      decltype(GpuStdShaders::mXresSrcTex1), decltype(GpuStdShaders::mYresSrcTex1),
                      decltype(GpuStdShaders::mXresSrcTex2), decltype(GpuStdShaders::mYresSrcTex2),
                      decltype(GpuStdShaders::mXresDstTex1), decltype(GpuStdShaders::mYresDstTex1)>);
static_assert(kAllAre<std::map<std::string, std::uint32_t>, decltype(GlShaderMgr::mProgObjs),
                      decltype(GlShaderMgr::mShaderObjs)>);
static_assert(kAllAre<TextureGpu*, decltype(GpuStdShaders::mSrcTex1), decltype(GpuStdShaders::mSrcTex2),
                      decltype(GpuStdShaders::mDstTex1)>);

TEST_F(FilterFamilyAsAWhole, FieldsOfTheFrameStandInTheStatedOrder)
{
    const auto filter = make<And>();
    EXPECT_TRUE(standInOrder({&filter->mParameters,
                              &filter->mSecondaryParameters,
                              &filter->mParameterStatus,
                              &filter->mFbos,
                              &filter->mFboCounter,
                              &filter->mCurrentFbo,
                              &filter->mShaderMgr,
                              &filter->mProgObj,
                              &filter->mDisplayListValid,
                              &filter->mDisplayList,
                              &filter->mSrcTex1,
                              &filter->mSrcTex2,
                              &filter->mDstTex1,
                              &filter->mTexUnit0Loc,
                              &filter->mTexUnit1Loc,
                              &filter->mXresSrcTex1,
                              &filter->mYresSrcTex1,
                              &filter->mXresSrcTex2,
                              &filter->mYresSrcTex2,
                              &filter->mXresDstTex1,
                              &filter->mYresDstTex1,
                              &filter->mAdditionalInput,
                              &filter->mROIs,
                              &filter->mUseROIs}));
    const GlFbo& fbo = *filter->mCurrentFbo;
    EXPECT_TRUE(standInOrder({&fbo.mFboId, &fbo.mSavedFboId}));
    const GlShaderMgr& manager = *filter->mShaderMgr;
    EXPECT_TRUE(standInOrder({&manager.mProgObjs, &manager.mShaderObjs}));
}

/// Expects a filter to hold the text that it compiled.
template<typename Filter>
void expectSourceText(const std::string Filter::*text)
{
    ScriptedGl::instance().reset();
    const auto filter = make<Filter>();
    EXPECT_EQ(static_cast<const Filter&>(*filter).*text, ScriptedGl::instance().shaderSources.at(kShader));
}

template<typename Filter>
void expectSourceTextAlone(const std::string Filter::*text)
{
    expectSourceText(text);
    const auto filter = make<Filter>();
    const Filter& typed = static_cast<const Filter&>(*filter);
    EXPECT_TRUE(standInOrder({&typed.mUseROIs, &(typed.*text)}));
    EXPECT_EQ(sizeof(Filter), sizeof(GpuStdShaders) + sizeof(std::string));
}

TEST_F(FilterFamilyAsAWhole, FiltersWithoutParametersHoldTheirShaderTextAlone)
{
    expectSourceTextAlone(&And::mShaderSrc);
    expectSourceTextAlone(&Xor::mShaderSrc);
    expectSourceTextAlone(&Subtract::mShaderSrc);
    expectSourceTextAlone(&Classify::mShaderSource);
    expectSourceTextAlone(&BGR2GRAY::mShaderSrc);
    expectSourceTextAlone(&RGB2GRAY::mShaderSrc);
    expectSourceTextAlone(&BGR2HSV::mShaderSrc);
    expectSourceTextAlone(&RGB2HSV::mShaderSrc);
    expectSourceTextAlone(&BayerRG2GRAY::mShaderSrc);
    expectSourceTextAlone(&BayerRG2RGB::mShaderSrc);
    expectSourceTextAlone(&GRAY2Sobel::mShaderSrc);
    expectSourceTextAlone(&FlipV::mShaderSrc);
}

TEST_F(FilterFamilyAsAWhole, FiltersWithFieldsOfTheirOwnHoldTheirShaderTextToo)
{
    expectSourceText(&Or::mShaderSrc);
    expectSourceText(&Not::mShaderSrc);
    expectSourceText(&Laplacian::mShaderSrc);
    expectSourceText(&NonMaxSupression::mShaderSrc);
    expectSourceText(&DebugUInt2Float::mShaderSrc);
}

TEST_F(FilterFamilyAsAWhole, TheLogicFiltersHoldTheirTextAndThenTheirParameters)
{
    const Or either(nullptr);
    EXPECT_TRUE(standInOrder({&either.mUseROIs, &either.mShaderSrc, &either.mParam}));
    const Not inverse(nullptr);
    EXPECT_TRUE(standInOrder({&inverse.mUseROIs, &inverse.mShaderSrc, &inverse.mParam}));
}

TEST_F(FilterFamilyAsAWhole, TheEdgeFiltersHoldTheirParametersAndThenTheirText)
{
    const Laplacian laplacian(nullptr);
    EXPECT_TRUE(standInOrder({&laplacian.mUseROIs, &laplacian.mParam, &laplacian.mShaderSrc}));
    const NonMaxSupression thin(nullptr);
    EXPECT_TRUE(standInOrder({&thin.mUseROIs, &thin.mParam, &thin.mShaderSrc}));
}

TEST_F(FilterFamilyAsAWhole, TheDebugViewHoldsItsTextAndThenItsModeWhichStartsWithTextures)
{
    const DebugUInt2Float view;
    EXPECT_TRUE(standInOrder({&view.mUseROIs, &view.mShaderSrc, &view.outputToScreenEnabled}));
    EXPECT_FALSE(view.outputToScreenEnabled);
}

TEST_F(FilterFamilyAsAWhole, TheSingleModelMixtureHoldsItsFieldsInTheStatedOrder)
{
    const ColorGMM filter(&modelOfTwo(), nullptr);
    EXPECT_TRUE(standInOrder({&filter.mUseROIs, &filter.mParam, &filter.mShaderSource, &filter.mCovLoc,
                              &filter.mMeanLoc, &filter.mWeightLoc, &filter.mDetLoc, &filter.mGmm}));
    EXPECT_EQ(filter.mShaderSource, gl.shaderSources.at(kShader));
    EXPECT_EQ(filter.mGmm, &modelOfTwo());
    EXPECT_TRUE((std::is_same_v<decltype(filter.mParam), ColorGMM::Param>)); // by value
}

TEST_F(FilterFamilyAsAWhole, TheMixtureKeepsTheLocationsOfComponentsByTheirNumber)
{
    const char* const words[] = {"cov", "mean", "weight", "det"};
    for (int word = 0; word < 4; ++word)
        for (int k = 1; k <= 4; ++k)
            gl.uniformLocations[words[word] + std::to_string(k)] = 10 * word + k;
    const ColorGMM filter(&modelOfTwo(), nullptr);
    const auto slots = [](const auto& locations) {
        return std::vector<int>(std::begin(locations), std::end(locations));
    };
    EXPECT_EQ(slots(filter.mCovLoc), (std::vector<int>{-1, 1, 2, 3, 4})); // slot 0 is never looked up
    EXPECT_EQ(slots(filter.mMeanLoc), (std::vector<int>{-1, 11, 12, 13, 14}));
    EXPECT_EQ(slots(filter.mWeightLoc), (std::vector<int>{21, 22, 23, 24}));
    EXPECT_EQ(slots(filter.mDetLoc), (std::vector<int>{-1, 31, 32, 33, 34}));
}

TEST_F(FilterFamilyAsAWhole, TheMultiClassMixtureHoldsItsStreamsAndThenItsModels)
{
    std::vector<core::cvdata::ColorGMM*> models = {&modelOfTwo(), &modelOfTwo()};
    const ColorGMM2 filter(models);
    EXPECT_TRUE(standInOrder({&filter.mUseROIs, &filter.mShaderStream, &filter.mNameStream, &filter.gmms}));
    EXPECT_EQ(filter.mShaderStream.str(), gl.shaderSources.at(kShader));
    EXPECT_EQ(filter.gmms, models);
}

TEST_F(FilterFamilyAsAWhole, TheHistogramHoldsItsFieldsInTheStatedOrder)
{
    ColorHistShader::Param param = smallHistogram();
    param.mXres = 5;
    param.mYres = 3;
    core::cvdata::Image image(2, 2, core::cvdata::Image::RGB);
    const ColorHistShader filter(&param, &image);
    EXPECT_TRUE(standInOrder({&filter.mUseROIs, &filter.mHistBuffer, &filter.mVertexSource, &filter.mGeometrySource,
                              &filter.mFragmentSource, &filter.mParam, &filter.mImage}));
    EXPECT_EQ(filter.mHistBuffer.size(), 5u * 3 * 4);
    EXPECT_EQ(filter.mVertexSource, gl.shaderSources.at(3));
    EXPECT_EQ(filter.mGeometrySource, gl.shaderSources.at(4));
    EXPECT_EQ(filter.mFragmentSource, gl.shaderSources.at(5));
    EXPECT_EQ(filter.mImage, &image);
    const ColorHistShader::Param& own = filter.mParam;
    EXPECT_TRUE(standInOrder({&own.mNBins1, &own.mNBins2, &own.mNBins3, &own.mXres, &own.mYres, &own.mNoGeometryShader,
                              &own.mReserved1, &own.mReserved2, &own.mBlockSize}));
}

TEST_F(FilterFamilyAsAWhole, TheCountHoldsItsTextsItsTilesAndItsBuffer)
{
    PixelCount filter;
    EXPECT_TRUE(standInOrder(
        {&filter.mUseROIs, &filter.mFragmentSource, &filter.mVertexSource, &filter.mNofTiles, &filter.mCountBuffer}));
    EXPECT_EQ(filter.mVertexSource, gl.shaderSources.at(3));
    EXPECT_EQ(filter.mFragmentSource, gl.shaderSources.at(4));
    EXPECT_EQ(filter.mNofTiles, 32u);
    EXPECT_EQ(filter.mCountBuffer, nullptr);
    filter.setMaxNofTiles(4);
    EXPECT_EQ(filter.mCountBuffer, nullptr); // until the first list
}

TEST(FilterFamilySlots, VirtualFunctionsOfTheFrameStandInTheStatedOrder)
{
    EXPECT_EQ(virtualSlot(&GpuStdShaders::init), 3u);
    EXPECT_EQ(virtualSlot(&GpuStdShaders::onlineParameterChangedCallBack), 4u);
    EXPECT_EQ(virtualSlot(&GpuStdShaders::execute), 5u);
    EXPECT_EQ(virtualSlot(&GpuStdShaders::addROI), 6u);
    EXPECT_EQ(virtualSlot(&GpuStdShaders::resetROIs), 7u);
    EXPECT_EQ(
        virtualSlot(static_cast<void (GpuStdShaders::*)(TextureGpu&, TextureGpu&)>(&GpuStdShaders::prepareExecution)),
        8u);
    EXPECT_EQ(virtualSlot(static_cast<void (GpuStdShaders::*)(TextureGpu&, TextureGpu&, TextureGpu&)>(
                  &GpuStdShaders::prepareExecution)),
              9u);
    EXPECT_EQ(virtualSlot(&GpuStdShaders::prepareDisplayList), 10u);
    EXPECT_EQ(virtualSlot(&GpuStdShaders::setGlOne2OneTexelMapping), 11u);
    EXPECT_EQ(virtualSlot(&GpuStdShaders::executeInitStage), 12u);
    EXPECT_EQ(virtualSlot(&GpuStdShaders::executeCleanUpStage), 13u);
    EXPECT_EQ(virtualSlotCount<GpuStdShaders>(), 13u);
}

template<typename... Filters>
void expectTheSlotsOfTheFrameAlone()
{
    for (const std::size_t count : {virtualSlotCount<Filters>()...})
        EXPECT_EQ(count, 13u);
}

TEST(FilterFamilySlots, WhatFiltersAddIsNotVirtual)
{
    expectTheSlotsOfTheFrameAlone<And, Or, Xor, Subtract, Not, Classify, ColorGMM, ColorGMM2, ColorHistShader,
                                  PixelCount, BGR2GRAY, RGB2GRAY, BGR2HSV, RGB2HSV, BayerRG2GRAY, BayerRG2RGB,
                                  GRAY2Sobel, Laplacian, NonMaxSupression, FlipV, DebugUInt2Float>();
}

TEST(FilterFamilySlots, VirtualFunctionsOfTheFramebufferStandInTheStatedOrder)
{
    EXPECT_EQ(virtualSlot(&GlFbo::attachTexture), 3u);
    EXPECT_EQ(virtualSlot(&GlFbo::attachTextures), 4u);
    EXPECT_EQ(virtualSlot(&GlFbo::attachRenderBuffer), 5u);
    EXPECT_EQ(virtualSlot(&GlFbo::attachRenderBuffers), 6u);
    EXPECT_EQ(virtualSlotCount<GlFbo>(), 6u);
}

TEST(FilterFamilySlots, TheShaderManagerIsPolymorphicByItsDestructorAlone)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<GlShaderMgr>);
    EXPECT_EQ(virtualSlotCount<GlShaderMgr>(), 2u);
}

} // namespace
} // namespace velmor::tests
