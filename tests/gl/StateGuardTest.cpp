#include "glsupport/StateGuard.h"

#include "core/cvdata/RectTexture.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "cvprocess/gpuStdShaders/Subtract.h"
#include "tests/gl/GlTest.h"

#include <functional>
#include <initializer_list>
#include <vector>

using velmor::core::cvdata::RectTexture;
using velmor::cvprocess::PixelCount;
using velmor::cvprocess::Subtract;
using velmor::glsupport::StateGuard;

namespace velmor::tests {
namespace {

using Values = std::vector<double>;

template<int count>
Values values(GLenum name)
{
    GLdouble result[count] = {};
    glGetDoublev(name, result);
    return Values(result, result + count);
}

/// A piece of state: how an application sets it away from what a pass needs or leaves, how it is read, and what it
/// reads inside the guard where the pass relies on it.
struct StateItem
{
    const char* name;
    std::function<void()> set;
    std::function<Values()> read;
    std::optional<Values> neutral;
};

/// Binds a texture and sets a matrix on a texture unit, and leaves another unit active.
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

/// A context with the application's own framebuffer, program and textures.
class StateGuardTest : public GlTest
{
protected:
    void SetUp() override
    {
        GlTest::SetUp();
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
        program = glCreateProgram();
        const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
        const char* const source = "void main() { gl_FragColor = vec4(1.0); }";
        glShaderSource(shader, 1, &source, nullptr);
        glCompileShader(shader);
        glAttachShader(program, shader);
        glLinkProgram(program);
        glDeleteShader(shader);
    }

    void TearDown() override
    {
        glDeleteFramebuffersEXT(2, framebuffers);
        glDeleteBuffers(1, &buffer);
        glDeleteProgram(program);
        texture1.reset();
        texture2.reset();
        GlTest::TearDown();
    }

    std::vector<StateItem> items();

    static StateItem off(const char* name, GLenum capability)
    {
        return {name, [=] { glEnable(capability); }, [=] { return Values{double(glIsEnabled(capability))}; },
                Values{0}};
    }

    static StateItem clamp(const char* name, GLenum target)
    {
        return {name, [=] { glClampColorARB(target, GL_FALSE); }, [=] { return values<1>(target); }, std::nullopt};
    }

    static StateItem transfer(const char* name, GLenum parameter, float value, double neutral)
    {
        return {name, [=] { glPixelTransferf(parameter, value); }, [=] { return values<1>(parameter); },
                Values{neutral}};
    }

    std::optional<RectTexture> texture1, texture2;
    GLuint framebuffers[2];
    GLuint buffer = 0;
    GLuint program = 0;
};

std::vector<StateItem> StateGuardTest::items()
{
    const auto whichever = std::nullopt;
    std::vector<StateItem> result = {
        {"framebuffers",
         [this] {
             glBindFramebufferEXT(GL_DRAW_FRAMEBUFFER_EXT, framebuffers[0]);
             glBindFramebufferEXT(GL_READ_FRAMEBUFFER_EXT, framebuffers[1]);
         },
         [] {
             return Values{values<1>(GL_DRAW_FRAMEBUFFER_BINDING_EXT)[0],
                           values<1>(GL_READ_FRAMEBUFFER_BINDING_EXT)[0]};
         },
         whichever},
        {"draw buffer", [] { glDrawBuffer(GL_COLOR_ATTACHMENT2_EXT); }, [] { return values<1>(GL_DRAW_BUFFER); },
         whichever},
        {"read buffer", [] { glReadBuffer(GL_COLOR_ATTACHMENT2_EXT); }, [] { return values<1>(GL_READ_BUFFER); },
         whichever},
        {"program", [this] { glUseProgram(program); }, [] { return values<1>(GL_CURRENT_PROGRAM); }, whichever},
        {"viewport", [] { glViewport(3, 4, 50, 60); }, [] { return values<4>(GL_VIEWPORT); }, whichever},
        {"projection", [] { setMatrix(GL_PROJECTION, 0.5f); }, [] { return values<16>(GL_PROJECTION_MATRIX); },
         whichever},
        {"model-view", [] { setMatrix(GL_MODELVIEW, 0.75f); }, [] { return values<16>(GL_MODELVIEW_MATRIX); },
         whichever},
        {"matrix mode", [] { glMatrixMode(GL_PROJECTION); }, [] { return values<1>(GL_MATRIX_MODE); }, whichever},
        {"active unit", [] { glActiveTexture(GL_TEXTURE0 + 3); }, [] { return values<1>(GL_ACTIVE_TEXTURE); },
         whichever},
        {"polygon mode", [] { glPolygonMode(GL_FRONT_AND_BACK, GL_LINE); }, [] { return values<2>(GL_POLYGON_MODE); },
         whichever},
        {"current colour", [] { glColor4f(0.25f, 0.5f, 0.75f, 0.125f); }, [] { return values<4>(GL_CURRENT_COLOR); },
         whichever},
        {"clear colour", [] { glClearColor(0.25f, 0.5f, 0.75f, 0.125f); },
         [] { return values<4>(GL_COLOR_CLEAR_VALUE); }, whichever},
        {"depth test", [] { glEnable(GL_DEPTH_TEST); }, [] { return Values{double(glIsEnabled(GL_DEPTH_TEST))}; },
         whichever},
        {"blend equation", [] { glBlendEquation(GL_FUNC_REVERSE_SUBTRACT); },
         [] { return values<1>(GL_BLEND_EQUATION); }, whichever},
        {"blend factors", [] { glBlendFunc(GL_DST_COLOR, GL_ONE_MINUS_SRC_ALPHA); },
         [] {
             return Values{values<1>(GL_BLEND_SRC)[0], values<1>(GL_BLEND_DST)[0]};
         },
         whichever},
        {"colour mask", [] { glColorMask(GL_FALSE, GL_TRUE, GL_FALSE, GL_FALSE); },
         [] { return values<4>(GL_COLOR_WRITEMASK); }, Values{1, 1, 1, 1}},
        clamp("vertex clamp", GL_CLAMP_VERTEX_COLOR_ARB),
        clamp("fragment clamp", GL_CLAMP_FRAGMENT_COLOR_ARB),
        clamp("read clamp", GL_CLAMP_READ_COLOR_ARB),
        off("blending", GL_BLEND),
        off("scissor test", GL_SCISSOR_TEST),
        off("stencil test", GL_STENCIL_TEST),
        off("alpha test", GL_ALPHA_TEST),
        off("logic operation", GL_COLOR_LOGIC_OP),
        off("face culling", GL_CULL_FACE),
        off("polygon stipple", GL_POLYGON_STIPPLE),
        off("polygon smoothing", GL_POLYGON_SMOOTH),
        off("point smoothing", GL_POINT_SMOOTH),
        off("point size of the program", GL_VERTEX_PROGRAM_POINT_SIZE),
        {"point size", [] { glPointSize(5.0f); }, [] { return values<1>(GL_POINT_SIZE); }, Values{1}},
        {"pack buffer", [this] { glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer); },
         [] { return values<1>(GL_PIXEL_PACK_BUFFER_BINDING); }, Values{0}},
        transfer("colour map", GL_MAP_COLOR, 1.0f, 0.0),
    };
    for (const GLenum setting : std::initializer_list<GLenum>{GL_PACK_SWAP_BYTES, GL_PACK_LSB_FIRST, GL_PACK_ROW_LENGTH,
                                                              GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS})
        result.push_back(
            {"pack setting", [=] { glPixelStorei(setting, 1); }, [=] { return values<1>(setting); }, Values{0}});
    for (const GLenum scale :
         std::initializer_list<GLenum>{GL_RED_SCALE, GL_GREEN_SCALE, GL_BLUE_SCALE, GL_ALPHA_SCALE})
        result.push_back(transfer("scale", scale, 0.5f, 1.0));
    for (const GLenum bias : std::initializer_list<GLenum>{GL_RED_BIAS, GL_GREEN_BIAS, GL_BLUE_BIAS, GL_ALPHA_BIAS})
        result.push_back(transfer("bias", bias, 0.5f, 0.0));
    for (GLenum plane = GL_CLIP_PLANE0; plane <= GL_CLIP_PLANE5; ++plane)
        result.push_back(off("clip plane", plane));
    for (const GLenum unit : std::initializer_list<GLenum>{GL_TEXTURE0, GL_TEXTURE1}) {
        const RectTexture& texture = unit == GL_TEXTURE0 ? *texture1 : *texture2;
        result.push_back(
            {"rectangle texture",
             [=, &texture] { setUnit(unit, [&] { glBindTexture(GL_TEXTURE_RECTANGLE_ARB, texture.getTexId()); }); },
             [=] { return readUnit(unit, [] { return values<1>(GL_TEXTURE_BINDING_RECTANGLE_ARB); }); }, whichever});
        result.push_back({"texture matrix",
                          [=] {
                              setUnit(unit, [] {
                                  glMatrixMode(GL_TEXTURE);
                                  glLoadIdentity();
                                  glTranslatef(0.5f, 0.25f, 0.0f);
                                  glMatrixMode(GL_PROJECTION);
                              });
                          },
                          [=] { return readUnit(unit, [] { return values<16>(GL_TEXTURE_MATRIX); }); }, kIdentity});
        result.push_back({"texture coordinates", [=] { glMultiTexCoord4f(unit, 0.5f, 0.25f, 0.125f, 2.0f); },
                          [=] { return readUnit(unit, [] { return values<4>(GL_CURRENT_TEXTURE_COORDS); }); },
                          whichever});
        result.push_back(
            {"rectangle enable", [=] { setUnit(unit, [] { glEnable(GL_TEXTURE_RECTANGLE_ARB); }); },
             [=] { return readUnit(unit, [] { return Values{double(glIsEnabled(GL_TEXTURE_RECTANGLE_ARB))}; }); },
             whichever});
        for (const GLenum generator :
             std::initializer_list<GLenum>{GL_TEXTURE_GEN_S, GL_TEXTURE_GEN_T, GL_TEXTURE_GEN_R, GL_TEXTURE_GEN_Q})
            result.push_back({"coordinate generation", [=] { setUnit(unit, [=] { glEnable(generator); }); },
                              [=] { return readUnit(unit, [=] { return Values{double(glIsEnabled(generator))}; }); },
                              Values{0}});
    }
    return result;
}

/// A pass, and everything else that passes of this library do to the state.
void disturb(RectTexture& a, RectTexture& b)
{
    const auto filter = makeQuietly<Subtract>();
    RectTexture destination(4, 4, RectTexture::RGBA8);
    filter->prepareExecution(a, b, destination);
    filter->execute();
    glColor3f(1.0f, 0.0f, 1.0f);
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glReadBuffer(GL_COLOR_ATTACHMENT1_EXT);
    glEnable(GL_BLEND);
    glBlendEquation(GL_MAX);
    glBlendFunc(GL_ONE, GL_ONE);
    for (const GLenum target :
         std::initializer_list<GLenum>{GL_CLAMP_VERTEX_COLOR_ARB, GL_CLAMP_FRAGMENT_COLOR_ARB, GL_CLAMP_READ_COLOR_ARB})
        glClampColorARB(target, GL_TRUE);
    for (const GLenum unit : std::initializer_list<GLenum>{GL_TEXTURE0, GL_TEXTURE1})
        glMultiTexCoord4f(unit, 9.0f, 9.0f, 9.0f, 9.0f);
}

TEST_F(StateGuardTest, EachItemIsRestoredAfterAPass)
{
    const std::vector<StateItem> all = items();
    EXPECT_EQ(all.size(), 32u + 6u + 13u + 2u * 8u);
    for (const StateItem& item : all) {
        SCOPED_TRACE(item.name);
        const Values before = item.read();
        item.set();
        const Values set = item.read();
        EXPECT_NE(set, before) << "the item was not changed, so the test would prove nothing";
        {
            const StateGuard guard;
            disturb(*texture1, *texture2);
        }
        EXPECT_EQ(item.read(), set);
        expectNoGlError(item.name);
        if (std::string(item.name) == "colour mask")
            glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    }
}

TEST_F(StateGuardTest, AllItemsTogetherAreRestored)
{
    const std::vector<StateItem> all = items();
    std::vector<Values> set;
    for (const StateItem& item : all)
        item.set();
    for (const StateItem& item : all)
        set.push_back(item.read());
    {
        const StateGuard guard;
        const StateGuard nested;
        disturb(*texture1, *texture2);
    }
    for (std::size_t i = 0; i < all.size(); ++i)
        EXPECT_EQ(all[i].read(), set[i]) << all[i].name;
}

TEST_F(StateGuardTest, WhatAPassReliesOnIsNeutralInside)
{
    for (const StateItem& item : items())
        item.set();
    const StateGuard guard;
    int neutralItems = 0;
    for (const StateItem& item : items()) {
        if (!item.neutral)
            continue;
        ++neutralItems;
        EXPECT_EQ(item.read(), *item.neutral) << item.name;
    }
    EXPECT_EQ(neutralItems, 1 + 8 + 5 + 6 + 13 + 2 * 5);
    EXPECT_EQ(values<1>(GL_ACTIVE_TEXTURE), Values{GL_TEXTURE0 + 3});
    EXPECT_EQ(values<1>(GL_MATRIX_MODE), Values{GL_MODELVIEW});
}

TEST_F(StateGuardTest, APassInsideIsRightWhateverTheApplicationHasSet)
{
    const unsigned char a[] = {200, 10, 30, 255}, b[] = {50, 40, 30, 0}, expected[] = {150, 30, 0, 255};
    RectTexture source1(1, 1, RectTexture::RGBA8), source2(1, 1, RectTexture::RGBA8);
    RectTexture destination(1, 1, RectTexture::RGBA8);
    source1.upload(a);
    source2.upload(b);
    const auto filter = makeQuietly<Subtract>();
    for (const StateItem& item : items())
        item.set();
    unsigned char result[4] = {};
    {
        const StateGuard guard;
        filter->prepareExecution(source1, source2, destination);
        filter->execute();
        destination.download(result);
    }
    EXPECT_EQ(std::vector<unsigned char>(result, result + 4), std::vector<unsigned char>(expected, expected + 4));
}

TEST_F(StateGuardTest, ACountInsideIsRightWhateverTheApplicationHasSet)
{
    std::vector<float> texels(20 * 10, 0.0f);
    for (const std::size_t place : {0u, 7u, 19u, 65u, 111u, 199u})
        texels[place] = 1.0f;
    RectTexture mask(20, 10, RectTexture::R32F), sums(20, 10, RectTexture::R32UI);
    mask.upload(texels.data());
    const auto filter = makeQuietly<PixelCount>();
    filter->setMaxNofTiles(9);
    for (const StateItem& item : items())
        item.set();
    unsigned count = 0;
    capture([&] {
        const StateGuard guard;
        filter->prepareExecution(mask, sums);
        filter->execute();
        count = filter->getCount();
    });
    EXPECT_EQ(count, 6u);
}

TEST_F(StateGuardTest, AnApplicationWithoutAFramebufferOfItsOwnIsLeftInPeace)
{
    {
        const StateGuard guard;
        disturb(*texture1, *texture2);
    }
    EXPECT_EQ(values<1>(GL_FRAMEBUFFER_BINDING_EXT), Values{0});
    expectNoGlError("the guard");
}

} // namespace
} // namespace velmor::tests
