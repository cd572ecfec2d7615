#include "glsupport/DriverAdapter.h"

#include "cvprocess/gpuStdShaders/FlipV.h"
#include "glsupport/RectTexture.h"
#include "tests/gl/GlTest.h"
#include "tests/gl/InPlaceOf.h"
#include "tests/gl/LackingDriver.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/ThrownText.h"

#include <malloc.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <limits>
#include <map>
#include <numeric>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using velmor::glsupport::DriverAdapter;
using velmor::glsupport::HeadlessContext;
using velmor::glsupport::RectTexture;

#ifdef __SANITIZE_ADDRESS__
extern "C" std::size_t __sanitizer_get_current_allocated_bytes(); // g++ has no header with it
#endif

namespace velmor::tests {
namespace {

using Texel = std::array<float, 4>;
using Stages = std::initializer_list<std::pair<GLenum, std::string>>;

/// What makes a text one of the filters' dialect.
const std::string kClassic = "#extension GL_ARB_texture_rectangle : enable\n";

const char* const kPassVertex = "void main() { gl_Position = gl_Vertex; gl_FrontColor = gl_Color; }\n";
const std::string kPassColour = kClassic + "void main() { gl_FragColor = gl_Color; }\n";
/// Places results as points, as shaders do that read texels for their vertices.
const std::string kPointVertex = kClassic + R"(uniform sampler2DRect texels;
void main()
{
    gl_Position = gl_Vertex;
    gl_FrontColor = gl_Color + 0.0 * texture2DRect(texels, vec2(0.5));
}
)";

const char* const kGeometryHead = "#version 130\n#extension GL_EXT_geometry_shader4 : enable\n";

bool compiles(GLuint shader, const std::string& text)
{
    const GLchar* const source = text.c_str();
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    GLint status = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
    return status != 0;
}

std::string shaderLog(GLuint shader)
{
    GLchar log[4096] = "";
    glGetShaderInfoLog(shader, sizeof(log), nullptr, log);
    return log;
}

bool links(GLuint program)
{
    glLinkProgram(program);
    GLint status = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &status);
    return status != 0;
}

GLuint attachStages(const Stages& stages)
{
    const GLuint program = glCreateProgram();
    for (const auto& [type, text] : stages) {
        const GLuint shader = glCreateShader(type);
        EXPECT_TRUE(compiles(shader, text)) << shaderLog(shader);
        glAttachShader(program, shader);
        glDeleteShader(shader);
    }
    return program;
}

/// A program with a geometry stage between two stages that pass on what they get.
GLuint attachWithGeometry(const std::string& geometry)
{
    return attachStages(
        {{GL_VERTEX_SHADER, kPassVertex}, {GL_GEOMETRY_SHADER_EXT, geometry}, {GL_FRAGMENT_SHADER, kPassColour}});
}

GLuint build(const Stages& stages)
{
    const GLuint program = attachStages(stages);
    EXPECT_TRUE(links(program));
    return program;
}

void setGeometry(GLuint program, GLint input, GLint output, GLint vertices)
{
    glProgramParameteriEXT(program, GL_GEOMETRY_INPUT_TYPE_EXT, input);
    glProgramParameteriEXT(program, GL_GEOMETRY_OUTPUT_TYPE_EXT, output);
    glProgramParameteriEXT(program, GL_GEOMETRY_VERTICES_OUT_EXT, vertices);
}

/// A program whose geometry stage makes one point of each primitive.
GLuint buildWithGeometry(GLint primitives, const std::string& main)
{
    const GLuint program = attachWithGeometry(kGeometryHead + main);
    setGeometry(program, primitives, GL_POINTS, 1);
    EXPECT_TRUE(links(program));
    return program;
}

/// A row of float texels to draw into, all of them -1 at first.
class Row
{
public:
    explicit Row(unsigned width) : mTexture(width, 1, RectTexture::RGBA32F)
    {
        mTexture.upload(std::vector<Texel>(width, {-1, -1, -1, -1}).data());
        glGenFramebuffersEXT(1, &mFramebuffer);
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, mFramebuffer);
        glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_RECTANGLE_ARB,
                                  mTexture.getTexId(), 0);
        glDrawBuffer(GL_COLOR_ATTACHMENT0_EXT);
        glViewport(0, 0, static_cast<GLsizei>(width), 1);
    }
    Row(const Row&) = delete;
    Row& operator=(const Row&) = delete;
    ~Row() { glDeleteFramebuffersEXT(1, &mFramebuffer); }

    GLuint framebuffer() const { return mFramebuffer; }
    const RectTexture& texture() const { return mTexture; }

    std::vector<Texel> texels() const
    {
        std::vector<Texel> result(mTexture.width());
        mTexture.download(result.data());
        return result;
    }

    /// The first components.
    std::vector<float> reds() const
    {
        std::vector<float> result;
        for (const Texel& texel : texels())
            result.push_back(texel[0]);
        return result;
    }

private:
    RectTexture mTexture;
    GLuint mFramebuffer = 0;
};

void drawQuad()
{
    glBegin(GL_QUADS);
    for (const auto& [x, y] : {std::pair{-1.0f, -1.0f}, {1.0f, -1.0f}, {1.0f, 1.0f}, {-1.0f, 1.0f}})
        glVertex2f(x, y);
    glEnd();
}

void drawPoints(int count)
{
    glBegin(GL_POINTS);
    for (int i = 0; i < count; ++i)
        glVertex2f(0.0f, 0.0f);
    glEnd();
}

/// Emits "count" points, each at its own texel of a row and with its number for a colour.
const std::string kNumberedPoints = std::string(kGeometryHead) + R"(uniform int count;
uniform int width;
void main()
{
    for (int i = 0; i < count; i++)
    {
        gl_Position = vec4(float(2 * i + 1) / float(width) - 1.0, 0.0, 0.0, 1.0);
        gl_FrontColor = vec4(float(i), 0.0, 0.0, 0.0);
        EmitVertex();
    }
    EndPrimitive();
}
)";

void setInt(GLuint program, const char* name, int value)
{
    glUniform1i(glGetUniformLocation(program, name), value);
}

/// Draws with a program of numbered points, which is to fill a row.
void drawNumberedPoints(GLuint program, int count)
{
    glUseProgram(program);
    setInt(program, "count", count);
    setInt(program, "width", count);
    drawPoints(1);
}

GLint integer(GLenum name)
{
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

/// Where the entry points of GLEW point that an adapter might replace.
std::vector<const void*> entryPoints()
{
    const auto address = [](auto function) {
        return reinterpret_cast<const void*>(function);
    };
    return {address(glShaderSource),
            address(glCompileShader),
            address(glAttachShader),
            address(glDetachShader),
            address(glLinkProgram),
            address(glCreateProgram),
            address(glCreateShader),
            address(glDeleteProgram),
            address(glDeleteShader),
            address(glProgramParameteriEXT),
            address(glUseProgram),
            address(glUniform4f),
            address(glFramebufferTexture2DEXT),
            address(glBindFramebufferEXT),
            address(glBindFramebuffer),
            address(glDeleteFramebuffersEXT),
            address(glDeleteFramebuffers),
            address(glUniform1i)};
}

/// The names in use of each kind of object, among the first hundreds.
std::set<std::pair<std::string, GLuint>> objects()
{
    std::set<std::pair<std::string, GLuint>> names;
    for (GLuint name = 1; name < 500; ++name) {
        const std::map<std::string, GLboolean> kinds = {{"texture", glIsTexture(name)},
                                                        {"framebuffer", glIsFramebufferEXT(name)},
                                                        {"program", glIsProgram(name)},
                                                        {"shader", glIsShader(name)},
                                                        {"list", glIsList(name)}};
        for (const auto& [kind, isOne] : kinds)
            if (isOne)
                names.emplace(kind, name);
    }
    return names;
}

class DriverAdapterTest : public GlTest
{
protected:
    void SetUp() override
    {
        GlTest::SetUp();
        glClampColorARB(GL_CLAMP_VERTEX_COLOR_ARB, GL_FALSE);
        glClampColorARB(GL_CLAMP_FRAGMENT_COLOR_ARB, GL_FALSE);
    }
};

TEST(DriverAdapterReport, IsALineForEachFinding)
{
    using Finding = DriverAdapter::Finding;
    const DriverAdapter::Report report = {{{"this", Finding::Accepted, ""},
                                           {"that", Finding::Adapted, "it is refused"},
                                           {"the other", Finding::Missing, "it is not there"}}};
    EXPECT_EQ(report.text(), "accepted  this\n"
                             "adapted   that\n"
                             "          it is refused\n"
                             "missing   the other\n"
                             "          it is not there\n");
    std::ostringstream written;
    written << report;
    EXPECT_EQ(written.str(), report.text());
}

TEST(DriverAdapterInstall, NeedsAContext)
{
    { // so that GLEW is initialised
        const HeadlessContext context(false);
    }
    EXPECT_EQ(thrownText<std::runtime_error>([] { DriverAdapter::install(); }),
              "DriverAdapter::install(): expected a current OpenGL context");
}

TEST(DriverAdapterInstall, EveryShortcomingIsMadeGoodAndReported)
{
    const HeadlessContext context(false);
    const DriverAdapter::Report report = DriverAdapter::install();
    EXPECT_EQ(report.findings.size(), 9u);
    for (const DriverAdapter::Finding& finding : report.findings) {
        EXPECT_NE(finding.outcome, DriverAdapter::Finding::Missing) << report;
        EXPECT_EQ(finding.detail.empty(), finding.outcome == DriverAdapter::Finding::Accepted) << report;
    }
    for (const DriverAdapter::Finding& finding : DriverAdapter::install(DriverAdapter::Always).findings)
        EXPECT_EQ(finding.outcome, DriverAdapter::Finding::Adapted) << finding.expectation;
    DriverAdapter::remove();
}

PFNGLGETPROGRAMIVPROC driversGetProgramiv = nullptr;
std::string driversMessage; ///< about programs

void GLAPIENTRY sayThatNothingLinks(GLuint program, GLenum name, GLint* value)
{
    driversGetProgramiv(program, name, value);
    if (name == GL_LINK_STATUS)
        *value = GL_FALSE;
    if (name == GL_INFO_LOG_LENGTH)
        *value = static_cast<GLint>(driversMessage.size()) + 1;
}

void GLAPIENTRY giveMessage(GLuint, GLsizei size, GLsizei* length, GLchar* text)
{
    *length = static_cast<GLsizei>(driversMessage.copy(text, static_cast<std::size_t>(size) - 1));
    text[*length] = '\0';
}

/// What is found of a driver that links nothing and gives this message each time.
DriverAdapter::Report reportWhereNothingLinks(const std::string& message)
{
    DriverAdapter::remove(); // what earlier tests of the process have left
    const HeadlessContext context(false);
    driversGetProgramiv = __glewGetProgramiv;
    driversMessage = message;
    const InPlaceOf query(__glewGetProgramiv, PFNGLGETPROGRAMIVPROC(sayThatNothingLinks));
    const InPlaceOf log(__glewGetProgramInfoLog, PFNGLGETPROGRAMINFOLOGPROC(giveMessage));
    DriverAdapter::Report report = DriverAdapter::install();
    DriverAdapter::remove();
    return report;
}

TEST(DriverAdapterInstall, OfADriverThatLinksNothingEverythingIsMissing)
{
    for (const DriverAdapter::Finding& finding : reportWhereNothingLinks("").findings)
        EXPECT_EQ(finding.outcome, DriverAdapter::Finding::Missing) << finding.expectation;
}

TEST(DriverAdapterInstall, TheReasonIsTheLineThatNamesAnErrorOrElseTheFirst)
{
    const auto saysOf = [](const std::string& message, const std::string& reason) {
        const DriverAdapter::Report report = reportWhereNothingLinks(message);
        const auto& findings = report.findings;
        EXPECT_TRUE(std::any_of(findings.begin(), findings.end(), [&](const DriverAdapter::Finding& finding) {
            return finding.detail == "it does not link: " + reason;
        })) << report;
    };
    saysOf("", "no reason given");
    saysOf("it fails\n", "it fails");
    saysOf("it fails\nbecause\n", "it fails");
    saysOf("linking\n0:3: error: no such name\nthe end\n", "0:3: error: no such name");
    saysOf("error: no such name\nthe end", "error: no such name");
}

void GLAPIENTRY loseNumbers(GLint, GLfloat, GLfloat, GLfloat, GLfloat) {}

TEST(DriverAdapterInstall, WhatIsDrawnWrongIsCounted)
{
    DriverAdapter::remove(); // what earlier tests of the process have left
    const HeadlessContext context(false);
    const InPlaceOf uniform(__glewUniform4f, PFNGLUNIFORM4FPROC(loseNumbers));
    const DriverAdapter::Report report = DriverAdapter::install();
    DriverAdapter::remove();
    const auto& findings = report.findings;
    EXPECT_TRUE(std::any_of(findings.begin(), findings.end(), [](const DriverAdapter::Finding& finding) {
        return finding.expectation == "glUniform4f() sets a mat2" && finding.detail == "16 of 16 pixels are wrong";
    })) << report;
}

TEST(DriverAdapterInstall, ADriverThatDoesEverythingKeepsItsEntryPoints)
{
    DriverAdapter::remove(); // what earlier tests of the process have left
    const HeadlessContext context(false);
    const auto driversOwn = entryPoints();
    const DriverAdapter::Report report = DriverAdapter::install();
    bool needsSomething = false;
    for (const DriverAdapter::Finding& finding : report.findings)
        needsSomething = needsSomething || finding.outcome == DriverAdapter::Finding::Adapted;
    EXPECT_EQ(entryPoints() != driversOwn, needsSomething);
    DriverAdapter::remove();
    EXPECT_EQ(entryPoints(), driversOwn);
}

TEST(DriverAdapterInstall, RemoveRestoresEveryPointer)
{
    DriverAdapter::remove(); // what earlier tests of the process have left
    const HeadlessContext context(false);
    const auto driversOwn = entryPoints();
    DriverAdapter::install(DriverAdapter::Always);
    EXPECT_NE(entryPoints(), driversOwn);
    DriverAdapter::install(DriverAdapter::Always); // a second time takes nothing for the driver's own
    DriverAdapter::remove();
    EXPECT_EQ(entryPoints(), driversOwn);
    DriverAdapter::remove();
    EXPECT_EQ(entryPoints(), driversOwn);
}

/// What an application may do wrong, by the error that it raises.
std::map<GLenum, std::function<void()>> causesOfErrors()
{
    return {
        {GL_INVALID_ENUM,
         [] {
             glEnable(GL_NONE + 1);
         }},
        {GL_INVALID_VALUE,
         [] {
             glPointSize(-1.0f);
         }},
        {GL_INVALID_OPERATION,
         [] {
             glEnd();
         }},
        {GL_STACK_OVERFLOW,
         [] {
             const GLint depth = integer(GL_MODELVIEW_STACK_DEPTH);
             for (GLint i = depth; i <= integer(GL_MAX_MODELVIEW_STACK_DEPTH); ++i)
                 glPushMatrix();
             for (GLint i = integer(GL_MODELVIEW_STACK_DEPTH); i > depth; --i)
                 glPopMatrix();
         }},
        {GL_STACK_UNDERFLOW,
         [] {
             glPopMatrix();
         }},
        {GL_OUT_OF_MEMORY,
         [] {
             glBufferData(GL_PIXEL_UNPACK_BUFFER, std::numeric_limits<GLsizeiptr>::max(), nullptr, GL_STATIC_DRAW);
         }},
        {GL_INVALID_FRAMEBUFFER_OPERATION_EXT,
         [] {
             const GLint bound = integer(GL_FRAMEBUFFER_BINDING_EXT);
             glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0); // a context without a window has none
             glClear(GL_COLOR_BUFFER_BIT);
             glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, static_cast<GLuint>(bound));
         }},
    };
}

TEST(DriverAdapterInstall, AnErrorOfAFramebufferLeavesWhatIsReadAndWhatIsDrawn)
{
    const HeadlessContext context(false);
    const Row read(1), drawn(1);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0); // a context without a window has none
    glClear(GL_COLOR_BUFFER_BIT);
    glBindFramebufferEXT(GL_DRAW_FRAMEBUFFER_EXT, drawn.framebuffer());
    glBindFramebufferEXT(GL_READ_FRAMEBUFFER_EXT, read.framebuffer());
    DriverAdapter::install();
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_FRAMEBUFFER_OPERATION_EXT));
    EXPECT_EQ(integer(GL_READ_FRAMEBUFFER_BINDING_EXT), static_cast<GLint>(read.framebuffer()));
    EXPECT_EQ(integer(GL_DRAW_FRAMEBUFFER_BINDING_EXT), static_cast<GLint>(drawn.framebuffer()));
}

TEST(DriverAdapterInstall, LeavesErrorsObjectsAndStateAlone)
{
    const HeadlessContext context(false);
    const Row row(3);
    const GLuint program = build({{GL_FRAGMENT_SHADER, kPassColour}});
    glUseProgram(program);
    GLuint buffer = 0;
    GLuint otherBuffer = 0;
    glGenBuffers(1, &buffer);
    glGenBuffers(1, &otherBuffer);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, otherBuffer);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
    glBufferData(GL_PIXEL_PACK_BUFFER, 4, "abc", GL_STATIC_READ);
    glPixelStorei(GL_PACK_ROW_LENGTH, 7);
    glPixelStorei(GL_PACK_SWAP_BYTES, GL_TRUE);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 1 << 20); // beyond what a trial has in memory
    while (integer(GL_CLIENT_ATTRIB_STACK_DEPTH) < integer(GL_MAX_CLIENT_ATTRIB_STACK_DEPTH))
        glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    while (integer(GL_ATTRIB_STACK_DEPTH) < integer(GL_MAX_ATTRIB_STACK_DEPTH))
        glPushAttrib(GL_CURRENT_BIT);
    glEnable(GL_SCISSOR_TEST);
    glClearColor(0.25f, 0.25f, 0.25f, 0.25f);
    for (const auto& [error, cause] : causesOfErrors()) {
        SCOPED_TRACE(error);
        const auto before = objects();
        cause();
        DriverAdapter::install();
        EXPECT_EQ(glGetError(), error);
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
        EXPECT_EQ(objects(), before);
    }
    EXPECT_EQ(integer(GL_MODELVIEW_STACK_DEPTH), 1);
    EXPECT_EQ(integer(GL_PROJECTION_STACK_DEPTH), 1);
    EXPECT_EQ(integer(GL_MATRIX_MODE), GL_MODELVIEW);
    EXPECT_EQ(integer(GL_CURRENT_PROGRAM), static_cast<GLint>(program));
    EXPECT_EQ(integer(GL_FRAMEBUFFER_BINDING_EXT), static_cast<GLint>(row.framebuffer()));
    EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_COLOR_ATTACHMENT0_EXT);
    EXPECT_EQ(integer(GL_PIXEL_PACK_BUFFER_BINDING), static_cast<GLint>(buffer));
    EXPECT_EQ(integer(GL_PACK_ROW_LENGTH), 7);
    EXPECT_EQ(integer(GL_PACK_SWAP_BYTES), GL_TRUE);
    EXPECT_EQ(integer(GL_UNPACK_ROW_LENGTH), 1 << 20);
    EXPECT_EQ(integer(GL_CLIENT_ATTRIB_STACK_DEPTH), integer(GL_MAX_CLIENT_ATTRIB_STACK_DEPTH));
    EXPECT_EQ(integer(GL_ATTRIB_STACK_DEPTH), integer(GL_MAX_ATTRIB_STACK_DEPTH));
    EXPECT_EQ(integer(GL_SCISSOR_TEST), GL_TRUE);
    GLfloat clear[4];
    glGetFloatv(GL_COLOR_CLEAR_VALUE, clear);
    EXPECT_EQ(clear[0], 0.25f);
    char kept[4];
    glGetBufferSubData(GL_PIXEL_PACK_BUFFER, 0, 4, kept);
    EXPECT_STREQ(kept, "abc");
    DriverAdapter::remove();
}

/// Outcomes alone: details tell of pixels.
std::vector<DriverAdapter::Finding::Outcome> outcomes(const DriverAdapter::Report& report)
{
    std::vector<DriverAdapter::Finding::Outcome> result;
    for (const DriverAdapter::Finding& finding : report.findings)
        result.push_back(finding.outcome);
    return result;
}

TEST(DriverAdapterInstall, FindsTheSameWhateverTheApplicationHasSet)
{
    const HeadlessContext context(false);
    const auto expected = outcomes(DriverAdapter::install());
    const RectTexture texture(1, 1, RectTexture::RGBA32F);
    GLuint sampler = 0;
    glGenSamplers(1, &sampler);
    glSamplerParameteri(sampler, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
    glBindSampler(0, sampler);
    glEnable(GL_RASTERIZER_DISCARD);
    glEnable(GL_BLEND);
    glBlendFunc(GL_ZERO, GL_ZERO);
    glColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_FALSE);
    glActiveTexture(GL_TEXTURE5);
    glBindTexture(GL_TEXTURE_RECTANGLE_ARB, texture.getTexId());
    EXPECT_EQ(outcomes(DriverAdapter::install()), expected);
    EXPECT_EQ(integer(GL_RASTERIZER_DISCARD), GL_TRUE);
    EXPECT_EQ(integer(GL_SAMPLER_BINDING), 0) << "of unit 5";
    EXPECT_EQ(integer(GL_ACTIVE_TEXTURE), GL_TEXTURE5);
    EXPECT_EQ(integer(GL_TEXTURE_BINDING_RECTANGLE_ARB), static_cast<GLint>(texture.getTexId()));
    glActiveTexture(GL_TEXTURE0);
    EXPECT_EQ(integer(GL_SAMPLER_BINDING), static_cast<GLint>(sampler));
    DriverAdapter::remove();
}

TEST(DriverAdapterInstall, KeepsOutOfWhatIsUnderWay)
{
    const HeadlessContext context(false);
    const std::string text =
        "DriverAdapter::install(): expected no query, display list, feedback or selection to be under way";
    std::vector<GLenum> targets = {GL_SAMPLES_PASSED, GL_ANY_SAMPLES_PASSED, GL_PRIMITIVES_GENERATED};
    if (GLEW_VERSION_4_3 || GLEW_ARB_ES3_compatibility)
        targets.push_back(GL_ANY_SAMPLES_PASSED_CONSERVATIVE);
    if (GLEW_ARB_pipeline_statistics_query)
        targets.push_back(GL_VERTICES_SUBMITTED_ARB);
    for (const GLenum target : targets) {
        GLuint query = 0;
        glGenQueries(1, &query);
        glBeginQuery(target, query);
        EXPECT_EQ(thrownText<std::runtime_error>([] { DriverAdapter::install(); }), text) << target;
        glEndQuery(target);
        GLuint count = 1;
        glGetQueryObjectuiv(query, GL_QUERY_RESULT, &count);
        EXPECT_EQ(count, 0u) << target;
    }
    const GLuint list = glGenLists(1);
    glNewList(list, GL_COMPILE);
    EXPECT_EQ(thrownText<std::runtime_error>([] { DriverAdapter::install(); }), text);
    glEndList();
    GLfloat feedback[16];
    glFeedbackBuffer(16, GL_2D, feedback);
    glRenderMode(GL_FEEDBACK);
    EXPECT_EQ(thrownText<std::runtime_error>([] { DriverAdapter::install(); }), text);
    EXPECT_EQ(glRenderMode(GL_RENDER), 0);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

void GLAPIENTRY countMessage(GLenum, GLenum, GLuint, GLenum, GLsizei, const GLchar*, const void* count)
{
    ++*static_cast<int*>(const_cast<void*>(count));
}

TEST(DriverAdapterInstall, GivesTheApplicationNoMessages)
{
    const HeadlessContext context(false);
    if (!GLEW_KHR_debug)
        GTEST_SKIP() << "the driver lacks GL_KHR_debug, so it gives no messages";
    int count = 0;
    glEnable(GL_DEBUG_OUTPUT);
    glEnable(GL_DEBUG_OUTPUT_SYNCHRONOUS);
    glDebugMessageCallback(countMessage, &count);
    const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
    EXPECT_FALSE(compiles(shader, "nothing"));
    const int ownMessages = count;
    EXPECT_GT(ownMessages, 0) << "or the test would prove nothing";
    DriverAdapter::install();
    EXPECT_EQ(count, ownMessages);
    EXPECT_TRUE(glIsEnabled(GL_DEBUG_OUTPUT));
    DriverAdapter::remove();
}

PFNGLUSEPROGRAMPROC wrappedUseProgram = nullptr;
int callsOfTheWrapper = 0;

void GLAPIENTRY wrapUseProgram(GLuint program)
{
    ++callsOfTheWrapper;
    wrappedUseProgram(program);
}

TEST(DriverAdapterInstall, BearsWithAThirdPartyThatWrapsOurEntryPoints)
{
    DriverAdapter::remove();
    const HeadlessContext context(false);
    const auto driversOwn = entryPoints();
    DriverAdapter::install(DriverAdapter::Always);
    wrappedUseProgram = __glewUseProgram;
    __glewUseProgram = wrapUseProgram;
    for (const DriverAdapter::Finding& finding : DriverAdapter::install(DriverAdapter::Always).findings)
        EXPECT_EQ(finding.outcome, DriverAdapter::Finding::Adapted) << finding.expectation;
    callsOfTheWrapper = 0;
    glUseProgram(0);
    EXPECT_EQ(callsOfTheWrapper, 1);
    DriverAdapter::remove();
    EXPECT_EQ(__glewUseProgram, &wrapUseProgram);
    glUseProgram(0); // ours is still behind it
    EXPECT_EQ(callsOfTheWrapper, 2);
    __glewUseProgram = wrappedUseProgram;
    DriverAdapter::remove();
    EXPECT_EQ(entryPoints(), driversOwn);
}

TEST(DriverAdapterInstall, BearsWithAThirdPartyThatWasThereFirst)
{
    DriverAdapter::remove();
    const HeadlessContext context(false);
    wrappedUseProgram = __glewUseProgram;
    __glewUseProgram = wrapUseProgram;
    DriverAdapter::install(DriverAdapter::Always);
    callsOfTheWrapper = 0;
    glUseProgram(0);
    EXPECT_EQ(callsOfTheWrapper, 1);
    glewInit(); // which takes both away
    glUseProgram(0);
    EXPECT_EQ(callsOfTheWrapper, 1);
    for (const DriverAdapter::Finding& finding : DriverAdapter::install(DriverAdapter::Always).findings)
        EXPECT_EQ(finding.outcome, DriverAdapter::Finding::Adapted) << finding.expectation;
    DriverAdapter::remove();
    EXPECT_EQ(__glewUseProgram, wrappedUseProgram);
}

// Texts

TEST(DriverAdapterTexts, LeaveNoMessageWhereTheDriverHasThemInItsCache)
{
    const TemporaryFolder folder;
    setenv("MESA_SHADER_CACHE_DISABLE", "false", 1);
    setenv("MESA_SHADER_CACHE_DIR", folder.path().c_str(), 1);
    for (int run = 0; run < 2; ++run) {
        const HeadlessContext context;
        const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
        EXPECT_TRUE(compiles(shader, kClassic + "void main() { float one = 1; gl_FragColor = vec4(one); }\n"));
        EXPECT_EQ(shaderLog(shader), "") << "run " << run;
        const GLuint program = glCreateProgram();
        glAttachShader(program, shader);
        EXPECT_TRUE(links(program));
        glUseProgram(program);
        const Row row(1);
        drawQuad();
        EXPECT_EQ(row.reds(), std::vector<float>{1});
        glUseProgram(0);
        glDeleteProgram(program);
        glDeleteShader(shader);
    }
    setenv("MESA_SHADER_CACHE_DISABLE", "true", 1);
}

TEST_F(DriverAdapterTest, TextsThatAreTakenStayAsTheyAre)
{
    DriverAdapter::install();
    const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
    const std::string plain = "void main() { gl_FragData[0] = gl_Color; }\n";
    for (const std::string& text : {plain, kClassic + plain, "#version 130\n" + plain}) {
        EXPECT_TRUE(compiles(shader, text));
        GLchar kept[256] = "";
        glGetShaderSource(shader, sizeof(kept), nullptr, kept);
        EXPECT_EQ(kept, text);
    }
}

TEST_F(DriverAdapterTest, OnlyVertexShadersMayWriteFlatVaryingOut)
{
    const std::string flat = "#extension GL_EXT_gpu_shader4 : enable\nflat varying out vec4 colour;\n";
    EXPECT_TRUE(compiles(glCreateShader(GL_VERTEX_SHADER), flat + "void main() { gl_Position = colour = gl_Vertex; }"));
    EXPECT_FALSE(compiles(glCreateShader(GL_FRAGMENT_SHADER), flat + "void main() { gl_FragColor = colour; }"));
}

TEST_F(DriverAdapterTest, OnlyGeometryShadersBecomeOnesOfALaterVersion)
{
    const std::string uses = kClassic + "#extension GL_EXT_geometry_shader4 : enable\n";
    const std::string converts = "void main() { float one = 1; gl_Position = one * gl_Vertex; }\n";
    const GLuint vertex = glCreateShader(GL_VERTEX_SHADER);
    EXPECT_TRUE(compiles(vertex, uses + converts)) << shaderLog(vertex);
}

TEST_F(DriverAdapterTest, TextsInPiecesAreTranslatedAsOne)
{
    const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
    const GLchar* const pieces[] = {kClassic.c_str(), "uniform int one; void ma",
                                    "in() { gl_FragColor[0] = one; }NOTTHIS"};
    const GLint lengths[] = {-1, -1, 31};
    glShaderSource(shader, 3, pieces, lengths);
    glCompileShader(shader);
    GLint status = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
    EXPECT_TRUE(status) << shaderLog(shader);
}

TEST_F(DriverAdapterTest, MessagesNameTheLinesOfTheText)
{
    const struct
    {
        GLenum type;
        std::string text;
        int line;
    } cases[] = {
        {GL_FRAGMENT_SHADER, "#extension GL_ARB_texture_rectangle : enable\nvoid main()\n{\n    nothing = 1;\n}\n", 4},
        {GL_FRAGMENT_SHADER, kClassic + "void main()\n{\n    int one = 1;\n    float x = one;\n}\nfloat y = z;\n", 7},
        {GL_GEOMETRY_SHADER_EXT, std::string(kGeometryHead) + "void main()\n{\n    nothing = 1;\n}\n", 5},
        {GL_GEOMETRY_SHADER_EXT, "#extension GL_EXT_geometry_shader4 : enable\n\n\nvoid main() { nothing = 1; }\n", 4},
    };
    for (const auto& each : cases) {
        const GLuint shader = glCreateShader(each.type);
        EXPECT_FALSE(compiles(shader, each.text));
        EXPECT_TRUE(std::regex_search(shaderLog(shader), std::regex("\\b0[:(]" + std::to_string(each.line) + "[()]")))
            << shaderLog(shader);
    }
}

TEST_F(DriverAdapterTest, ClassicTextsMayBeLarge)
{
    const std::string code = "void main() { int one = 1; float x = one; gl_FragColor = vec4(x); }\n";
    std::string manyLines;
    for (int i = 0; i < 20000; ++i)
        manyLines += "// a line that says nothing\n";
    for (const std::string& filling :
         {"/*" + std::string(1000000, 'c') + "*/", std::string(1000000, ' '), std::string(20000, '\n'), manyLines}) {
        const Row row(1);
        glUseProgram(build({{GL_VERTEX_SHADER, kPassVertex}, {GL_FRAGMENT_SHADER, kClassic + filling + code}}));
        drawQuad();
        EXPECT_EQ(row.reds(), std::vector<float>{1});
        glUseProgram(0);
    }
}

/// What the process has allocated.
std::size_t allocated()
{
#ifdef __SANITIZE_ADDRESS__
    return __sanitizer_get_current_allocated_bytes();
#else
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
#endif
}

TEST_F(DriverAdapterTest, NothingIsKeptOfWhatIsDeleted)
{
    const std::string filling = "//" + std::string(10000, 'c') + '\n';
    const std::string texts[] = {
        kClassic + filling + "uniform mat2 m; void main() { gl_FragColor = vec4(m[0], m[1]); }\n",
        kClassic + filling + "void main() { int one = 1; float x = one; gl_FragColor = vec4(x); }\n",
        filling + "void main() { gl_FragColor = vec4(1.0); }\n",
    };
    const auto makeAndDelete = [&texts](int count) {
        for (int i = 0; i < count; ++i) {
            const GLuint program = build({{GL_FRAGMENT_SHADER, texts[i % 3]}});
            glUseProgram(program);
            glDeleteProgram(program); // which goes when it is put away
            glUseProgram(0);
        }
    };
    makeAndDelete(300);
    const std::size_t before = allocated();
    makeAndDelete(5000);
    EXPECT_LT(allocated(), before + 300000)
        << "with the texts it would be 50 million, with records of programs half a million";
}

TEST_F(DriverAdapterTest, ShadersKeepTheirTextsOrderAndMessagesThroughALink)
{
    const GLuint program = glCreateProgram();
    std::vector<GLuint> shaders;
    const std::vector<std::pair<GLenum, std::string>> stages = {
        {GL_FRAGMENT_SHADER, kClassic + "vec4 grey() { return vec4(0.5); }\n"},
        {GL_VERTEX_SHADER, kPassVertex},
        {GL_FRAGMENT_SHADER,
         kClassic + "vec4 grey(); void main() { if (gl_FragCoord.x > 1.0) gl_FragColor = grey(); }\n"}};
    for (const auto& [type, text] : stages) {
        shaders.push_back(glCreateShader(type));
        EXPECT_TRUE(compiles(shaders.back(), text)) << shaderLog(shaders.back());
        glAttachShader(program, shaders.back());
    }
    const auto texts = [&shaders] {
        std::vector<std::string> result;
        for (const GLuint shader : shaders) {
            GLchar text[512] = "";
            glGetShaderSource(shader, sizeof(text), nullptr, text);
            result.push_back(text + shaderLog(shader));
        }
        return result;
    };
    const auto attached = [program] {
        std::vector<GLuint> result(8);
        GLsizei count = 0;
        glGetAttachedShaders(program, 8, &count, result.data());
        result.resize(static_cast<std::size_t>(count));
        return result;
    };
    const auto textsBefore = texts();
    const auto attachedBefore = attached();
    const auto objectsBefore = objects();
    ASSERT_TRUE(links(program));
    EXPECT_EQ(texts(), textsBefore);
    EXPECT_EQ(attached(), attachedBefore);
    EXPECT_EQ(objects(), objectsBefore);
    const Row row(2);
    glUseProgram(program);
    drawQuad();
    EXPECT_EQ(row.reds(), (std::vector<float>{0, 0.5f}));
}

TEST_F(DriverAdapterTest, ATextThatCannotBeRewrittenIsTakenAsItIs)
{
    for (const std::string text :
         {"#define main begin\nvoid main() { gl_FragColor = vec4(0.5); }\n#undef main\nvoid main() { begin(); }\n",
          "void velmorMain() { gl_FragColor = vec4(0.5); } void main() { velmorMain(); }\n"}) {
        const Row row(1);
        glUseProgram(build({{GL_FRAGMENT_SHADER, kClassic + text}}));
        drawQuad();
        EXPECT_EQ(row.reds(), std::vector<float>{0.5f});
        glUseProgram(0);
    }
}

TEST_F(DriverAdapterTest, OneClassicTextMakesAllTheTextsOfItsProgramClassic)
{
    const std::string fragment = "void main() { if (gl_FragCoord.x > 1.0) gl_FragColor = vec4(1.0); }\n";
    const Row row(2);
    glUseProgram(build({{GL_VERTEX_SHADER, kClassic + kPassVertex}, {GL_FRAGMENT_SHADER, fragment}}));
    drawQuad();
    EXPECT_EQ(row.reds(), (std::vector<float>{0, 1}));
}

TEST_F(DriverAdapterTest, AnUnwrittenColourIsZero)
{
    const Row row(4);
    glUseProgram(build(
        {{GL_FRAGMENT_SHADER, kClassic + "void main() { if (gl_FragCoord.x > 2.0) gl_FragColor = vec4(1.0); }\n"}}));
    drawQuad();
    EXPECT_EQ(row.reds(), (std::vector<float>{0, 0, 1, 1}));
}

TEST(DriverAdapterAccepted, LinesKeepTheirNumbersInTheProgram)
{
    const HeadlessContext context;
    glClampColorARB(GL_CLAMP_FRAGMENT_COLOR_ARB, GL_FALSE);
    const Row row(1);
    glUseProgram(build({{GL_FRAGMENT_SHADER, kClassic + "\nvoid main() { gl_FragColor = vec4(__LINE__); }\n"}}));
    drawQuad();
    EXPECT_EQ(row.reds(), std::vector<float>{3});
    glUseProgram(0);
}

TEST_F(DriverAdapterTest, AStageWhoseTextWasDroppedIsLinkedAsItWasCompiled)
{
    const GLuint program = glCreateProgram();
    for (const auto& [type, text] :
         {std::pair<GLenum, std::string>(GL_VERTEX_SHADER, "void main() { gl_Position = gl_Vertex;"
                                                           " gl_FrontColor = vec4(0.25); }\n"),
          {GL_FRAGMENT_SHADER, kPassColour}}) {
        const GLuint shader = glCreateShader(type);
        ASSERT_TRUE(compiles(shader, text));
        glAttachShader(program, shader);
        const GLchar* const nothing = "";
        if (type == GL_VERTEX_SHADER)
            glShaderSource(shader, 1, &nothing, nullptr);
    }
    ASSERT_TRUE(links(program));
    const Row row(1);
    glUseProgram(program);
    drawQuad();
    EXPECT_EQ(row.reds(), std::vector<float>{0.25f});
}

TEST_F(DriverAdapterTest, AProgramThatIsOfTheDialectNoMoreIsLeftAlone)
{
    const GLuint program = glCreateProgram();
    const GLuint vertex = glCreateShader(GL_VERTEX_SHADER);
    const GLuint fragment = glCreateShader(GL_FRAGMENT_SHADER);
    glAttachShader(program, vertex);
    glAttachShader(program, fragment);
    ASSERT_TRUE(compiles(vertex, kPointVertex));
    ASSERT_TRUE(compiles(fragment, kClassic + "uniform mat2 v; void main() { gl_FragColor = vec4(v[0], v[1]); }\n"));
    ASSERT_TRUE(links(program));
    ASSERT_TRUE(compiles(vertex, std::string("#version 120\n") + kPassVertex));
    ASSERT_TRUE(compiles(fragment, "#version 120\nuniform vec4 v; void main() { gl_FragColor = v; }\n"));
    ASSERT_TRUE(links(program));
    const Row row(1);
    glUseProgram(program);
    glUniform4f(glGetUniformLocation(program, "v"), 1, 2, 3, 4);
    const Row other(1);
    drawQuad();
    expectNoGlError("the uniform");
    EXPECT_EQ(other.texels(), (std::vector<Texel>{{1, 2, 3, 4}}));
}

// Places

constexpr int kPlaces = 72; ///< no power of two, so that places are rounded

float leftEdge(int texel)
{
    return -1.0f + 2.0f * static_cast<float>(texel) / static_cast<float>(kPlaces);
}

std::vector<float> numbersTo(int count)
{
    std::vector<float> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0.0f);
    return numbers;
}

/// A point on the left edge of each pixel, with its number for a colour.
void drawNumberedCorners()
{
    glBegin(GL_POINTS);
    for (int i = 0; i < kPlaces; ++i) {
        glColor4f(static_cast<float>(i), 0.0f, 0.0f, 0.0f);
        glVertex2f(leftEdge(i), -1.0f);
    }
    glEnd();
}

TEST_F(DriverAdapterTest, APointOnACornerFillsThePixelBeyond)
{
    const Row row(kPlaces);
    glUseProgram(build({{GL_VERTEX_SHADER, kPointVertex}, {GL_FRAGMENT_SHADER, kPassColour}}));
    drawNumberedCorners();
    EXPECT_EQ(row.reds(), numbersTo(kPlaces));
}

TEST_F(DriverAdapterTest, APointOnACornerFillsThePixelBeyondBeforeVersion3Too)
{
    const Row row(kPlaces);
    const LackingDriver old(__GLEW_VERSION_3_0);
    glUseProgram(build({{GL_VERTEX_SHADER, kPointVertex}, {GL_FRAGMENT_SHADER, kPassColour}}));
    drawNumberedCorners();
    EXPECT_EQ(row.reds(), numbersTo(kPlaces));
}

TEST_F(DriverAdapterTest, AnAreaFillsThePixelsBetweenItsEdges)
{
    const Row row(kPlaces);
    glUseProgram(build({{GL_VERTEX_SHADER, kPassVertex}, {GL_FRAGMENT_SHADER, kPassColour}}));
    glColor4f(1.0f, 0.0f, 0.0f, 0.0f);
    glRectf(leftEdge(5), -1.0f, leftEdge(50), 1.0f);
    std::vector<float> expected(kPlaces, -1.0f);
    std::fill(expected.begin() + 5, expected.begin() + 50, 1.0f);
    EXPECT_EQ(row.reds(), expected);
}

TEST_F(DriverAdapterTest, AGeometryStageGetsVerticesWhereTheyAre)
{
    const GLuint program = buildWithGeometry(GL_POINTS, R"(void main()
{
    gl_Position = vec4(-1.0, -1.0, 0.0, 1.0);
    gl_FrontColor = gl_PositionIn[0];
    EmitVertex();
}
)");
    const Row row(2);
    glUseProgram(program);
    glBegin(GL_POINTS);
    glVertex2f(0.375f, -0.25f);
    glEnd();
    EXPECT_EQ(row.texels()[0], (Texel{0.375f, -0.25f, 0.0f, 1.0f}));
    EXPECT_EQ(row.reds()[1], -1.0f);
}

TEST_F(DriverAdapterTest, PointsOnCornersFollowTheFramebuffer)
{
    const Row row(kPlaces);
    const Row small(1); // is bound when the program comes into use
    glUseProgram(build({{GL_VERTEX_SHADER, kPointVertex}, {GL_FRAGMENT_SHADER, kPassColour}}));
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, row.framebuffer());
    glViewport(0, 0, kPlaces, 1);
    drawNumberedCorners();
    EXPECT_EQ(row.reds(), numbersTo(kPlaces));
    glBindFramebuffer(GL_FRAMEBUFFER, small.framebuffer());
    glBindFramebuffer(GL_FRAMEBUFFER, row.framebuffer());
    glClear(GL_COLOR_BUFFER_BIT);
    drawNumberedCorners();
    EXPECT_EQ(row.reds(), numbersTo(kPlaces));
    glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_RECTANGLE_ARB,
                              small.texture().getTexId(), 0);
    glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_RECTANGLE_ARB,
                              row.texture().getTexId(), 0);
    glClear(GL_COLOR_BUFFER_BIT);
    drawNumberedCorners();
    EXPECT_EQ(row.reds(), numbersTo(kPlaces));
}

TEST_F(DriverAdapterTest, PointsOnCornersAreRightAfterALinkOfTheProgramInUse)
{
    const GLuint program = build({{GL_VERTEX_SHADER, kPointVertex}, {GL_FRAGMENT_SHADER, kPassColour}});
    const Row row(kPlaces);
    glUseProgram(program);
    ASSERT_TRUE(links(program));
    drawNumberedCorners();
    EXPECT_EQ(row.reds(), numbersTo(kPlaces));
}

TEST_F(DriverAdapterTest, SmoothColoursOfAreasStay)
{
    const Row row(4);
    glUseProgram(build({{GL_VERTEX_SHADER, kPassVertex}, {GL_FRAGMENT_SHADER, kPassColour}}));
    glBegin(GL_QUADS);
    for (const auto& [x, y] : {std::pair{-1.0f, -1.0f}, {1.0f, -1.0f}, {1.0f, 1.0f}, {-1.0f, 1.0f}}) {
        glColor4f(4.0f * (x + 1.0f), 0.0f, 0.0f, 0.0f);
        glVertex2f(x, y);
    }
    glEnd();
    EXPECT_EQ(row.reds(), (std::vector<float>{1, 3, 5, 7}));
}

TEST_F(DriverAdapterTest, CapturedPositionsAreNotMoved)
{
    const GLuint program = attachStages({{GL_VERTEX_SHADER, kPointVertex}, {GL_FRAGMENT_SHADER, kPassColour}});
    const GLchar* const position = "gl_Position";
    glTransformFeedbackVaryings(program, 1, &position, GL_INTERLEAVED_ATTRIBS);
    ASSERT_TRUE(links(program));
    GLuint buffer = 0;
    glGenBuffers(1, &buffer);
    glBindBufferBase(GL_TRANSFORM_FEEDBACK_BUFFER, 0, buffer);
    glBufferData(GL_TRANSFORM_FEEDBACK_BUFFER, sizeof(Texel), nullptr, GL_STATIC_READ);
    const Row row(4);
    glUseProgram(program);
    glBeginTransformFeedback(GL_POINTS);
    glBegin(GL_POINTS);
    glVertex2f(0.25f, -0.5f);
    glEnd();
    glEndTransformFeedback();
    Texel captured = {};
    glGetBufferSubData(GL_TRANSFORM_FEEDBACK_BUFFER, 0, sizeof(captured), captured.data());
    EXPECT_EQ(captured, (Texel{0.25f, -0.5f, 0.0f, 1.0f}));
    glDeleteBuffers(1, &buffer);
}

/// What a vertex shader of the classic dialect reads of a row of numbers at a place.
float readByVertex(const std::string& declarations, const std::string& expression, GLint filter, float place)
{
    const std::vector<float> numbers = numbersTo(kPlaces);
    RectTexture source(kPlaces, 1, RectTexture::R32F);
    source.upload(numbers.data());
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_RECTANGLE_ARB, source.getTexId());
    glTexParameteri(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_MAG_FILTER, filter);
    const Row row(1);
    const GLuint program =
        build({{GL_VERTEX_SHADER, kClassic + "uniform sampler2DRect numbers;\n" + declarations +
                                      "void main() { gl_Position = gl_Vertex; gl_FrontColor = " + expression + "; }\n"},
               {GL_FRAGMENT_SHADER, kPassColour}});
    glUseProgram(program);
    setInt(program, "numbers", 0);
    glTexCoord2f(place, 0.5f);
    drawQuad();
    glUseProgram(0);
    return row.reds()[0];
}

TEST_F(DriverAdapterTest, PlacesBetweenCornersOfTexelsAreReadAsTheyAre)
{
    const std::string read = "texture2DRect(numbers, gl_MultiTexCoord0.st)";
    EXPECT_EQ(readByVertex("", read, GL_LINEAR, 3.0f + 0.75f), 3.25f); // a quarter of the way from 3 to 4
    EXPECT_EQ(readByVertex("", read, GL_NEAREST, 3.0f + 0.9375f), 3.0f);
}

TEST_F(DriverAdapterTest, AMacroNamedAsABuiltInIsTheApplications)
{
    EXPECT_EQ(readByVertex("#define texture2DRect(s, p) vec4(p, 0.0, 1.0)\n", "texture2DRect(numbers, vec2(0.25, 0.5))",
                           GL_NEAREST, 0.0f),
              0.25f);
}

TEST_F(DriverAdapterTest, ACornerOfATexelIsReadAsTheTexelBeyond)
{
    std::vector<float> numbers(kPlaces);
    std::iota(numbers.begin(), numbers.end(), 0.0f);
    RectTexture source(kPlaces, 1, RectTexture::R32F);
    source.upload(numbers.data());
    const Row row(kPlaces);
    const GLuint program = build({{GL_VERTEX_SHADER, R"(#extension GL_ARB_texture_rectangle : enable
uniform sampler2DRect numbers;
void main()
{
    gl_Position = gl_Vertex;
    gl_FrontColor = texture2DRect(numbers, gl_MultiTexCoord0.st);
}
)"},
                                  {GL_FRAGMENT_SHADER, kPassColour}});
    glUseProgram(program);
    setInt(program, "numbers", 0);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_RECTANGLE_ARB, source.getTexId());
    glBegin(GL_POINTS);
    for (int i = 0; i < kPlaces; ++i) {
        glTexCoord2i(i, 0);
        glVertex2f((leftEdge(i) + leftEdge(i + 1)) / 2, 0.0f);
    }
    glEnd();
    EXPECT_EQ(row.reds(), numbers);
}

// Geometry

TEST_F(DriverAdapterTest, ParametersCountAtTheLinkAfterThem)
{
    const GLuint program = attachWithGeometry(kNumberedPoints);
    for (const int vertices : {2, 4, 3}) {
        setGeometry(program, GL_POINTS, GL_POINTS, vertices);
        ASSERT_TRUE(links(program));
        const Row row(4);
        drawNumberedPoints(program, 4);
        std::vector<float> expected = {0, 1, 2, 3};
        std::fill(expected.begin() + vertices, expected.end(), -1.0f);
        EXPECT_EQ(row.reds(), expected) << vertices;
    }
}

TEST_F(DriverAdapterTest, NoVertexIsLostUpToTheLimit)
{
    const int vertices = integer(GL_MAX_GEOMETRY_OUTPUT_VERTICES_EXT);
    const GLuint program = attachWithGeometry(kNumberedPoints);
    setGeometry(program, GL_POINTS, GL_POINTS, vertices);
    ASSERT_TRUE(links(program));
    const Row row(static_cast<unsigned>(vertices));
    drawNumberedPoints(program, vertices);
    std::vector<float> expected(static_cast<std::size_t>(vertices));
    std::iota(expected.begin(), expected.end(), 0.0f);
    EXPECT_EQ(row.reds(), expected);
}

/// A point at a primitive's last vertex, of the colour of its first one and as many more as it has vertices.
const char* const kLastVertex = R"(void main()
{
    gl_Position = gl_PositionIn[gl_VerticesIn - 1];
    gl_FrontColor = gl_FrontColorIn[0] + vec4(float(gl_VerticesIn));
    EmitVertex();
}
)";

TEST_F(DriverAdapterTest, LinesComeInPairs)
{
    const GLuint program = buildWithGeometry(GL_LINES, kLastVertex);
    const Row row(3);
    glUseProgram(program);
    glBegin(GL_LINES);
    glColor4f(10.0f, 0.0f, 0.0f, 0.0f);
    glVertex2f(-0.7f, 0.0f);
    glColor4f(20.0f, 0.0f, 0.0f, 0.0f);
    glVertex2f(0.7f, 0.0f);
    glEnd();
    EXPECT_EQ(row.reds(), (std::vector<float>{-1, -1, 12}));
}

TEST_F(DriverAdapterTest, PrimitivesOfEveryKindComeWithAllTheirVertices)
{
    const struct
    {
        GLenum kind;
        int vertices;
    } cases[] = {
        {GL_POINTS, 1}, {GL_LINES, 2}, {GL_LINES_ADJACENCY_EXT, 4}, {GL_TRIANGLES, 3}, {GL_TRIANGLES_ADJACENCY_EXT, 6}};
    for (const auto& each : cases) {
        const GLuint program = buildWithGeometry(static_cast<GLint>(each.kind), kLastVertex);
        const Row row(3);
        glUseProgram(program);
        glBegin(each.kind);
        for (int i = 1; i <= each.vertices; ++i) {
            glColor4f(i == 1 ? 10.0f : 20.0f, 0.0f, 0.0f, 0.0f);
            glVertex2f(i == each.vertices ? 0.7f : -0.7f, i % 2 == 0 ? 0.0f : 0.1f);
        }
        glEnd();
        EXPECT_EQ(row.reds(), (std::vector<float>{-1, -1, 10.0f + static_cast<float>(each.vertices)})) << each.kind;
    }
}

TEST_F(DriverAdapterTest, StripsAreDrawnOfAPoint)
{
    for (const GLint strip : {GL_LINE_STRIP, GL_TRIANGLE_STRIP}) {
        const GLuint program = attachWithGeometry(kGeometryHead + std::string(R"(void corner(float x, float y)
{
    gl_Position = vec4(x, y, 0.0, 1.0);
    gl_FrontColor = vec4(5.0);
    EmitVertex();
}

void main()
{
    corner(-2.0, -5.0);
    corner(0.6, -5.0);
    corner(-0.9, 5.0);
}
)"));
        setGeometry(program, GL_POINTS, strip, 3);
        ASSERT_TRUE(links(program));
        const Row row(3);
        glUseProgram(program);
        glBegin(GL_POINTS);
        glVertex2f(0.0f, 0.0f);
        glEnd();
        const std::vector<float> line = {-1, 5, -1}, triangle = {5, -1, -1}; // halfway up the triangle
        EXPECT_EQ(row.reds(), strip == GL_LINE_STRIP ? line : triangle);
    }
}

TEST_F(DriverAdapterTest, WithoutANumberOfVerticesNothingLinks)
{
    const GLuint program = attachWithGeometry(kNumberedPoints);
    setGeometry(program, GL_POINTS, GL_POINTS, 0);
    EXPECT_FALSE(links(program));
}

TEST_F(DriverAdapterTest, WrongParametersAreErrorsAndChangeNothing)
{
    const GLuint program = attachWithGeometry(kNumberedPoints);
    setGeometry(program, GL_POINTS, GL_POINTS, 4);
    const struct
    {
        GLuint program;
        GLenum name;
        GLint value;
        GLenum error;
    } cases[] = {
        {program, GL_GEOMETRY_INPUT_TYPE_EXT, GL_QUADS, GL_INVALID_VALUE},
        {program, GL_GEOMETRY_OUTPUT_TYPE_EXT, GL_LINES, GL_INVALID_VALUE},
        {program, GL_GEOMETRY_VERTICES_OUT_EXT, -1, GL_INVALID_VALUE},
        {program, GL_GEOMETRY_VERTICES_OUT_EXT, integer(GL_MAX_GEOMETRY_OUTPUT_VERTICES_EXT) + 1, GL_INVALID_VALUE},
        {999, GL_GEOMETRY_VERTICES_OUT_EXT, 1, GL_INVALID_VALUE},
        {program, GL_TEXTURE_2D, 1, GL_INVALID_ENUM},
    };
    for (const auto& each : cases) {
        glProgramParameteriEXT(each.program, each.name, each.value);
        EXPECT_EQ(glGetError(), each.error) << each.name << ' ' << each.value;
    }
    ASSERT_TRUE(links(program));
    const Row row(4);
    drawNumberedPoints(program, 4);
    EXPECT_EQ(row.reds(), (std::vector<float>{0, 1, 2, 3}));
}

TEST_F(DriverAdapterTest, AnEmptyGeometryStageIsLeftOutOfEveryLink)
{
    const GLuint program = attachWithGeometry(" // nothing\n");
    const GLuint geometry = glCreateShader(GL_GEOMETRY_SHADER_EXT);
    EXPECT_TRUE(compiles(geometry, ""));
    glAttachShader(program, geometry);
    for (int link = 0; link < 2; ++link) {
        ASSERT_TRUE(links(program));
        const Row row(2);
        glUseProgram(program);
        glColor4f(0.5f, 0.0f, 0.0f, 0.0f);
        drawQuad();
        EXPECT_EQ(row.reds(), (std::vector<float>{0.5f, 0.5f}));
        GLuint attached[8] = {};
        GLsizei count = 0;
        glGetAttachedShaders(program, 8, &count, attached);
        EXPECT_EQ(std::count(attached, attached + count, geometry), 1);
    }
}

TEST_F(DriverAdapterTest, OtherStagesThatCannotBeRewrittenAreLinkedAsTheyAre)
{
    const GLuint program = attachStages({{GL_VERTEX_SHADER, kPassVertex},
                                         {GL_GEOMETRY_SHADER_EXT, kNumberedPoints},
                                         {GL_FRAGMENT_SHADER, kClassic + "void main(); vec4 one() {"
                                                                         " if (false) gl_FragColor = vec4(0.0);"
                                                                         " return vec4(1.0); }\n"},
                                         {GL_FRAGMENT_SHADER, kClassic + "vec4 one();"
                                                                         " void main() { gl_FragColor = one(); }\n"}});
    setGeometry(program, GL_POINTS, GL_POINTS, 1);
    ASSERT_TRUE(links(program));
    const Row row(1);
    drawNumberedPoints(program, 1);
    EXPECT_EQ(row.reds(), std::vector<float>{1});
}

TEST_F(DriverAdapterTest, AWrongParameterIsAnErrorAlsoWhileAListIsCompiled)
{
    const GLuint list = glGenLists(1);
    glNewList(list, GL_COMPILE);
    glProgramParameteriEXT(999, GL_GEOMETRY_VERTICES_OUT_EXT, 1);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_VALUE));
    glProgramParameteriEXT(999, GL_TEXTURE_2D, 1);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_ENUM));
    glEndList();
    glCallList(list);
    expectNoGlError("the list");
    glDeleteLists(list, 1);
}

// Uniforms

TEST_F(DriverAdapterTest, FourNumbersAreAMatrixByColumns)
{
    const GLuint program =
        build({{GL_FRAGMENT_SHADER, kClassic + R"(uniform struct { mat2 matrices[2]; vec4 vector; } records[2];
uniform mat2 single;
void main()
{
    mat2 m = records[1].matrices[1];
    gl_FragColor = vec4(m[0][0], m[0][1], m[1][0], m[1][1]) + records[1].vector;
    if (gl_FragCoord.x > 1.0)
        gl_FragColor = vec4(single[0][0], single[0][1], single[1][0], single[1][1]) + records[0].matrices[1][1][1];
}
)"}});
    for (int link = 0; link < 2; ++link) {
        const Row row(2);
        glUseProgram(program);
        glUniform4f(glGetUniformLocation(program, "records[1].matrices[1]"), 1, 2, 3, 4);
        glUniform4f(glGetUniformLocation(program, "records[1].vector"), 10, 20, 30, 40);
        glUniform4f(glGetUniformLocation(program, "single"), 5, 6, 7, 8);
        glUniform4f(-1, 9, 9, 9, 9);
        expectNoGlError("the uniforms");
        drawQuad();
        EXPECT_EQ(row.texels(), (std::vector<Texel>{{11, 22, 33, 44}, {5, 6, 7, 8}}));
        ASSERT_TRUE(links(program)); // which sets all uniforms back to 0
    }
    glUseProgram(0);
    glUniform4f(0, 1, 2, 3, 4);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_OPERATION));
}

PFNGLGETUNIFORMLOCATIONPROC locationOfDriver = nullptr;

/// Mesa takes m[0][1] for m[1] where it is asked for that; the language has no such name.
GLint GLAPIENTRY locationOfNames(GLuint program, const GLchar* name)
{
    return std::string(name).find("[0][") == std::string::npos ? locationOfDriver(program, name) : -1;
}

TEST_F(DriverAdapterTest, EachMatrixOfAnArrayTakesFourNumbers)
{
    locationOfDriver = __glewGetUniformLocation;
    const InPlaceOf strict(__glewGetUniformLocation, PFNGLGETUNIFORMLOCATIONPROC(locationOfNames));
    const GLuint program = build({{GL_FRAGMENT_SHADER, kClassic + R"(uniform mat2 m[2];
void main()
{
    gl_FragColor = gl_FragCoord.x > 1.0 ? vec4(m[1][0], m[1][1]) : vec4(m[0][0], m[0][1]);
}
)"}});
    const Row row(2);
    glUseProgram(program);
    glUniform4f(glGetUniformLocation(program, "m"), 1, 2, 3, 4);
    glUniform4f(glGetUniformLocation(program, "m[1]"), 5, 6, 7, 8);
    expectNoGlError("the uniforms");
    drawQuad();
    EXPECT_EQ(row.texels(), (std::vector<Texel>{{1, 2, 3, 4}, {5, 6, 7, 8}}));
}

TEST_F(DriverAdapterTest, AProgramThatTakesAnotherLayoutIsLookedAtAnew)
{
    const std::string matrix = kClassic + "uniform mat2 v; void main() { gl_FragColor = vec4(v[0], v[1]); }\n";
    const std::string vector = kClassic + "uniform vec4 v; void main() { gl_FragColor = v; }\n";
    const GLuint program = glCreateProgram();
    const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
    glAttachShader(program, shader);
    for (const std::string& text : {matrix, vector, matrix}) {
        ASSERT_TRUE(compiles(shader, text));
        ASSERT_TRUE(links(program));
        const Row row(1);
        glUseProgram(program);
        glUniform4f(glGetUniformLocation(program, "v"), 1, 2, 3, 4);
        expectNoGlError("the uniform");
        drawQuad();
        EXPECT_EQ(row.texels(), (std::vector<Texel>{{1, 2, 3, 4}})) << text;
    }
}

TEST_F(DriverAdapterTest, FourNumbersAreForTheProgramThatIsInUse)
{
    const GLuint matrix =
        build({{GL_FRAGMENT_SHADER, kClassic + "uniform mat2 v; void main() { gl_FragColor = vec4(v[0], v[1]); }\n"}});
    const GLuint vector =
        build({{GL_FRAGMENT_SHADER, kClassic + "uniform vec4 v; void main() { gl_FragColor = v; }\n"}});
    ASSERT_EQ(glGetUniformLocation(matrix, "v"), glGetUniformLocation(vector, "v"));
    const GLint location = glGetUniformLocation(vector, "v");
    glUseProgram(matrix);
    glUniform4f(location, 1, 2, 3, 4);
    expectNoGlError("a matrix");
    glUseProgram(vector);
    const GLuint list = glGenLists(1);
    glNewList(list, GL_COMPILE);
    glUseProgram(matrix); // later
    glEndList();
    glUniform4f(location, 1, 2, 3, 4);
    expectNoGlError("a program that a display list is to use");
    glUseProgram(999);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_VALUE));
    glUniform4f(location, 5, 6, 7, 8);
    expectNoGlError("a program that there is not");
    Texel value = {};
    glGetUniformfv(vector, location, value.data());
    EXPECT_EQ(value, (Texel{5, 6, 7, 8}));

    glUseProgram(matrix);
    glNewList(list, GL_COMPILE);
    glUniform4f(location, 9, 10, 11, 12); // for the program that is in use when the list is called
    glEndList();
    glUseProgram(vector);
    glCallList(list);
    expectNoGlError("the list");
    glGetUniformfv(vector, location, value.data());
    EXPECT_EQ(value, (Texel{9, 10, 11, 12}));
    glDeleteLists(list, 1);
}

// Framebuffers

class DriverAdapterClipping : public DriverAdapterTest
{
protected:
    void SetUp() override
    {
        DriverAdapterTest::SetUp();
        program = build({{GL_FRAGMENT_SHADER, kClassic + "void main() { gl_FragColor = vec4(1.0); }\n"}});
        small.emplace(2, 1, RectTexture::RGBA32F);
        row.emplace(5);
        attachSource(small->getTexId());
        expectNoGlError("the set-up");
    }
    void TearDown() override
    {
        glUseProgram(0);
        row.reset();
        small.reset();
        DriverAdapterTest::TearDown();
    }

    static void attachSource(GLuint texture)
    {
        glActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, texture); // as a filter binds what it reads
        glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT2_EXT, GL_TEXTURE_RECTANGLE_ARB, texture, 0);
    }

    static GLuint attachedSource()
    {
        GLint type = 0;
        GLint name = 0;
        glGetFramebufferAttachmentParameterivEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT2_EXT,
                                                 GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE_EXT, &type);
        if (type != GL_NONE)
            glGetFramebufferAttachmentParameterivEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT2_EXT,
                                                     GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME_EXT, &name);
        return static_cast<GLuint>(name);
    }

    void expectWholeRow()
    {
        glUseProgram(program);
        drawQuad();
        EXPECT_EQ(row->reds(), std::vector<float>(5, 1.0f));
    }

    GLuint program = 0;
    std::optional<RectTexture> small;
    std::optional<Row> row;
};

TEST_F(DriverAdapterClipping, ASmallSourceIsBackAfterThePass)
{
    expectWholeRow();
    glUseProgram(0);
    EXPECT_EQ(attachedSource(), small->getTexId());
}

TEST_F(DriverAdapterClipping, TheNextProgramDrawsTheWholeTooAndThenItIsBack)
{
    glUseProgram(build({{GL_FRAGMENT_SHADER, kPassColour}}));
    expectWholeRow();
    glUseProgram(0);
    EXPECT_EQ(attachedSource(), small->getTexId());
}

TEST_F(DriverAdapterClipping, WhatIsAttachedMeanwhileStays)
{
    RectTexture other(5, 1, RectTexture::RGBA32F);
    glUseProgram(program);
    attachSource(other.getTexId());
    glUseProgram(0);
    EXPECT_EQ(attachedSource(), other.getTexId());
    attachSource(0);
}

TEST_F(DriverAdapterClipping, WhatIsTakenAwayMeanwhileStaysAway)
{
    const auto takeAway = [](auto attach) {
        attach(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT2, GL_TEXTURE_RECTANGLE_ARB, 0u, 0);
    };
    for (const bool isOfOpenGl3 : {false, true}) {
        SCOPED_TRACE(isOfOpenGl3 ? "of OpenGL 3" : "of the extension");
        attachSource(small->getTexId());
        glUseProgram(program);
        takeAway(isOfOpenGl3 ? glFramebufferTexture2D : glFramebufferTexture2DEXT);
        glUseProgram(0);
        EXPECT_EQ(attachedSource(), 0u);
    }
}

TEST_F(DriverAdapterClipping, ASourceMayHaveTheFirstName)
{
    HeadlessContext fresh(false);
    DriverAdapter::install(DriverAdapter::Always);
    glBindTexture(GL_TEXTURE_RECTANGLE_ARB, 1);
    glTexImage2D(GL_TEXTURE_RECTANGLE_ARB, 0, GL_RGBA8, 2, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    {
        const Row drawn(5);
        attachSource(1);
        glUseProgram(build({{GL_FRAGMENT_SHADER, kClassic + "void main() { gl_FragColor = vec4(1.0); }\n"}}));
        EXPECT_EQ(attachedSource(), 0u) << "it was not taken off";
        glUseProgram(0);
        EXPECT_EQ(attachedSource(), 1u);
    }
    DriverAdapter::remove();
    context->makeCurrent();
}

TEST_F(DriverAdapterClipping, FunctionsOfOpenGl3CountLikeThoseOfTheExtension)
{
    RectTexture other(5, 1, RectTexture::RGBA32F);
    glUseProgram(program);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT2, GL_TEXTURE_RECTANGLE_ARB, other.getTexId(), 0);
    glUseProgram(0);
    EXPECT_EQ(attachedSource(), other.getTexId());
    attachSource(small->getTexId());
    glUseProgram(program);
    const GLuint framebuffer = row->framebuffer();
    glDeleteFramebuffers(1, &framebuffer);
    GLuint later = 0;
    glGenFramebuffers(1, &later);
    glBindFramebuffer(GL_FRAMEBUFFER, later); // which may have the same name
    glUseProgram(0);
    EXPECT_EQ(attachedSource(), 0u);
    expectNoGlError("the later framebuffer");
    glDeleteFramebuffers(1, &later);
}

TEST_F(DriverAdapterClipping, ADriverWithoutWhatIsNewerDrawsTheWholeToo)
{
    {
        const LackingDriver old(__GLEW_VERSION_3_0, __GLEW_VERSION_3_3, __GLEW_VERSION_4_3, __GLEW_VERSION_4_5,
                                __GLEW_VERSION_4_6, __GLEW_KHR_debug, __GLEW_ARB_ES3_compatibility,
                                __GLEW_ARB_pipeline_statistics_query, __GLEW_ARB_direct_state_access,
                                __GLEW_ARB_transform_feedback2, __glewGetTextureLevelParameteriv);
        DriverAdapter::install(DriverAdapter::Always);
        expectWholeRow();
        glUseProgram(0);
        EXPECT_EQ(attachedSource(), small->getTexId());
        glUseProgram(program);
        small.reset(); // and is not attached again
        glUseProgram(0);
        expectNoGlError("an old driver");
    }
    DriverAdapter::install(DriverAdapter::Always);
}

TEST_F(DriverAdapterClipping, AnotherFramebufferMayBeBoundMeanwhile)
{
    glUseProgram(program);
    const Row other(3);
    glUseProgram(0);
    EXPECT_EQ(integer(GL_FRAMEBUFFER_BINDING_EXT), static_cast<GLint>(other.framebuffer()));
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, row->framebuffer());
    EXPECT_EQ(attachedSource(), small->getTexId());
}

TEST_F(DriverAdapterClipping, WhatIsDeletedMeanwhileIsForgotten)
{
    glUseProgram(program);
    small.reset();
    glUseProgram(0);
    expectNoGlError("the texture");
    small.emplace(2, 1, RectTexture::RGBA32F);
    attachSource(small->getTexId());
    glUseProgram(program);
    row.reset();
    glUseProgram(0);
    expectNoGlError("the framebuffer");
    row.emplace(5); // which may have the same name
    expectWholeRow();
}

TEST_F(DriverAdapterClipping, WhatIsNotReadStaysAttachedAndCanBeDrawnIntoNext)
{
    glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_RECTANGLE_ARB, 0);
    glUseProgram(program);
    EXPECT_EQ(attachedSource(), small->getTexId());
    glDrawBuffer(GL_COLOR_ATTACHMENT2_EXT);
    drawQuad();
    expectNoGlError("the second buffer");
    std::vector<Texel> texels(2);
    small->download(texels.data());
    EXPECT_EQ(texels[0][0], 1.0f);
}

TEST_F(DriverAdapterClipping, ATextureThatWasDeletedWhileItsFramebufferWasNotBoundIsNoError)
{
    const Row other(3);
    small.reset();
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, row->framebuffer());
    glUseProgram(program);
    expectNoGlError("the use");
    glUseProgram(0);
    expectNoGlError("the end of it");
}

TEST_F(DriverAdapterClipping, WhatHasTheNameOfADeletedSourceIsNotAttached)
{
    const GLuint name = small->getTexId();
    for (const GLenum target : std::initializer_list<GLenum>{GL_TEXTURE_2D, GL_TEXTURE_RECTANGLE_ARB}) {
        glUseProgram(program);
        glDeleteTextures(1, &name);
        glBindTexture(target, name); // made anew, of another kind or size
        glTexImage2D(target, 0, GL_RGBA8, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
        glUseProgram(0);
        expectNoGlError("the end of the use");
        EXPECT_EQ(attachedSource(), 0u);
        glDeleteTextures(1, &name);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, name);
        glTexImage2D(GL_TEXTURE_RECTANGLE_ARB, 0, GL_RGBA8, 2, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
        attachSource(name);
    }
}

TEST_F(DriverAdapterClipping, AProgramThatThereIsNotChangesNothing)
{
    glUseProgram(program);
    glUseProgram(999);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_INVALID_VALUE));
    drawQuad();
    EXPECT_EQ(row->reds(), std::vector<float>(5, 1.0f));
    glUseProgram(0);
    EXPECT_EQ(attachedSource(), small->getTexId());
}

TEST_F(DriverAdapterClipping, AttachmentsOfAnotherContextAreBackWhenItIsCurrentAgain)
{
    glUseProgram(program);
    HeadlessContext other(false);
    DriverAdapter::remove();
    context->makeCurrent();
    glUseProgram(0);
    EXPECT_EQ(attachedSource(), small->getTexId());
    DriverAdapter::remove();
}

TEST_F(DriverAdapterClipping, AttachmentsOfAnotherContextAreNotPutOnALaterFramebufferOfTheName)
{
    const GLuint name = row->framebuffer();
    glUseProgram(program);
    HeadlessContext other(false);
    DriverAdapter::remove();
    context->makeCurrent();
    glDeleteFramebuffersEXT(1, &name);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, name);
    glUseProgram(0);
    EXPECT_EQ(attachedSource(), 0u);
    DriverAdapter::remove();
}

TEST_F(DriverAdapterClipping, AttachmentsAreBackWhenTheAdapterGoes)
{
    glUseProgram(program);
    DriverAdapter::remove();
    EXPECT_EQ(attachedSource(), small->getTexId());
}

TEST(DriverAdapterAccepted, AttachmentsThatDoNotClipStayInPlace)
{
    const HeadlessContext context;
    const RectTexture large(5, 2, RectTexture::RGBA32F);
    const Row row(5);
    glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT1_EXT, GL_TEXTURE_RECTANGLE_ARB, large.getTexId(),
                              0);
    glUseProgram(build({{GL_FRAGMENT_SHADER, kPassColour}}));
    GLint name = 0;
    glGetFramebufferAttachmentParameterivEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT1_EXT,
                                             GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME_EXT, &name);
    EXPECT_EQ(static_cast<GLuint>(name), large.getTexId());
    glUseProgram(0);
}

// Contexts

/// Whether a matrix takes four numbers in the current context, where a stricter driver refuses.
bool takesMatrix()
{
    const GLuint program =
        build({{GL_FRAGMENT_SHADER, kClassic + "uniform mat2 m; void main() { gl_FragColor = vec4(m[0], m[1]); }\n"}});
    const Row row(1);
    glUseProgram(program);
    glUniform4f(glGetUniformLocation(program, "m"), 1, 2, 3, 4);
    while (glGetError() != GL_NO_ERROR) {
    }
    drawQuad();
    glUseProgram(0);
    return row.texels() == std::vector<Texel>{{1, 2, 3, 4}};
}

TEST(DriverAdapterContexts, AreAdaptedEachByItself)
{
    HeadlessContext alone(false);
    glClampColorARB(GL_CLAMP_FRAGMENT_COLOR_ARB, GL_FALSE);
    const bool driverTakesIt = takesMatrix();
    HeadlessContext first;
    glClampColorARB(GL_CLAMP_FRAGMENT_COLOR_ARB, GL_FALSE);
    HeadlessContext second;
    glClampColorARB(GL_CLAMP_FRAGMENT_COLOR_ARB, GL_FALSE);
    for (int turn = 0; turn < 3; ++turn) {
        first.makeCurrent();
        EXPECT_TRUE(takesMatrix());
        alone.makeCurrent();
        EXPECT_EQ(takesMatrix(), driverTakesIt);
        second.makeCurrent();
        EXPECT_TRUE(takesMatrix());
    }
    {
        const HeadlessContext later(false); // initialises GLEW anew
        glClampColorARB(GL_CLAMP_FRAGMENT_COLOR_ARB, GL_FALSE);
        EXPECT_EQ(takesMatrix(), driverTakesIt);
    }
    first.makeCurrent();
    EXPECT_TRUE(takesMatrix());
}

TEST(DriverAdapterContexts, ProgramsInUseAreKeptApart)
{
    HeadlessContext first;
    const std::string text = kClassic + "void main() { gl_FragColor = vec4(1.0); }\n";
    glUseProgram(
        build({{GL_FRAGMENT_SHADER, kClassic + "uniform mat2 m; void main() { gl_FragColor = vec4(m[0], m[1]); }\n"}}));
    const GLint location = glGetUniformLocation(static_cast<GLuint>(integer(GL_CURRENT_PROGRAM)), "m");
    HeadlessContext second;
    glUseProgram(build({{GL_FRAGMENT_SHADER, text}}));
    first.makeCurrent();
    glUniform4f(location, 1, 2, 3, 4);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

TEST(DriverAdapterContexts, NothingIsKeptOfADestroyedOne)
{
    for (int i = 0; i < 3; ++i) { // whose contexts and objects may have the same names
        const HeadlessContext context;
        glClampColorARB(GL_CLAMP_FRAGMENT_COLOR_ARB, GL_FALSE);
        EXPECT_TRUE(takesMatrix());
        glUseProgram(build({{GL_FRAGMENT_SHADER, kPassColour}}));
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    }
}

} // namespace
} // namespace velmor::tests
