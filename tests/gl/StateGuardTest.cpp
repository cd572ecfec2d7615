#include "glsupport/StateGuard.h"

#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/gpuStdShaders/BGR2HSV.h"
#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/FlipV.h"
#include "cvprocess/gpuStdShaders/Not.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "cvprocess/gpuStdShaders/RGB2GRAY.h"
#include "cvprocess/gpuStdShaders/Subtract.h"
#include "glsupport/RectTexture.h"
#include "tests/gl/LackingDriver.h"
#include "tests/support/ReferenceRules.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

using velmor::glsupport::RectTexture;
using velmor::glsupport::StateGuard;

namespace velmor::tests {
namespace {

using Values = std::vector<double>;
using Names = std::initializer_list<GLenum>;

template<int count>
Values values(GLenum name)
{
    GLdouble result[count] = {};
    glGetDoublev(name, result);
    return Values(result, result + count);
}

template<int count>
Values indexedValues(GLenum name, GLuint index)
{
    GLint result[count] = {};
    glGetIntegeri_v(name, index, result);
    return Values(result, result + count);
}

GLuint bound(GLenum name)
{
    return static_cast<GLuint>(values<1>(name)[0]);
}

/// A piece of state: how an application sets it away from what a pass needs or leaves, how it is read, and what it
/// reads inside the guard where the pass relies on it.
struct StateItem
{
    std::string name;
    std::function<void()> set;
    std::function<Values()> read;
    std::optional<Values> neutral;
};

const auto kWhichever = std::nullopt;

using Items = std::vector<StateItem>;

/// Sets something of a texture unit, and leaves another unit active.
void setUnit(GLenum unit, const std::function<void()>& set)
{
    glActiveTexture(unit);
    set();
    glActiveTexture(GL_TEXTURE0 + 3);
}

Values readUnit(GLenum unit, const std::function<Values()>& read)
{
    GLint active = 0;
    glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
    glActiveTexture(unit);
    const Values result = read();
    glActiveTexture(static_cast<GLenum>(active));
    return result;
}

void setMatrix(GLenum mode, float first)
{
    glMatrixMode(mode);
    glLoadIdentity();
    glTranslatef(first, 0.25f, 0.125f);
    glMatrixMode(GL_TEXTURE);
}

const Values kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// The clear colour itself: while fragments are clamped, drivers tell it clamped.
Values clearColour()
{
    if (!GLEW_ARB_color_buffer_float)
        return values<4>(GL_COLOR_CLEAR_VALUE);
    const GLuint clamp = bound(GL_CLAMP_FRAGMENT_COLOR_ARB);
    glClampColorARB(GL_CLAMP_FRAGMENT_COLOR_ARB, GL_FALSE);
    const Values result = values<4>(GL_COLOR_CLEAR_VALUE);
    glClampColorARB(GL_CLAMP_FRAGMENT_COLOR_ARB, clamp);
    return result;
}

Values drawBuffers()
{
    Values result;
    for (GLenum i = 0; i < 8; ++i)
        result.push_back(values<1>(GL_DRAW_BUFFER0 + i)[0]);
    return result;
}

GLuint makeProgram(const char* fragmentSource)
{
    const GLuint program = glCreateProgram();
    const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
    glShaderSource(shader, 1, &fragmentSource, nullptr);
    glCompileShader(shader);
    glAttachShader(program, shader);
    glDeleteShader(shader);
    glLinkProgram(program);
    return program;
}

StateItem off(const std::string& name, GLenum capability)
{
    return {name, [=] { glEnable(capability); }, [=] { return Values{double(glIsEnabled(capability))}; }, Values{0}};
}

StateItem setting(const std::string& name, GLenum parameter, const std::optional<Values>& neutral,
                  const std::function<void()>& set)
{
    return {name, set, [=] { return values<1>(parameter); }, neutral};
}

void append(Items& items, const Items& more)
{
    items.insert(items.end(), more.begin(), more.end());
}

Items capabilities()
{
    Items items = {off("stencil test", GL_STENCIL_TEST),
                   off("alpha test", GL_ALPHA_TEST),
                   off("depth test", GL_DEPTH_TEST),
                   off("logic operation", GL_COLOR_LOGIC_OP),
                   off("face culling", GL_CULL_FACE),
                   off("polygon stipple", GL_POLYGON_STIPPLE),
                   off("polygon smoothing", GL_POLYGON_SMOOTH),
                   off("point smoothing", GL_POINT_SMOOTH),
                   off("point sprites", GL_POINT_SPRITE),
                   off("point size of the program", GL_VERTEX_PROGRAM_POINT_SIZE),
                   off("alpha to coverage", GL_SAMPLE_ALPHA_TO_COVERAGE),
                   off("alpha to one", GL_SAMPLE_ALPHA_TO_ONE),
                   off("sample coverage", GL_SAMPLE_COVERAGE)};
    const auto addIf = [&](bool isThere, const char* name, GLenum capability) {
        if (isThere)
            items.push_back(off(name, capability));
    };
    for (GLenum i = 0; i < bound(GL_MAX_CLIP_PLANES); ++i)
        addIf(true, ("clip plane " + std::to_string(i)).c_str(), GL_CLIP_PLANE0 + i);
    addIf(GLEW_ARB_vertex_program, "ARB vertex program", GL_VERTEX_PROGRAM_ARB);
    addIf(GLEW_ARB_fragment_program, "ARB fragment program", GL_FRAGMENT_PROGRAM_ARB);
    addIf(GLEW_ATI_fragment_shader, "ATI fragment shader", GL_FRAGMENT_SHADER_ATI);
    addIf(GLEW_EXT_depth_bounds_test, "depth bounds", GL_DEPTH_BOUNDS_TEST_EXT);
    addIf(GLEW_VERSION_3_0 || GLEW_EXT_transform_feedback, "rasteriser discard", GL_RASTERIZER_DISCARD);
    addIf(GLEW_ARB_framebuffer_sRGB, "sRGB framebuffer", GL_FRAMEBUFFER_SRGB);
    addIf(GLEW_VERSION_3_1, "primitive restart", GL_PRIMITIVE_RESTART);
    addIf(GLEW_ARB_ES3_compatibility, "primitive restart at the last index", GL_PRIMITIVE_RESTART_FIXED_INDEX);
    addIf(GLEW_ARB_texture_multisample, "sample mask", GL_SAMPLE_MASK);
    addIf(GLEW_ARB_sample_shading, "sample shading", GL_SAMPLE_SHADING);
    return items;
}

/// What capabilities act by, so that they change what is drawn. The guard touches none of it.
void makeCapabilitiesHarmful()
{
    const GLdouble nowhere[] = {0.0, 0.0, 0.0, -1.0};
    const GLubyte nothing[128] = {};
    glStencilFunc(GL_NEVER, 0, 0);
    glAlphaFunc(GL_NEVER, 0.0f);
    glDepthFunc(GL_NEVER);
    glLogicOp(GL_CLEAR);
    glCullFace(GL_FRONT_AND_BACK);
    glPolygonStipple(nothing);
    glSampleCoverage(0.0f, GL_FALSE);
    glScissor(0, 0, 1, 1);
    for (GLenum i = 0; i < bound(GL_MAX_CLIP_PLANES); ++i)
        glClipPlane(GL_CLIP_PLANE0 + i, nowhere);
    for (const GLenum unit : Names{GL_TEXTURE1, GL_TEXTURE0}) {
        glActiveTexture(unit);
        glTexEnvi(GL_POINT_SPRITE, GL_COORD_REPLACE, GL_TRUE);
    }
    if (GLEW_VERSION_3_1)
        glPrimitiveRestartIndex(1);
    if (GLEW_ARB_texture_multisample)
        glSampleMaski(0, 0);
}

Items blending()
{
    Items items = {
        off("blending", GL_BLEND),
        {"blend factors", [] { glBlendFuncSeparate(GL_DST_COLOR, GL_ZERO, GL_ONE_MINUS_SRC_ALPHA, GL_DST_ALPHA); },
         [] {
             Values result;
             for (const GLenum name : Names{GL_BLEND_SRC_RGB, GL_BLEND_DST_RGB, GL_BLEND_SRC_ALPHA, GL_BLEND_DST_ALPHA})
                 result.push_back(values<1>(name)[0]);
             return result;
         },
         kWhichever},
        {"blend equations", [] { glBlendEquationSeparate(GL_FUNC_REVERSE_SUBTRACT, GL_MIN); },
         [] {
             return Values{values<1>(GL_BLEND_EQUATION_RGB)[0], values<1>(GL_BLEND_EQUATION_ALPHA)[0]};
         },
         kWhichever},
        {"colour mask", [] { glColorMask(GL_FALSE, GL_TRUE, GL_FALSE, GL_FALSE); },
         [] { return values<4>(GL_COLOR_WRITEMASK); }, Values{1, 1, 1, 1}}};
    if (GLEW_KHR_blend_equation_advanced)
        items.push_back(setting("advanced blend equation", GL_BLEND_EQUATION_RGB, kWhichever,
                                [] { glBlendEquation(GL_MULTIPLY_KHR); }));
    if (GLEW_EXT_draw_buffers2)
        append(
            items,
            {{"blending of a buffer", [] { glDisableIndexedEXT(GL_BLEND, 2); },
              [] {
                  return Values{double(glIsEnabledIndexedEXT(GL_BLEND, 2)), double(glIsEnabledIndexedEXT(GL_BLEND, 3))};
              },
              Values{0, 0}},
             {"colour mask of a buffer", [] { glColorMaskIndexedEXT(3, GL_TRUE, GL_FALSE, GL_TRUE, GL_FALSE); },
              [] {
                  GLboolean mask[4] = {};
                  glGetBooleanIndexedvEXT(GL_COLOR_WRITEMASK, 3, mask);
                  return Values(mask, mask + 4);
              },
              Values{1, 1, 1, 1}}});
    if (GLEW_ARB_draw_buffers_blend)
        append(items, {{"blend factors of a buffer",
                        [] { glBlendFuncSeparateiARB(1, GL_SRC_COLOR, GL_DST_COLOR, GL_ZERO, GL_ONE_MINUS_DST_ALPHA); },
                        [] {
                            Values result;
                            for (const GLenum name :
                                 Names{GL_BLEND_SRC_RGB, GL_BLEND_DST_RGB, GL_BLEND_SRC_ALPHA, GL_BLEND_DST_ALPHA})
                                result.push_back(indexedValues<1>(name, 1)[0]);
                            return result;
                        },
                        kWhichever},
                       {"blend equation of a buffer",
                        [] { glBlendEquationiARB(5, GLEW_KHR_blend_equation_advanced ? GL_SCREEN_KHR : GL_MAX); },
                        [] { return indexedValues<1>(GL_BLEND_EQUATION_ALPHA, 5); }, kWhichever},
                       {"blend equations of a buffer", [] { glBlendEquationSeparateiARB(7, GL_MAX, GL_FUNC_SUBTRACT); },
                        [] {
                            return Values{indexedValues<1>(GL_BLEND_EQUATION_RGB, 7)[0],
                                          indexedValues<1>(GL_BLEND_EQUATION_ALPHA, 7)[0]};
                        },
                        kWhichever}});
    return items;
}

Items colours()
{
    const auto clamp = [](const char* name, GLenum target, GLenum value, double neutral) {
        return setting(name, target, Values{neutral}, [=] { glClampColorARB(target, value); });
    };
    Items items = {{"current colour", [] { glColor4f(0.25f, 1.5f, -0.75f, 0.125f); },
                    [] { return values<4>(GL_CURRENT_COLOR); }, kWhichever},
                   {"clear colour", [] { glClearColor(0.25f, 1.5f, -0.75f, 0.125f); }, clearColour, kWhichever}};
    if (GLEW_ARB_color_buffer_float)
        append(items, {clamp("vertex clamp", GL_CLAMP_VERTEX_COLOR_ARB, GL_FALSE, GL_TRUE),
                       clamp("fragment clamp", GL_CLAMP_FRAGMENT_COLOR_ARB, GL_TRUE, GL_FIXED_ONLY_ARB),
                       clamp("read clamp", GL_CLAMP_READ_COLOR_ARB, GL_TRUE, GL_FIXED_ONLY_ARB)});
    return items;
}

Items geometry()
{
    Items items = {
        off("scissor test", GL_SCISSOR_TEST),
        {"viewport", [] { glViewport(3, 4, 50, 60); }, [] { return values<4>(GL_VIEWPORT); }, kWhichever},
        {"projection", [] { setMatrix(GL_PROJECTION, 0.5f); }, [] { return values<16>(GL_PROJECTION_MATRIX); },
         kWhichever},
        {"model-view", [] { setMatrix(GL_MODELVIEW, 0.75f); }, [] { return values<16>(GL_MODELVIEW_MATRIX); },
         kWhichever},
        setting("matrix mode", GL_MATRIX_MODE, Values{GL_MODELVIEW}, [] { glMatrixMode(GL_PROJECTION); }),
        {"polygon mode",
         [] {
             glPolygonMode(GL_FRONT, GL_LINE);
             glPolygonMode(GL_BACK, GL_POINT);
         },
         [] { return values<2>(GL_POLYGON_MODE); }, kWhichever},
        setting("point size", GL_POINT_SIZE, Values{1}, [] { glPointSize(5.0f); }),
        setting("least point size", GL_POINT_SIZE_MIN, Values{0}, [] { glPointParameterf(GL_POINT_SIZE_MIN, 8.0f); }),
        setting("largest point size", GL_POINT_SIZE_MAX, Values{1},
                [] { glPointParameterf(GL_POINT_SIZE_MAX, 0.25f); }),
        {"attenuation of points",
         [] {
             const GLfloat factors[] = {0.25f, 0.5f, 0.125f};
             glPointParameterfv(GL_POINT_DISTANCE_ATTENUATION, factors);
         },
         [] { return values<3>(GL_POINT_DISTANCE_ATTENUATION); }, Values{1, 0, 0}}};
    if (GLEW_ARB_viewport_array)
        append(items,
               {{"one of several viewports", [] { glViewportIndexedf(2, 1.0f, 2.0f, 30.0f, 40.0f); },
                 [] { return indexedValues<4>(GL_VIEWPORT, 2); }, kWhichever},
                {"scissor test of a viewport", [] { glDisablei(GL_SCISSOR_TEST, 3); },
                 [] {
                     return Values{double(glIsEnabledi(GL_SCISSOR_TEST, 3)), double(glIsEnabledi(GL_SCISSOR_TEST, 4))};
                 },
                 Values{0, 0}},
                {"scissor test of the first viewport alone",
                 [] {
                     glEnable(GL_SCISSOR_TEST);
                     glDisablei(GL_SCISSOR_TEST, 0);
                 },
                 [] {
                     return Values{double(glIsEnabledi(GL_SCISSOR_TEST, 0)), double(glIsEnabledi(GL_SCISSOR_TEST, 1))};
                 },
                 Values{0, 0}}});
    if (GLEW_ARB_clip_control)
        append(items, {{"clip control", [] { glClipControl(GL_UPPER_LEFT, GL_ZERO_TO_ONE); },
                        [] {
                            return Values{values<1>(GL_CLIP_ORIGIN)[0], values<1>(GL_CLIP_DEPTH_MODE)[0]};
                        },
                        Values{GL_LOWER_LEFT, GL_NEGATIVE_ONE_TO_ONE}}});
    if (GLEW_NV_primitive_restart && !GLEW_VERSION_3_1) // with which it is the same as the capability, in Mesa
        append(items, {{"primitive restart as a client state", [] { glEnableClientState(GL_PRIMITIVE_RESTART_NV); },
                        [] { return Values{double(glIsEnabled(GL_PRIMITIVE_RESTART_NV))}; }, Values{0}}});
    return items;
}

Items readBack(GLuint buffer)
{
    Items items;
    if (GLEW_VERSION_2_1)
        items = {setting("pack buffer", GL_PIXEL_PACK_BUFFER_BINDING, Values{0},
                         [=] { glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer); }),
                 setting("unpack buffer", GL_PIXEL_UNPACK_BUFFER_BINDING, Values{0},
                         [=] { glBindBuffer(GL_PIXEL_UNPACK_BUFFER, buffer); })};
    for (const GLenum name :
         Names{GL_PACK_SWAP_BYTES, GL_PACK_LSB_FIRST, GL_PACK_ROW_LENGTH, GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS})
        items.push_back(setting("pack setting", name, Values{0}, [=] { glPixelStorei(name, 1); }));
    if (GLEW_MESA_pack_invert)
        items.push_back(
            setting("pack inversion", GL_PACK_INVERT_MESA, Values{0}, [] { glPixelStorei(GL_PACK_INVERT_MESA, 1); }));
    const auto transfer = [&](const char* name, GLenum parameter, float value, double neutral) {
        items.push_back(setting(name, parameter, Values{neutral}, [=] { glPixelTransferf(parameter, value); }));
    };
    transfer("colour map", GL_MAP_COLOR, 1.0f, 0.0);
    for (const GLenum scale : Names{GL_RED_SCALE, GL_GREEN_SCALE, GL_BLUE_SCALE, GL_ALPHA_SCALE})
        transfer("scale", scale, 0.5f, 1.0);
    for (const GLenum bias : Names{GL_RED_BIAS, GL_GREEN_BIAS, GL_BLUE_BIAS, GL_ALPHA_BIAS})
        transfer("bias", bias, 0.5f, 0.0);
    return items;
}

Items textureUnit(GLenum unit, GLuint texture, GLuint sampler)
{
    const auto item = [=](const char* name, const std::function<void()>& set, const std::function<Values()>& read,
                          const std::optional<Values>& neutral) {
        return StateItem{name + std::string(" of unit ") + std::to_string(unit - GL_TEXTURE0),
                         [=] { setUnit(unit, set); }, [=] { return readUnit(unit, read); }, neutral};
    };
    const auto enable = [=](const char* name, GLenum capability, const std::optional<Values>& neutral) {
        const StateItem whereActive = off(name, capability);
        return item(name, whereActive.set, whereActive.read, neutral);
    };
    Items items = {item(
                       "rectangle texture", [=] { glBindTexture(GL_TEXTURE_RECTANGLE_ARB, texture); },
                       [] { return values<1>(GL_TEXTURE_BINDING_RECTANGLE_ARB); }, kWhichever),
                   enable("rectangle enable", GL_TEXTURE_RECTANGLE_ARB, kWhichever),
                   item(
                       "texture matrix",
                       [] {
                           setMatrix(GL_TEXTURE, 0.5f);
                           glMatrixMode(GL_PROJECTION);
                       },
                       [] { return values<16>(GL_TEXTURE_MATRIX); }, kIdentity),
                   item(
                       "texture coordinates", [=] { glMultiTexCoord4f(unit, 0.5f, 0.25f, 0.125f, 2.0f); },
                       [] { return values<4>(GL_CURRENT_TEXTURE_COORDS); }, kWhichever)};
    for (const GLenum generator : Names{GL_TEXTURE_GEN_S, GL_TEXTURE_GEN_T, GL_TEXTURE_GEN_R, GL_TEXTURE_GEN_Q})
        items.push_back(enable("coordinate generation", generator, Values{0}));
    if (GLEW_ARB_sampler_objects)
        items.push_back(item(
            "sampler", [=] { glBindSampler(unit - GL_TEXTURE0, sampler); },
            [] { return values<1>(GL_SAMPLER_BINDING); }, Values{0}));
    return items;
}

/// What a driver of OpenGL 2.0 has beyond that and EXT_framebuffer_object.
enum class Beyond
{
    LITTLE,
    DRAW_BUFFERS_APART,
    EXTENSIONS ///< all of today's
};

/// A context with objects of an application.
class StateGuardTest : public PixelTest
{
protected:
    void SetUp() override
    {
        PixelTest::SetUp();
        texture1.emplace(4, 4, RectTexture::RGBA8);
        texture2.emplace(4, 4, RectTexture::RGBA8);
        glGenFramebuffersEXT(2, framebuffers);
        for (const GLuint framebuffer : framebuffers) {
            glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffer);
            glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT2_EXT, GL_TEXTURE_RECTANGLE_ARB,
                                      texture1->getTexId(), 0);
        }
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
        glGenBuffers(1, &buffer);
        program = makeProgram("void main() { gl_FragColor = vec4(1.0); }");
        if (GLEW_ARB_sampler_objects) // as it is at first it repeats texels, under which rectangles are incomplete
            glGenSamplers(1, &sampler);
    }

    void TearDown() override
    {
        glDeleteFramebuffersEXT(2, framebuffers);
        glDeleteBuffers(1, &buffer);
        glDeleteProgram(program);
        if (GLEW_ARB_sampler_objects)
            glDeleteSamplers(1, &sampler);
        texture1.reset();
        texture2.reset();
        PixelTest::TearDown();
    }

    Items items() const;
    void disturb();
    void expectInside(const std::function<void()>& check);
    void expectKeptByAnOldDriver(Beyond beyond);

    std::optional<RectTexture> texture1, texture2;
    GLuint framebuffers[2];
    GLuint buffer = 0;
    GLuint program = 0;
    GLuint sampler = 0;
};

/// All that the guard keeps. What the driver lacks is left out.
Items StateGuardTest::items() const
{
    Items result = {setting("framebuffer", GL_FRAMEBUFFER_BINDING_EXT, kWhichever,
                            [this] { glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffers[0]); })};
    if (GLEW_VERSION_3_0)
        result.push_back(setting("framebuffer to read from", GL_READ_FRAMEBUFFER_BINDING_EXT, kWhichever,
                                 [this] { glBindFramebufferEXT(GL_READ_FRAMEBUFFER_EXT, framebuffers[1]); }));
    const auto setDrawBuffers = [] {
        const GLenum buffers[] = {GL_NONE, GL_COLOR_ATTACHMENT2_EXT, GL_COLOR_ATTACHMENT1_EXT};
        glDrawBuffers(3, buffers);
    };
    const auto setTwoDrawBuffers = [] {
        const GLenum buffers[] = {GL_COLOR_ATTACHMENT2_EXT, GL_COLOR_ATTACHMENT1_EXT};
        glDrawBuffers(2, buffers);
    };
    result.push_back({"two draw buffers", setTwoDrawBuffers, drawBuffers, kWhichever});
    result.push_back({"draw buffers", setDrawBuffers, drawBuffers, kWhichever});
    result.push_back(
        setting("read buffer", GL_READ_BUFFER, kWhichever, [] { glReadBuffer(GL_COLOR_ATTACHMENT2_EXT); }));
    result.push_back(setting("program", GL_CURRENT_PROGRAM, kWhichever, [this] { glUseProgram(program); }));
    append(result, capabilities());
    append(result, blending());
    append(result, colours());
    append(result, geometry());
    append(result, readBack(buffer));
    append(result, textureUnit(GL_TEXTURE0, texture1->getTexId(), sampler));
    append(result, textureUnit(GL_TEXTURE1, texture2->getTexId(), sampler));
    result.push_back(
        setting("active unit", GL_ACTIVE_TEXTURE, Values{GL_TEXTURE0}, [] { glActiveTexture(GL_TEXTURE0 + 5); }));
    return result;
}

/// A pass, and whatever else code inside a guard may do to what it keeps and does not make neutral.
void StateGuardTest::disturb()
{
    const auto filter = makeQuietly<cvprocess::Subtract>();
    RectTexture destination(4, 4, RectTexture::RGBA8);
    filter->prepareExecution(*texture1, *texture2, destination);
    filter->execute();
    glBindFramebufferEXT(GL_DRAW_FRAMEBUFFER_EXT, framebuffers[0]);
    glBindFramebufferEXT(GL_READ_FRAMEBUFFER_EXT, framebuffers[1]);
    glDrawBuffer(GL_NONE);
    glReadBuffer(GL_NONE);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    glColor3f(1.0f, 0.0f, 1.0f);
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glEnable(GL_BLEND);
    glBlendEquation(GL_MAX);
    glBlendFunc(GL_ONE, GL_ONE);
    for (const GLenum unit : Names{GL_TEXTURE0, GL_TEXTURE1})
        glMultiTexCoord4f(unit, 9.0f, 9.0f, 9.0f, 9.0f);
}

TEST_F(StateGuardTest, EachItemIsRestoredAfterAPass)
{
    const Items all = items();
    EXPECT_GT(all.size(), 80u);
    for (const StateItem& item : all) {
        SCOPED_TRACE(item.name);
        const Values before = item.read();
        item.set();
        const Values set = item.read();
        EXPECT_NE(set, before) << "the item was not changed, so the test would prove nothing";
        {
            const StateGuard guard;
            disturb();
        }
        EXPECT_EQ(item.read(), set);
        expectNoGlError(item.name.c_str());
    }
}

/// Sets everything, and tells what each item is then: some are parts of others.
std::vector<Values> setAndRead(const Items& items)
{
    std::vector<Values> result;
    for (const StateItem& item : items)
        item.set();
    for (const StateItem& item : items)
        result.push_back(item.read());
    return result;
}

void expectValues(const Items& items, const std::vector<Values>& expected)
{
    for (std::size_t i = 0; i < items.size(); ++i)
        EXPECT_EQ(items[i].read(), expected[i]) << items[i].name;
}

TEST_F(StateGuardTest, AllItemsTogetherAreRestored)
{
    const Items all = items();
    const std::vector<Values> set = setAndRead(all);
    {
        const StateGuard guard;
        const StateGuard nested;
        disturb();
    }
    expectValues(all, set);
}

/// Compares what a pass relies on with what it needs, and tells how much that is.
std::size_t expectNeutral(const Items& items)
{
    std::size_t count = 0;
    for (const StateItem& item : items) {
        if (!item.neutral)
            continue;
        ++count;
        EXPECT_EQ(item.read(), *item.neutral) << item.name;
    }
    return count;
}

TEST_F(StateGuardTest, WhatAPassReliesOnIsNeutralInside)
{
    const Items all = items();
    for (const StateItem& item : all)
        item.set();
    const StateGuard guard;
    EXPECT_GT(expectNeutral(all), 60u);
}

/// Sets one item after the other, as an application does, and makes a check inside a guard after each.
void StateGuardTest::expectInside(const std::function<void()>& check)
{
    makeCapabilitiesHarmful();
    for (const StateItem& item : items()) {
        SCOPED_TRACE(item.name);
        item.set();
        const StateGuard guard;
        check();
        if (HasFailure())
            break;
    }
}

Texel complement(const Texel& a, const Texel&)
{
    return {1.0f - a[0], 1.0f - a[1], 1.0f - a[2], 1.0f - a[3]};
}

Texel hsvOfRgb(const Texel& texel, const Texel&)
{
    return hsv(texel[0], texel[1], texel[2]);
}

Texel flipped(const Picture& picture, const Picture&, int x, int y)
{
    return picture.clamped(x, static_cast<int>(picture.height) - 1 - y);
}

TEST_F(StateGuardTest, FiltersInsideAreRightWhateverTheApplicationHasSet)
{
    const auto subtract = makeQuietly<cvprocess::Subtract>();
    const auto invert = makeQuietly<cvprocess::Not>(nullptr);
    const auto toHsv = makeQuietly<cvprocess::BGR2HSV>();
    const auto toGrey = makeQuietly<cvprocess::RGB2GRAY>();
    const auto flip = makeQuietly<cvprocess::FlipV>();
    const Picture picture = randomPicture(8, 4, 1), other = randomPicture(8, 4, 2);
    Picture ofAnyValue = picture;
    ofAnyValue.at(3, 1) = {-5.0f, 1e30f, 7.0f, 2.0f};
    constexpr float rounding = 4e-7f; // of a few sums and quotients on 0..1, as each filter's own test tells
    expectInside([&] {
        const Picture difference = run(*subtract, true, picture, other);
        for (std::size_t i = 0; i < picture.texels.size(); ++i)
            for (std::size_t k = 0; k < 4; ++k)
                EXPECT_NEAR(difference.texels[i][k], std::abs(picture.texels[i][k] - other.texels[i][k]), rounding);
        expectPixels(*invert, perPixel(complement, rounding), picture);
        expectPixels(*toHsv, perPixel(hsvOfRgb, rounding), picture);
        expectPixels(*toGrey, perPixel(luminance, rounding), picture);
        expectPixels(*flip, {flipped, 0.0f}, ofAnyValue);
    });
}

TEST_F(StateGuardTest, ACountInsideIsRightWhateverTheApplicationHasSet)
{
    std::vector<float> texels(20 * 10, 0.0f);
    for (const std::size_t place : {0u, 7u, 19u, 65u, 111u, 199u})
        texels[place] = 1.0f;
    const auto filter = makeQuietly<cvprocess::PixelCount>();
    expectInside([&] {
        RectTexture mask(20, 10, RectTexture::R32F), sums(20, 10, RectTexture::R32UI);
        mask.upload(texels.data());
        unsigned count = 0;
        filter->setMaxNofTiles(9);
        capture([&] {
            filter->prepareExecution(mask, sums);
            filter->execute();
            count = filter->getCount();
        });
        EXPECT_EQ(count, 6u);
    });
}

TEST_F(StateGuardTest, AHistogramInsideIsRightWhateverTheApplicationHasSet)
{
    Picture picture(8, 4, {0.25f, 0.25f, 0.25f, 1.0f}); // 32 pixels, of which 20 stay so
    const auto fill = [&](unsigned begin, unsigned end, const Texel& colour) {
        std::fill(picture.texels.begin() + begin, picture.texels.begin() + end, colour);
    };
    fill(3, 4, {0.75f, 0.25f, 0.25f, 1.0f});
    fill(8, 12, {0.25f, 0.75f, 0.75f, 1.0f});
    fill(25, 32, {0.75f, 0.75f, 0.75f, 1.0f});
    const std::vector<double> expected = {20 / 32.0, 1 / 32.0, 0, 0, 0, 0, 4 / 32.0, 7 / 32.0};
    cvprocess::ColorHistShader::Param param;
    param.mNBins1 = param.mNBins2 = param.mNBins3 = 2;
    param.mXres = 8;
    param.mYres = 4;
    param.mBlockSize = 4;
    const auto filter = makeQuietly<cvprocess::ColorHistShader>(&param, nullptr);
    expectInside([&] {
        RectTexture source(8, 4, RectTexture::RGBA32F), unread(8, 4, RectTexture::GREY8);
        RectTexture counts(8, 4, RectTexture::RGBA32F);
        source.upload(picture.texels.data());
        filter->prepareExecution(source, unread, counts);
        filter->execute();
        core::cvdata::ColourHist2d histogram(2, 2, 2);
        filter->copyHistoFromGPU(histogram);
        for (unsigned k = 0; k < 8; ++k)
            EXPECT_EQ(histogram.data()[k], expected[k]) << k;
    });
}

/// Has GLEW say that the driver has OpenGL 2.0, and gives no way to call what is newer and not beyond it.
class OldDriver : public LackingDriver
{
public:
    explicit OldDriver(Beyond beyond)
    {
        lack(__GLEW_VERSION_2_1, __GLEW_VERSION_3_0, __GLEW_VERSION_3_1, __GLEW_VERSION_3_2, __GLEW_VERSION_3_3,
             __GLEW_VERSION_4_0, __GLEW_VERSION_4_1, __GLEW_VERSION_4_3, __GLEW_VERSION_4_5);
        lack(__GLEW_ARB_draw_buffers_blend); // which is one of OpenGL 3.0
        if (beyond == Beyond::EXTENSIONS)
            return;
        if (beyond == Beyond::LITTLE)
            lack(__GLEW_EXT_draw_buffers2, __glewColorMaskIndexedEXT, __glewGetBooleanIndexedvEXT,
                 __glewIsEnabledIndexedEXT, __glewEnableIndexedEXT, __glewDisableIndexedEXT);
        lack(__GLEW_ARB_ES3_compatibility, __GLEW_ARB_clip_control, __GLEW_ARB_color_buffer_float,
             __GLEW_ARB_fragment_program, __GLEW_ARB_framebuffer_object, __GLEW_ARB_framebuffer_sRGB,
             __GLEW_ARB_pixel_buffer_object, __GLEW_ARB_sample_shading, __GLEW_ARB_sampler_objects,
             __GLEW_ARB_texture_multisample, __GLEW_ARB_transform_feedback2, __GLEW_ARB_vertex_program,
             __GLEW_ARB_viewport_array);
        lack(__GLEW_ATI_fragment_shader, __GLEW_EXT_depth_bounds_test, __GLEW_EXT_framebuffer_blit,
             __GLEW_EXT_framebuffer_sRGB, __GLEW_EXT_transform_feedback, __GLEW_MESA_pack_invert);
        lack(__glewBindSampler, __glewIsSampler, __glewClampColorARB, __glewClipControl, __glewViewportArrayv,
             __glewGetFloati_v, __glewGetIntegeri_v, __glewGetBooleani_v, __glewIsEnabledi, __glewEnablei,
             __glewDisablei, __glewColorMaski, __glewBlendFuncSeparatei, __glewBlendFuncSeparateiARB,
             __glewBlendEquationSeparatei, __glewBlendEquationSeparateiARB, __glewPauseTransformFeedback,
             __glewResumeTransformFeedback);
    }
};

/// Sets everything with an old driver, and looks at it inside a guard and after.
void StateGuardTest::expectKeptByAnOldDriver(Beyond beyond)
{
    const Items ofToday = capabilities();
    for (const StateItem& item : ofToday)
        item.set();
    const OldDriver old(beyond);
    const Items all = items();
    const auto isThere = [&](const StateItem& item) {
        return std::any_of(all.begin(), all.end(), [&](const StateItem& other) { return other.name == item.name; });
    };
    const std::vector<Values> set = setAndRead(all);
    {
        const StateGuard guard;
        expectNeutral(all);
        for (const StateItem& item : ofToday) {
            if (isThere(item) || item.name == "primitive restart") // which is the client state too, in Mesa
                continue;
            EXPECT_EQ(item.read(), Values{1.0}) << item.name;
        }
        glViewport(0, 0, 1, 1); // as a pass does; it would draw nothing with what is still on
    }
    expectValues(all, set);
}

TEST_F(StateGuardTest, AnOldDriverIsAskedForNothingThatItLacks)
{
    expectKeptByAnOldDriver(Beyond::LITTLE);
}

TEST_F(StateGuardTest, AnOldDriverWithDrawBuffersApartKeepsEach)
{
    expectKeptByAnOldDriver(Beyond::DRAW_BUFFERS_APART);
}

TEST_F(StateGuardTest, AnOldDriverWithExtensionsIsAskedForThem)
{
    expectKeptByAnOldDriver(Beyond::EXTENSIONS);
}

TEST_F(StateGuardTest, AnApplicationWithoutAFramebufferOfItsOwnIsLeftInPeace)
{
    for (const GLenum drawBuffer : Names{GL_FRONT, GL_FRONT_AND_BACK, GL_NONE, GL_BACK}) {
        glDrawBuffer(drawBuffer);
        glReadBuffer(GL_BACK);
        {
            const StateGuard guard;
            disturb();
            glDrawBuffer(GL_BACK_LEFT);
            glReadBuffer(GL_FRONT);
        }
        EXPECT_EQ(bound(GL_FRAMEBUFFER_BINDING_EXT), 0u);
        EXPECT_EQ(bound(GL_DRAW_BUFFER), drawBuffer);
        EXPECT_EQ(bound(GL_READ_BUFFER), static_cast<GLuint>(GL_BACK));
        expectNoGlError("the guard");
    }
}

TEST_F(StateGuardTest, WhatWasDeletedInsideIsNotBoundAgain)
{
    const bool hasSamplers = GLEW_ARB_sampler_objects;
    glBindFramebufferEXT(GL_DRAW_FRAMEBUFFER_EXT, framebuffers[0]);
    glBindFramebufferEXT(GL_READ_FRAMEBUFFER_EXT, framebuffers[1]);
    glUseProgram(program);
    glBindTexture(GL_TEXTURE_RECTANGLE_ARB, texture1->getTexId());
    if (hasSamplers)
        glBindSampler(0, sampler);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, buffer);
    const GLuint texture = texture1->getTexId();
    {
        const StateGuard guard;
        glUseProgram(0); // as a pass does, with which the program goes at once
        glDeleteFramebuffersEXT(2, framebuffers);
        glDeleteProgram(std::exchange(program, 0u));
        glDeleteBuffers(1, &buffer);
        if (hasSamplers)
            glDeleteSamplers(1, &sampler);
        texture1.reset();
    }
    expectNoGlError("the guard");
    for (const GLenum name :
         Names{GL_DRAW_FRAMEBUFFER_BINDING_EXT, GL_READ_FRAMEBUFFER_BINDING_EXT, GL_CURRENT_PROGRAM,
               GL_TEXTURE_BINDING_RECTANGLE_ARB, GL_PIXEL_PACK_BUFFER_BINDING, GL_PIXEL_UNPACK_BUFFER_BINDING})
        EXPECT_EQ(bound(name), 0u) << name;
    EXPECT_FALSE(glIsFramebufferEXT(framebuffers[0]));
    EXPECT_FALSE(glIsFramebufferEXT(framebuffers[1]));
    EXPECT_FALSE(glIsTexture(texture));
    EXPECT_FALSE(glIsBuffer(buffer));
    if (hasSamplers) {
        EXPECT_EQ(bound(GL_SAMPLER_BINDING), 0u);
        EXPECT_FALSE(glIsSampler(sampler));
    }
}

TEST_F(StateGuardTest, FullAttributeStacksAreLeftAlone)
{
    const auto filter = makeQuietly<cvprocess::Subtract>();
    RectTexture destination(4, 4, RectTexture::RGBA8);
    glLineWidth(3.0f);
    glPixelStorei(GL_PACK_ALIGNMENT, 2);
    const auto fill = [](GLenum most, const std::function<void()>& push) {
        for (GLuint i = 0; i < bound(most); ++i)
            push();
    };
    fill(GL_MAX_ATTRIB_STACK_DEPTH, [] { glPushAttrib(GL_ALL_ATTRIB_BITS); });
    fill(GL_MAX_CLIENT_ATTRIB_STACK_DEPTH, [] { glPushClientAttrib(GL_CLIENT_ALL_ATTRIB_BITS); });
    glLineWidth(1.0f);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    {
        const StateGuard guard;
        filter->prepareExecution(*texture1, *texture2, destination);
        filter->execute();
    }
    expectNoGlError("the guard");
    EXPECT_EQ(bound(GL_ATTRIB_STACK_DEPTH), bound(GL_MAX_ATTRIB_STACK_DEPTH));
    EXPECT_EQ(bound(GL_CLIENT_ATTRIB_STACK_DEPTH), bound(GL_MAX_CLIENT_ATTRIB_STACK_DEPTH));
    EXPECT_EQ(values<1>(GL_LINE_WIDTH), Values{1.0});
    glPopAttrib();
    glPopClientAttrib();
    EXPECT_EQ(values<1>(GL_LINE_WIDTH), Values{3.0});
    EXPECT_EQ(values<1>(GL_PACK_ALIGNMENT), Values{2.0});
}

TEST_F(StateGuardTest, ARunningTransformFeedbackWaitsAndGoesOn)
{
    if (!GLEW_ARB_transform_feedback2)
        return; // a driver without it cannot have one wait
    const GLuint capturing = glCreateProgram();
    const GLuint shader = glCreateShader(GL_VERTEX_SHADER);
    const char* const source = "varying vec4 place; void main() { place = gl_Vertex; gl_Position = gl_Vertex; }";
    const char* const name = "place";
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    glAttachShader(capturing, shader);
    glDeleteShader(shader);
    glTransformFeedbackVaryings(capturing, 1, &name, GL_INTERLEAVED_ATTRIBS);
    glLinkProgram(capturing);
    glUseProgram(capturing);
    glBindBufferBase(GL_TRANSFORM_FEEDBACK_BUFFER, 0, buffer);
    glBufferData(GL_TRANSFORM_FEEDBACK_BUFFER, 8 * sizeof(float), nullptr, GL_STATIC_READ);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffers[0]);
    glDrawBuffer(GL_COLOR_ATTACHMENT2_EXT);
    glReadBuffer(GL_COLOR_ATTACHMENT2_EXT);
    const auto point = [](float x) {
        glBegin(GL_POINTS);
        glVertex4f(x, 1.0f, 2.0f, 3.0f);
        glEnd();
    };
    glBeginTransformFeedback(GL_POINTS);
    point(7.0f);
    {
        const StateGuard guard;
        disturb();
        expectNoGlError("the pass");
    }
    point(8.0f);
    glEndTransformFeedback();
    float captured[8] = {};
    glGetBufferSubData(GL_TRANSFORM_FEEDBACK_BUFFER, 0, sizeof captured, captured);
    EXPECT_EQ(std::vector<float>(captured, captured + 8), (std::vector<float>{7, 1, 2, 3, 8, 1, 2, 3}));
    glUseProgram(0);
    glDeleteProgram(capturing);
}

/// What a program finds when it is put in use: DriverAdapter looks at it then.
struct Found
{
    GLuint program, drawn, drawBuffer, texture0, texture1;
};
std::vector<Found> found;
PFNGLUSEPROGRAMPROC useProgramBefore = nullptr;

void GLAPIENTRY observedUseProgram(GLuint program)
{
    const auto textureOf = [](GLenum unit) {
        return static_cast<GLuint>(readUnit(unit, [] { return values<1>(GL_TEXTURE_BINDING_RECTANGLE_ARB); })[0]);
    };
    found.push_back({program, bound(GL_DRAW_FRAMEBUFFER_BINDING_EXT), bound(GL_DRAW_BUFFER), textureOf(GL_TEXTURE0),
                     textureOf(GL_TEXTURE1)});
    useProgramBefore(program);
}

TEST_F(StateGuardTest, TheProgramIsPutBackWhenWhatItDrawsIntoAndReadsIsBack)
{
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffers[0]);
    glDrawBuffer(GL_COLOR_ATTACHMENT2_EXT);
    glUseProgram(program);
    setUnit(GL_TEXTURE0, [&] { glBindTexture(GL_TEXTURE_RECTANGLE_ARB, texture2->getTexId()); });
    setUnit(GL_TEXTURE1, [&] { glBindTexture(GL_TEXTURE_RECTANGLE_ARB, texture1->getTexId()); });
    found.clear();
    useProgramBefore = std::exchange(__glewUseProgram, observedUseProgram);
    {
        const StateGuard guard;
        disturb();
    }
    __glewUseProgram = useProgramBefore;
    ASSERT_FALSE(found.empty());
    const Found last = found.back();
    EXPECT_EQ(last.program, program);
    EXPECT_EQ(last.drawn, framebuffers[0]);
    EXPECT_EQ(last.drawBuffer, static_cast<GLuint>(GL_COLOR_ATTACHMENT2_EXT));
    EXPECT_EQ(last.texture0, texture2->getTexId());
    EXPECT_EQ(last.texture1, texture1->getTexId());
}

} // namespace
} // namespace velmor::tests
