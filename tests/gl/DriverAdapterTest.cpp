#include "glsupport/DriverAdapter.h"

#include "core/cvdata/RectTexture.h"
#include "cvprocess/gpuStdShaders/FlipV.h"
#include "tests/gl/GlTest.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/ThrownText.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <initializer_list>
#include <map>
#include <numeric>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

using velmor::core::cvdata::RectTexture;
using velmor::glsupport::DriverAdapter;
using velmor::glsupport::HeadlessContext;

namespace velmor::tests {
namespace {

using Texel = std::array<float, 4>;
using Stages = std::initializer_list<std::pair<GLenum, std::string>>;

/// What makes a text one of the filters' dialect.
const std::string kClassic = "#extension GL_ARB_texture_rectangle : enable\n";

const char* const kPassVertex = "void main() { gl_Position = gl_Vertex; gl_FrontColor = gl_Color; }\n";
const std::string kPassColour = kClassic + "void main() { gl_FragColor = gl_Color; }\n";
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

TEST(DriverAdapterInstall, LeavesErrorsObjectsAndStateAlone)
{
    const HeadlessContext context(false);
    const Row row(3);
    const GLuint program = build({{GL_FRAGMENT_SHADER, kPassColour}});
    glUseProgram(program);
    GLuint buffer = 0;
    glGenBuffers(1, &buffer);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
    glBufferData(GL_PIXEL_PACK_BUFFER, 4, "abc", GL_STATIC_READ);
    glPixelStorei(GL_PACK_ROW_LENGTH, 7);
    glPixelStorei(GL_PACK_SWAP_BYTES, GL_TRUE);
    glEnable(GL_SCISSOR_TEST);
    glClearColor(0.25f, 0.25f, 0.25f, 0.25f);
    for (const GLenum error : std::initializer_list<GLenum>{GL_INVALID_ENUM, GL_INVALID_VALUE, GL_INVALID_OPERATION}) {
        SCOPED_TRACE(error);
        const auto before = objects();
        if (error == GL_INVALID_ENUM)
            glEnable(GL_NONE + 1);
        else if (error == GL_INVALID_VALUE)
            glPointSize(-1.0f);
        else
            glPopMatrix(), glGetError(), glEnd();
        DriverAdapter::install();
        EXPECT_EQ(glGetError(), error);
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
        EXPECT_EQ(objects(), before);
    }
    EXPECT_EQ(integer(GL_CURRENT_PROGRAM), static_cast<GLint>(program));
    EXPECT_EQ(integer(GL_FRAMEBUFFER_BINDING_EXT), static_cast<GLint>(row.framebuffer()));
    EXPECT_EQ(integer(GL_DRAW_BUFFER), GL_COLOR_ATTACHMENT0_EXT);
    EXPECT_EQ(integer(GL_PIXEL_PACK_BUFFER_BINDING), static_cast<GLint>(buffer));
    EXPECT_EQ(integer(GL_PACK_ROW_LENGTH), 7);
    EXPECT_EQ(integer(GL_PACK_SWAP_BYTES), GL_TRUE);
    EXPECT_EQ(integer(GL_SCISSOR_TEST), GL_TRUE);
    GLfloat clear[4];
    glGetFloatv(GL_COLOR_CLEAR_VALUE, clear);
    EXPECT_EQ(clear[0], 0.25f);
    char kept[4];
    glGetBufferSubData(GL_PIXEL_PACK_BUFFER, 0, 4, kept);
    EXPECT_STREQ(kept, "abc");
    DriverAdapter::remove();
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

TEST_F(DriverAdapterTest, AnUnwrittenColourIsZero)
{
    const Row row(4);
    glUseProgram(build(
        {{GL_FRAGMENT_SHADER, kClassic + "void main() { if (gl_FragCoord.x > 2.0) gl_FragColor = vec4(1.0); }\n"}}));
    drawQuad();
    EXPECT_EQ(row.reds(), (std::vector<float>{0, 0, 1, 1}));
}

// Places

constexpr int kPlaces = 72; ///< no power of two, so that places are rounded

float leftEdge(int texel)
{
    return -1.0f + 2.0f * static_cast<float>(texel) / static_cast<float>(kPlaces);
}

TEST_F(DriverAdapterTest, APointOnACornerFillsThePixelBeyond)
{
    const Row row(kPlaces);
    glUseProgram(build({{GL_VERTEX_SHADER, kPassVertex}, {GL_FRAGMENT_SHADER, kPassColour}}));
    glBegin(GL_POINTS);
    for (int i = 0; i < kPlaces; ++i) {
        glColor4f(static_cast<float>(i), 0.0f, 0.0f, 0.0f);
        glVertex2f(leftEdge(i), -1.0f);
    }
    glEnd();
    std::vector<float> expected(kPlaces);
    std::iota(expected.begin(), expected.end(), 0.0f);
    EXPECT_EQ(row.reds(), expected);
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
    const GLuint program = attachStages({{GL_VERTEX_SHADER, kPassVertex},
                                         {GL_GEOMETRY_SHADER_EXT, std::string(kGeometryHead) + R"(void main()
{
    gl_Position = vec4(-1.0, -1.0, 0.0, 1.0);
    gl_FrontColor = gl_PositionIn[0];
    EmitVertex();
}
)"},
                                         {GL_FRAGMENT_SHADER, kPassColour}});
    setGeometry(program, GL_POINTS, GL_POINTS, 1);
    ASSERT_TRUE(links(program));
    const Row row(2);
    glUseProgram(program);
    glBegin(GL_POINTS);
    glVertex2f(0.375f, -0.25f);
    glEnd();
    EXPECT_EQ(row.texels()[0], (Texel{0.375f, -0.25f, 0.0f, 1.0f}));
    EXPECT_EQ(row.reds()[1], -1.0f);
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
    const GLuint program = attachStages({{GL_VERTEX_SHADER, kPassVertex},
                                         {GL_GEOMETRY_SHADER_EXT, kNumberedPoints},
                                         {GL_FRAGMENT_SHADER, kPassColour}});
    for (const int vertices : {2, 4, 3}) {
        setGeometry(program, GL_POINTS, GL_POINTS, vertices);
        ASSERT_TRUE(links(program));
        const Row row(4);
        glUseProgram(program);
        setInt(program, "count", 4);
        setInt(program, "width", 4);
        drawPoints(1);
        std::vector<float> expected = {0, 1, 2, 3};
        std::fill(expected.begin() + vertices, expected.end(), -1.0f);
        EXPECT_EQ(row.reds(), expected) << vertices;
    }
}

TEST_F(DriverAdapterTest, NoVertexIsLostUpToTheLimit)
{
    const int vertices = integer(GL_MAX_GEOMETRY_OUTPUT_VERTICES_EXT);
    const GLuint program = attachStages({{GL_VERTEX_SHADER, kPassVertex},
                                         {GL_GEOMETRY_SHADER_EXT, kNumberedPoints},
                                         {GL_FRAGMENT_SHADER, kPassColour}});
    setGeometry(program, GL_POINTS, GL_POINTS, vertices);
    ASSERT_TRUE(links(program));
    const Row row(static_cast<unsigned>(vertices));
    glUseProgram(program);
    setInt(program, "count", vertices);
    setInt(program, "width", vertices);
    drawPoints(1);
    std::vector<float> expected(static_cast<std::size_t>(vertices));
    std::iota(expected.begin(), expected.end(), 0.0f);
    EXPECT_EQ(row.reds(), expected);
}

TEST_F(DriverAdapterTest, LinesComeInPairs)
{
    const GLuint program = attachStages({{GL_VERTEX_SHADER, kPassVertex},
                                         {GL_GEOMETRY_SHADER_EXT, std::string(kGeometryHead) + R"(void main()
{
    gl_Position = gl_PositionIn[gl_VerticesIn - 1];
    gl_FrontColor = gl_FrontColorIn[0] + vec4(float(gl_VerticesIn));
    EmitVertex();
}
)"},
                                         {GL_FRAGMENT_SHADER, kPassColour}});
    setGeometry(program, GL_LINES, GL_POINTS, 1);
    ASSERT_TRUE(links(program));
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

TEST_F(DriverAdapterTest, WithoutANumberOfVerticesNothingLinks)
{
    const GLuint program = attachStages({{GL_VERTEX_SHADER, kPassVertex},
                                         {GL_GEOMETRY_SHADER_EXT, kNumberedPoints},
                                         {GL_FRAGMENT_SHADER, kPassColour}});
    setGeometry(program, GL_POINTS, GL_POINTS, 0);
    EXPECT_FALSE(links(program));
}

TEST_F(DriverAdapterTest, WrongParametersAreErrorsAndChangeNothing)
{
    const GLuint program = attachStages({{GL_VERTEX_SHADER, kPassVertex},
                                         {GL_GEOMETRY_SHADER_EXT, kNumberedPoints},
                                         {GL_FRAGMENT_SHADER, kPassColour}});
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
    glUseProgram(program);
    setInt(program, "count", 4);
    setInt(program, "width", 4);
    drawPoints(1);
    EXPECT_EQ(row.reds(), (std::vector<float>{0, 1, 2, 3}));
}

TEST_F(DriverAdapterTest, AnEmptyGeometryStageIsLeftOutOfEveryLink)
{
    const GLuint program = attachStages({{GL_VERTEX_SHADER, kPassVertex},
                                         {GL_GEOMETRY_SHADER_EXT, " // nothing\n"},
                                         {GL_FRAGMENT_SHADER, kPassColour}});
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
