// The five logic filters in the frame that they share: what each constructor does, which names it uses, where its
// fields and virtual functions stand. Compiled without access control, to see fields.

#include "cvprocess/gpuStdShaders/And.h"
#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "cvprocess/gpuStdShaders/GlShaderMgr.h"
#include "cvprocess/gpuStdShaders/Not.h"
#include "cvprocess/gpuStdShaders/Or.h"
#include "cvprocess/gpuStdShaders/Subtract.h"
#include "cvprocess/gpuStdShaders/Xor.h"
#include "tests/script/ScriptTest.h"
#include "tests/support/VirtualSlot.h"

#include <functional>
#include <memory>

using namespace velmor::cvprocess;

namespace velmor::tests {
namespace {

struct FilterCase
{
    const char* name;
    bool twoSources;
    const char* framebufferKey;
    std::function<std::unique_ptr<GpuStdShaders>()> make;
};

std::ostream& operator<<(std::ostream& stream, const FilterCase& filterCase)
{
    return stream << filterCase.name;
}

const FilterCase kFilters[] = {
    {"And", true, "_ENFORCE_NEW_00",
     [] {
         return std::make_unique<And>();
     }},
    {"Or", true, "_ENFORCE_NEW_00",
     [] {
         return std::make_unique<Or>(nullptr);
     }},
    {"Xor", true, "_ENFORCE_NEW_00",
     [] {
         return std::make_unique<Xor>();
     }},
    {"Not", false, "_ENFNOTCE_NEW_0",
     [] {
         return std::make_unique<Not>(nullptr);
     }},
    {"Subtract", true, "_ENFORCE_NEW_00",
     [] {
         return std::make_unique<Subtract>();
     }},
};

/// Every filter of the family in turn.
class LogicFilterScript : public ScriptTest, public testing::WithParamInterface<FilterCase>
{
protected:
    std::unique_ptr<GpuStdShaders> make()
    {
        std::unique_ptr<GpuStdShaders> filter;
        output = capture([&] { filter = GetParam().make(); });
        return filter;
    }

    Output output;
};

INSTANTIATE_TEST_SUITE_P(Family, LogicFilterScript, testing::ValuesIn(kFilters),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_P(LogicFilterScript, IsConstructedByTheStatedCalls)
{
    const auto filter = make();
    EXPECT_EQ(gl.take(), (Calls{
                             "glewIsSupported(GL_ARB_texture_rectangle)",
                             "glewIsSupported(GL_VERSION_2_0)",
                             "glGenFramebuffersEXT(1)",
                             "glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT)",
                             "glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 1)",
                             "glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0)",
                             "glCreateProgram()",
                             "glCreateShader(GL_FRAGMENT_SHADER)",
                             "glShaderSource(3, 1, text, null)",
                             "glCompileShader(3)",
                             "glGetShaderiv(3, GL_COMPILE_STATUS)",
                             "glGetError()",
                             "glGetShaderiv(3, GL_INFO_LOG_LENGTH)",
                             "glGetError()",
                             "glAttachShader(2, 3)",
                             "glGetError()",
                             "glLinkProgram(2)",
                             "glGetProgramiv(2, GL_INFO_LOG_LENGTH)",
                             "glGetError()",
                             "glGetError()",
                             "glGetProgramiv(2, GL_LINK_STATUS)",
                             "glValidateProgram(2)",
                             "glGetProgramiv(2, GL_VALIDATE_STATUS)",
                             "glGetProgramiv(2, GL_INFO_LOG_LENGTH)",
                             "glGetError()",
                             "glGetError()",
                         }));
    EXPECT_EQ(output.out, "GL_ARB_texture_rectangle : present\n"
                          "Ready for OpenGL 2.x programmable shaders.\n"
                          "Attached shader Id: 3\n"
                          "Shader validation\n");
    EXPECT_EQ(output.err, "");
}

TEST_P(LogicFilterScript, UsesTheNamesOfItsClass)
{
    const auto filter = make();
    ASSERT_EQ(filter->mFbos.size(), 1u);
    EXPECT_EQ(filter->mFbos.begin()->first, GetParam().framebufferKey);
    EXPECT_EQ(filter->mFbos.begin()->second, filter->mCurrentFbo);
    const std::map<std::string, std::uint32_t> programs = {
        {std::string("cvprocess/gpuStdShaders/") + GetParam().name, 2}};
    EXPECT_EQ(filter->mShaderMgr->mProgObjs, programs);
    EXPECT_EQ(filter->mProgObj, 2u);
    EXPECT_EQ(filter->mAdditionalInput, GetParam().twoSources);
}

TEST_P(LogicFilterScript, SharesTheShaderHeadOfTheFamily)
{
    const auto filter = make();
    const std::string source = gl.shaderSources.at(3);
    EXPECT_EQ(source.rfind("#extension GL_EXT_gpu_shader4 : enable\n"
                           "#extension GL_ARB_texture_rectangle : enable\n"
                           "#extension GL_ARB_draw_buffers : enable\n",
                           0),
              0u);
    EXPECT_EQ(source.find("#version"), std::string::npos);
    EXPECT_NE(source.find("uniform sampler2DRect texUnit0;"), std::string::npos);
    EXPECT_EQ(source.find("uniform sampler2DRect texUnit1;") != std::string::npos, GetParam().twoSources);
    EXPECT_NE(source.find("gl_TexCoord[0].xy"), std::string::npos);
    EXPECT_NE(source.find("gl_FragColor"), std::string::npos);
}

TEST_P(LogicFilterScript, RunsAndGoesWithoutLeavingAnything)
{
    core::cvdata::TextureGpu a(101, 8, 8, GL_UNSIGNED_BYTE, GL_RGBA, GL_RGBA8, GL_TEXTURE_RECTANGLE_ARB);
    core::cvdata::TextureGpu b(102, 8, 8, GL_UNSIGNED_BYTE, GL_RGBA, GL_RGBA8, GL_TEXTURE_RECTANGLE_ARB);
    core::cvdata::TextureGpu c(103, 8, 8, GL_UNSIGNED_BYTE, GL_RGBA, GL_RGBA8, GL_TEXTURE_RECTANGLE_ARB);
    auto filter = make();
    if (GetParam().twoSources)
        filter->prepareExecution(a, b, c);
    else
        filter->prepareExecution(a, c);
    filter->execute();
    filter->execute();
    filter.reset();
    EXPECT_TRUE(gl.framebuffers.empty());
    EXPECT_TRUE(gl.programs.empty());
    EXPECT_TRUE(gl.shaders.empty());
    EXPECT_EQ(gl.displayLists.size(), 1u);
}

TEST_P(LogicFilterScript, InstancesOwnProgramsAndFramebuffersOfTheirOwn)
{
    const auto first = make();
    const auto second = make();
    EXPECT_NE(first->mProgObj, second->mProgObj);
    EXPECT_NE(first->mCurrentFbo, second->mCurrentFbo);
    EXPECT_EQ(gl.programs.size(), 2u);
    EXPECT_EQ(gl.framebuffers.size(), 2u);
}

template<typename Filter>
void expectOwnParameters()
{
    typename Filter::Param given;
    std::unique_ptr<Filter> filter;
    capture([&] { filter = std::make_unique<Filter>(&given); });
    EXPECT_EQ(filter->params(), &filter->mParam);
    EXPECT_NE(filter->params(), &given);
}

TEST_F(ScriptTest, ParamsIsTheFiltersOwnRecord)
{
    expectOwnParameters<Not>();
    expectOwnParameters<Or>();
}

// Layout

template<typename... Members>
bool inOrder(const Members&... members)
{
    const std::uintptr_t addresses[] = {reinterpret_cast<std::uintptr_t>(&members)...};
    return std::is_sorted(std::begin(addresses), std::end(addresses));
}

TEST_F(ScriptTest, FieldsOfTheFrameStandInTheStatedOrder)
{
    const auto filter = kFilters[0].make();
    EXPECT_TRUE(inOrder(filter->mParameters, filter->mSecondaryParameters, filter->mParameterStatus, filter->mFbos,
                        filter->mFboCounter, filter->mCurrentFbo, filter->mShaderMgr, filter->mProgObj,
                        filter->mDisplayListValid, filter->mDisplayList, filter->mSrcTex1, filter->mSrcTex2,
                        filter->mDstTex1, filter->mTexUnit0Loc, filter->mTexUnit1Loc, filter->mXresSrcTex1,
                        filter->mYresSrcTex1, filter->mXresSrcTex2, filter->mYresSrcTex2, filter->mXresDstTex1,
                        filter->mYresDstTex1, filter->mAdditionalInput, filter->mROIs, filter->mUseROIs));
    const GlFbo& fbo = *filter->mCurrentFbo;
    EXPECT_TRUE(inOrder(fbo.mFboId, fbo.mSavedFboId));
    const GlShaderMgr& manager = *filter->mShaderMgr;
    EXPECT_TRUE(inOrder(manager.mProgObjs, manager.mShaderObjs));
}

TEST_F(ScriptTest, FiltersHoldTheirSourceAndThenTheirParameters)
{
    const Or either(nullptr);
    EXPECT_TRUE(inOrder(either.mUseROIs, either.mShaderSrc, either.mParam));
    const Not inverse(nullptr);
    EXPECT_TRUE(inOrder(inverse.mUseROIs, inverse.mShaderSrc, inverse.mParam));
    const And both;
    EXPECT_TRUE(inOrder(both.mUseROIs, both.mShaderSrc));
    EXPECT_EQ(sizeof(And), sizeof(Xor));
    EXPECT_EQ(sizeof(And), sizeof(Subtract));
    EXPECT_EQ(sizeof(And), (sizeof(GpuStdShaders) + sizeof(std::string)));
}

TEST(LogicFilterSlots, VirtualFunctionsOfTheFrameStandInTheStatedOrder)
{
    using velmor::core::cvdata::TextureGpu;
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
    EXPECT_EQ(virtualSlot(&GpuStdShaders::getGlFbo), 0u);
    EXPECT_EQ(virtualSlot(&Or::params), 0u);
}

TEST(LogicFilterSlots, VirtualFunctionsOfTheFramebufferStandInTheStatedOrder)
{
    EXPECT_EQ(virtualSlot(&GlFbo::attachTexture), 3u);
    EXPECT_EQ(virtualSlot(&GlFbo::attachTextures), 4u);
    EXPECT_EQ(virtualSlot(&GlFbo::attachRenderBuffer), 5u);
    EXPECT_EQ(virtualSlot(&GlFbo::attachRenderBuffers), 6u);
    EXPECT_EQ(virtualSlot(&GlFbo::unattach), 0u);
    EXPECT_EQ(virtualSlot(&GlFbo::isValid), 0u);
    EXPECT_EQ(virtualSlot(&GlFbo::bind), 0u);
}

TEST(LogicFilterSlots, TheShaderManagerIsPolymorphicByItsDestructorAlone)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<GlShaderMgr>);
    EXPECT_EQ(virtualSlot(&GlShaderMgr::registerProgObj), 0u);
    EXPECT_EQ(virtualSlot(&GlShaderMgr::loadAndAttachShaderFromString), 0u);
    EXPECT_EQ(virtualSlot(&GlShaderMgr::loadAndAttachShaderFromFile), 0u);
}

} // namespace
} // namespace velmor::tests
