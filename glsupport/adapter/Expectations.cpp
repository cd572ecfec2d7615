#include "glsupport/adapter/Expectations.h"

#include "glsupport/internal/Integer.h"

#include <GL/glew.h>

#include <algorithm>
#include <array>
#include <functional>
#include <initializer_list>
#include <utility>

namespace velmor::glsupport::adapter {
namespace {

constexpr GLenum kSourceAttachment = GL_COLOR_ATTACHMENT0_EXT;
constexpr GLenum kDestinationAttachment = GL_COLOR_ATTACHMENT1_EXT;

using Pixel = std::array<unsigned char, 4>;
constexpr Pixel kWhite = {255, 255, 255, 255};
constexpr Pixel kBlack = {0, 0, 0, 0};

/// What makes a text one of the classic dialect.
const std::string kClassic = "#extension GL_ARB_texture_rectangle : enable\n";

/// The line of a message that names an error, or else the first.
std::string reasonIn(const std::string& text)
{
    const std::size_t error = std::min(text.find("error"), text.size());
    const std::size_t begin = error == text.size() ? 0 : text.rfind('\n', error) + 1;
    const std::string line = text.substr(begin, text.find('\n', begin) - begin);
    return line.empty() ? "no reason given" : line;
}

/// A rectangle texture of bytes.
class Texture
{
public:
    Texture(GLsizei width, GLsizei height, const Pixel* pixels = nullptr)
    {
        glGenTextures(1, &mName);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, mName);
        glTexParameteri(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        glTexImage2D(GL_TEXTURE_RECTANGLE_ARB, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    }
    Texture(const Texture&) = delete;
    Texture& operator=(const Texture&) = delete;
    ~Texture() { glDeleteTextures(1, &mName); }

    GLuint name() const { return mName; }
    void bind() const { glBindTexture(GL_TEXTURE_RECTANGLE_ARB, mName); } // as what is read

private:
    GLuint mName = 0;
};

/// A framebuffer to draw into: its destination of a size, and a source of one pixel where one is asked for.
class Canvas
{
public:
    Canvas(GLsizei width, GLsizei height, bool withSource = false)
        : mWidth(width), mHeight(height), mSource(1, 1), mDestination(width, height)
    {
        glGenFramebuffersEXT(1, &mFramebuffer);
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, mFramebuffer);
        if (withSource) {
            attach(kSourceAttachment, mSource);
            mSource.bind();
        }
        attach(kDestinationAttachment, mDestination);
        glDrawBuffer(kDestinationAttachment);
        glReadBuffer(kDestinationAttachment);
        glViewport(0, 0, width, height);
        glDisable(GL_DEPTH_TEST);
        glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
        for (const GLenum mode : std::initializer_list<GLenum>{GL_PROJECTION, GL_MODELVIEW}) {
            glMatrixMode(mode);
            glLoadIdentity();
        }
        glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
        glClearColor(0.5f, 0.5f, 0.5f, 0.5f); // what no trial draws
        glClear(GL_COLOR_BUFFER_BIT);
    }
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;
    ~Canvas() { glDeleteFramebuffersEXT(1, &mFramebuffer); }

    /// What is wrong with the picture; nothing when it is as expected. The rows are one after the other.
    std::string compare(const std::function<Pixel(GLsizei i)>& expected) const
    {
        std::vector<Pixel> pixels(static_cast<std::size_t>(mWidth * mHeight));
        glReadPixels(0, 0, mWidth, mHeight, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
        GLsizei wrong = 0;
        for (GLsizei i = 0; i < mWidth * mHeight; ++i)
            wrong += pixels[static_cast<std::size_t>(i)] != expected(i) ? 1 : 0;
        if (wrong == 0)
            return "";
        return std::to_string(wrong) + " of " + std::to_string(mWidth * mHeight) + " pixels are wrong";
    }

private:
    void attach(GLenum attachment, const Texture& texture)
    {
        glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, attachment, GL_TEXTURE_RECTANGLE_ARB, texture.name(), 0);
    }

    GLsizei mWidth;
    GLsizei mHeight;
    Texture mSource;
    Texture mDestination;
    GLuint mFramebuffer = 0;
};

/// A program of some stages.
class Program
{
public:
    using Stages = std::initializer_list<std::pair<GLenum, std::string>>;

    /// @param setUp  called with the program before it is linked
    explicit Program(const Stages& stages, const std::function<void(GLuint)>& setUp = {}) : mName(glCreateProgram())
    {
        for (const auto& [type, text] : stages)
            compile(type, text);
        if (!mShortfall.empty())
            return;
        if (setUp)
            setUp(mName);
        glLinkProgram(mName);
        GLint linked = GL_FALSE;
        glGetProgramiv(mName, GL_LINK_STATUS, &linked);
        if (!linked)
            mShortfall = "it does not link: " + reasonIn(log(glGetProgramiv, glGetProgramInfoLog, mName));
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program()
    {
        glUseProgram(0);
        for (const GLuint shader : mShaders)
            glDeleteShader(shader);
        glDeleteProgram(mName);
    }

    /// Why it cannot be used; nothing when it can.
    const std::string& shortfall() const { return mShortfall; }

    GLint location(const char* uniform) const { return glGetUniformLocation(mName, uniform); }

    void use() const { glUseProgram(mName); }

private:
    void compile(GLenum type, const std::string& text)
    {
        const GLuint shader = glCreateShader(type);
        mShaders.push_back(shader);
        const GLchar* const source = text.c_str();
        glShaderSource(shader, 1, &source, nullptr);
        glCompileShader(shader);
        GLint compiled = GL_FALSE;
        glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
        if (!compiled && mShortfall.empty())
            mShortfall = "it does not compile: " + reasonIn(log(glGetShaderiv, glGetShaderInfoLog, shader));
        glAttachShader(mName, shader);
    }

    template<typename GetInteger, typename GetLog>
    static std::string log(GetInteger getInteger, GetLog getLog, GLuint name)
    {
        GLint length = 0;
        getInteger(name, GL_INFO_LOG_LENGTH, &length);
        std::string text(static_cast<std::size_t>(std::max(length, 1)), '\0');
        getLog(name, length, &length, text.data());
        return text.substr(0, static_cast<std::size_t>(length));
    }

    GLuint mName;
    std::vector<GLuint> mShaders;
    std::string mShortfall;
};

/// Draws the whole canvas.
void drawQuad()
{
    glBegin(GL_QUADS);
    glVertex2f(-1.0f, -1.0f);
    glVertex2f(1.0f, -1.0f);
    glVertex2f(1.0f, 1.0f);
    glVertex2f(-1.0f, 1.0f);
    glEnd();
}

Pixel white(GLsizei)
{
    return kWhite;
}

/// Draws with a program that makes everything white.
std::string shortfallOfWhite(const Program& program)
{
    if (!program.shortfall().empty())
        return program.shortfall();
    const Canvas canvas(4, 4);
    program.use();
    drawQuad();
    return canvas.compare(white);
}

const std::string kPassColour = kClassic + "void main() { gl_FragColor = gl_Color; }\n";
const char* const kPassVertex = "void main() { gl_Position = gl_Vertex; gl_FrontColor = gl_Color; }\n";

std::string classicTexts()
{
    return shortfallOfWhite(Program({{GL_FRAGMENT_SHADER, kClassic + R"(float values[2] = float[2](0.0, 1.0);
void main()
{
    int one = 1;
    gl_FragColor = vec4(values[one]);
    gl_FragColor[0] = one;
}
)"}}));
}

std::string flatOut()
{
    return shortfallOfWhite(Program({{GL_VERTEX_SHADER, R"(#extension GL_EXT_gpu_shader4 : enable
flat varying out vec4 colour;
void main()
{
    colour = vec4(1.0);
    gl_Position = gl_Vertex;
}
)"},
                                     {GL_FRAGMENT_SHADER, R"(#extension GL_EXT_gpu_shader4 : enable
flat varying vec4 colour;
void main()
{
    gl_FragColor = colour;
}
)"}}));
}

/// One point becomes as many as there can be, side by side.
std::string geometryShaders()
{
    if (!glProgramParameteriEXT)
        return "glProgramParameteriEXT is missing";
    const int vertices = mostVertices();
    const Program program({{GL_VERTEX_SHADER, kPassVertex},
                           {GL_GEOMETRY_SHADER_EXT, R"(#version 130
#extension GL_EXT_geometry_shader4 : enable
uniform int count;
void main(void)
{
    for (int i = 0; i < count; i++)
    {
        gl_Position = gl_PositionIn[gl_VerticesIn - 1] + vec4(float(2 * i) / float(count), 0.0, 0.0, 0.0);
        gl_FrontColor = gl_FrontColorIn[0];
        EmitVertex();
    }
    EndPrimitive();
}
)"},
                           {GL_FRAGMENT_SHADER, kPassColour}},
                          [vertices](GLuint name) {
                              glProgramParameteriEXT(name, GL_GEOMETRY_INPUT_TYPE_EXT, GL_POINTS);
                              glProgramParameteriEXT(name, GL_GEOMETRY_OUTPUT_TYPE_EXT, GL_POINTS);
                              glProgramParameteriEXT(name, GL_GEOMETRY_VERTICES_OUT_EXT, vertices);
                          });
    if (!program.shortfall().empty())
        return program.shortfall();
    const Canvas canvas(vertices, 1);
    program.use();
    glUniform1i(program.location("count"), vertices);
    glBegin(GL_POINTS);
    glVertex2f(-1.0f + 1.0f / static_cast<GLfloat>(vertices), 0.0f); // the middle of the first pixel
    glEnd();
    return canvas.compare(white);
}

std::string emptyGeometry()
{
    return shortfallOfWhite(
        Program({{GL_VERTEX_SHADER, kPassVertex}, {GL_GEOMETRY_SHADER_EXT, ""}, {GL_FRAGMENT_SHADER, kPassColour}}));
}

std::string matrixUniforms()
{
    const Program program({{GL_FRAGMENT_SHADER, kClassic + R"(uniform mat2 matrix;
void main()
{
    gl_FragColor = vec4(matrix[0][0], matrix[0][1], matrix[1][0], matrix[1][1]);
}
)"}});
    if (!program.shortfall().empty())
        return program.shortfall();
    const Canvas canvas(4, 4);
    program.use();
    glUniform4f(program.location("matrix"), 1.0f, 0.0f, 1.0f, 1.0f);
    drawQuad();
    return canvas.compare([](GLsizei) { return Pixel{255, 0, 255, 255}; });
}

std::string clippingSources()
{
    const Program program({{GL_FRAGMENT_SHADER, kPassColour}});
    if (!program.shortfall().empty())
        return program.shortfall();
    const Canvas canvas(4, 4, true);
    program.use();
    drawQuad();
    return canvas.compare(white);
}

std::string unwrittenColours()
{
    const Program program({{GL_FRAGMENT_SHADER, kClassic + R"(uniform float bound;
void main()
{
    if (gl_FragCoord.x < bound)
        gl_FragColor = vec4(1.0);
}
)"}});
    if (!program.shortfall().empty())
        return program.shortfall();
    const Canvas canvas(8, 1);
    program.use();
    glUniform1f(program.location("bound"), 4.0f);
    drawQuad();
    return canvas.compare([](GLsizei i) { return i < 4 ? kWhite : kBlack; });
}

/// A point on the lower left corner of every pixel. Many, so that some round to less than the corner where they can.
std::string cornerPoints()
{
    const Program program({{GL_VERTEX_SHADER, kClassic + R"(uniform sampler2DRect texels;
void main()
{
    gl_Position = ftransform();
    gl_FrontColor = gl_Color + 0.0 * texture2DRect(texels, vec2(0.5));
}
)"},
                           {GL_FRAGMENT_SHADER, kPassColour}});
    if (!program.shortfall().empty())
        return program.shortfall();
    constexpr GLsizei width = 720, height = 3;
    const Canvas canvas(width, height);
    const Texture texture(1, 1, &kBlack);
    glMatrixMode(GL_PROJECTION);
    glOrtho(0, width, 0, height, -1, 1);
    program.use();
    glBegin(GL_POINTS);
    for (GLint y = 0; y < height; ++y)
        for (GLint x = 0; x < width; ++x)
            glVertex2i(x, y);
    glEnd();
    return canvas.compare(white);
}

/// A point for each texel, as the texel says of itself at its corner. The sides are no powers of two, whose quotients
/// would be exact.
std::string cornerTexels()
{
    const Program program({{GL_VERTEX_SHADER, R"(#extension GL_ARB_texture_rectangle : enable
uniform sampler2DRect texels;
void main()
{
    gl_FrontColor = texture2DRect(texels, gl_Vertex.xy);
    gl_Position = gl_ModelViewProjectionMatrix * (gl_Vertex + vec4(0.5, 0.5, 0.0, 0.0));
}
)"},
                           {GL_FRAGMENT_SHADER, kPassColour}});
    if (!program.shortfall().empty())
        return program.shortfall();
    constexpr GLsizei width = 60, height = 31;
    const auto pixel = [](GLsizei i) {
        return Pixel{static_cast<unsigned char>(i % width), static_cast<unsigned char>(i / width), 0, 255};
    };
    std::vector<Pixel> pixels;
    for (GLsizei i = 0; i < width * height; ++i)
        pixels.push_back(pixel(i));
    const Canvas canvas(width, height);
    const Texture texture(width, height, pixels.data());
    glMatrixMode(GL_PROJECTION);
    glOrtho(0, width, 0, height, -1, 1);
    program.use();
    glUniform1i(program.location("texels"), 0);
    glBegin(GL_POINTS);
    for (GLsizei i = 0; i < width * height; ++i)
        glVertex2i(i % width, i / width);
    glEnd();
    return canvas.compare(pixel);
}

} // namespace

const std::vector<Expectation>& expectations()
{
    static const std::vector<Expectation> all = {
        {"shaders without #version have int to float and array constructors", kClassicTexts, classicTexts},
        {"vertex shaders write 'flat varying out'", kFlatOut, flatOut},
        {"EXT_geometry_shader4 emits as many vertices as there can be", kGeometryShaders, geometryShaders},
        {"an empty geometry stage is left out", kEmptyGeometry, emptyGeometry},
        {"glUniform4f() sets a mat2", kMatrixUniforms, matrixUniforms},
        {"attachments that are not drawn into do not clip", kClippingSources, clippingSources},
        {"a gl_FragColor that is not written is 0", kUnwrittenColours, unwrittenColours},
        {"a point on the corner of a pixel fills the pixel beyond it", kCornerPoints, cornerPoints},
        {"in a vertex shader the corner of a texel reads the texel beyond it", kCornerTexels, cornerTexels},
    };
    return all;
}

int mostVertices()
{
    return std::clamp(integer(GL_MAX_GEOMETRY_OUTPUT_VERTICES_EXT), 0, 1024);
}

} // namespace velmor::glsupport::adapter
