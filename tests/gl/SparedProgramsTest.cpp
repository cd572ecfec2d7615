// An application's own programs are with the driver adapter what they are without it.

#include "glsupport/DriverAdapter.h"

#include "glsupport/HeadlessContext.h"
#include "glsupport/RectTexture.h"
#include "tests/support/ApplicationTexts.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using velmor::glsupport::DriverAdapter;
using velmor::glsupport::HeadlessContext;
using velmor::glsupport::RectTexture;

namespace velmor::tests {
namespace {

/// What an application sees of a program of its own.
struct Impression
{
    std::string answers;       ///< statuses, messages, texts, uniforms and errors
    std::vector<float> pixels; ///< of all that was drawn
};

std::string errors()
{
    std::ostringstream out;
    for (GLenum error = glGetError(); error != GL_NO_ERROR; error = glGetError())
        out << " error " << std::hex << error;
    return out.str();
}

template<typename GetInteger, typename GetText>
std::string text(GetInteger getInteger, GetText getText, GLenum lengthName, GLuint name)
{
    GLint length = 0;
    getInteger(name, lengthName, &length);
    std::string result(static_cast<std::size_t>(std::max(length, 1)), '\0');
    getText(name, static_cast<GLsizei>(result.size()), &length, result.data());
    result.resize(static_cast<std::size_t>(length));
    return result;
}

template<typename GetInteger>
GLint integer(GetInteger getInteger, GLuint name, GLenum what)
{
    GLint value = 0;
    getInteger(name, what, &value);
    return value;
}

GLuint makeShader(GLenum type, const std::string& source, std::ostream& answers)
{
    const GLuint shader = glCreateShader(type);
    const GLchar* const start = source.data();
    const auto length = static_cast<GLint>(source.size());
    glShaderSource(shader, 1, &start, &length);
    glCompileShader(shader);
    const std::string kept = text(glGetShaderiv, glGetShaderSource, GL_SHADER_SOURCE_LENGTH, shader);
    answers << "compiled " << integer(glGetShaderiv, shader, GL_COMPILE_STATUS) << ' '
            << text(glGetShaderiv, glGetShaderInfoLog, GL_INFO_LOG_LENGTH, shader) << " text kept " << (kept == source)
            << errors() << '\n';
    return shader;
}

/// Two pictures of two sizes on one framebuffer, of which the smaller one is at first not drawn into.
class Canvas
{
public:
    Canvas() : mLarge(kLarge, kLarge, RectTexture::RGBA32F), mSmall(kSmall, kSmall, RectTexture::RGBA32F)
    {
        const std::vector<float> untouched(4 * kLarge * kLarge, -1.0f);
        mLarge.upload(untouched.data());
        mSmall.upload(untouched.data());
        glGenFramebuffersEXT(1, &mFramebuffer);
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, mFramebuffer);
        attach(GL_COLOR_ATTACHMENT0_EXT, mLarge);
        attach(GL_COLOR_ATTACHMENT1_EXT, mSmall);
    }
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;
    ~Canvas() { glDeleteFramebuffersEXT(1, &mFramebuffer); }

    void begin(GLenum attachment) const
    {
        const int side = attachment == GL_COLOR_ATTACHMENT0_EXT ? kLarge : kSmall;
        glDrawBuffer(attachment);
        glViewport(0, 0, side, side);
    }

    std::vector<float> pixels() const
    {
        std::vector<float> result(4 * (kLarge * kLarge + kSmall * kSmall));
        mLarge.download(result.data());
        mSmall.download(result.data() + 4 * kLarge * kLarge);
        return result;
    }

    static constexpr int kLarge = 12;
    static constexpr int kSmall = 6;

private:
    static void attach(GLenum attachment, const RectTexture& texture)
    {
        glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, attachment, GL_TEXTURE_RECTANGLE_ARB, texture.getTexId(), 0);
    }

    RectTexture mLarge;
    RectTexture mSmall;
    GLuint mFramebuffer = 0;
};

/// A quad over the lower half, and above it a point on the corner of each pixel.
void draw()
{
    glBegin(GL_QUADS);
    glColor4f(0.75f, 0.5f, 0.25f, 1.0f);
    for (const auto& [x, y] : {std::pair{-1.0f, -1.0f}, {1.0f, -1.0f}, {1.0f, 0.0f}, {-1.0f, 0.0f}})
        glVertex2f(x, y);
    glEnd();
    glBegin(GL_POINTS);
    for (int i = 0; i < Canvas::kLarge; ++i)
        glVertex2f(-1.0f + 2.0f * static_cast<float>(i) / Canvas::kLarge, 1.0f / 3.0f);
    glEnd();
}

void drawWith(GLuint program, std::ostream& answers, Impression& impression)
{
    const Canvas canvas;
    canvas.begin(GL_COLOR_ATTACHMENT0_EXT);
    glUseProgram(program);
    answers << "used" << errors();
    for (const char* const name : {"tint", "matrix"}) { // a matrix takes no four numbers, and that is an error
        glUniform4f(glGetUniformLocation(program, name), 0.125f, 0.25f, 0.375f, 0.5f);
        answers << ' ' << name << errors();
    }
    draw();
    canvas.begin(GL_COLOR_ATTACHMENT1_EXT);
    draw();
    answers << " drawn" << errors();
    glUseProgram(0);
    impression.pixels = canvas.pixels();
    answers << " read" << errors() << '\n';
}

Impression impressionOf(const ApplicationProgram& texts)
{
    Impression impression;
    std::ostringstream answers;
    const GLuint program = glCreateProgram();
    glBindAttribLocation(program, 0, "position");
    for (const auto& [type, source] : {std::pair<GLenum, std::string>(GL_VERTEX_SHADER, texts.vertexText),
                                       {GL_FRAGMENT_SHADER, texts.fragmentText}}) {
        const GLuint shader = makeShader(type, source, answers);
        glAttachShader(program, shader);
        glDeleteShader(shader);
    }
    glLinkProgram(program);
    const bool isLinked = integer(glGetProgramiv, program, GL_LINK_STATUS) != 0;
    answers << "linked " << isLinked << ' ' << text(glGetProgramiv, glGetProgramInfoLog, GL_INFO_LOG_LENGTH, program)
            << " uniforms " << integer(glGetProgramiv, program, GL_ACTIVE_UNIFORMS) << " shaders "
            << integer(glGetProgramiv, program, GL_ATTACHED_SHADERS) << errors() << '\n';
    if (isLinked)
        drawWith(program, answers, impression);
    glDeleteProgram(program);
    impression.answers = answers.str();
    return impression;
}

std::vector<Impression> impressions(const std::vector<ApplicationProgram>& programs)
{
    glClampColorARB(GL_CLAMP_VERTEX_COLOR_ARB, GL_FALSE);
    std::vector<Impression> result;
    for (const ApplicationProgram& each : programs)
        result.push_back(impressionOf(each));
    return result;
}

bool isDrawn(const Impression& impression)
{
    return !impression.pixels.empty();
}

/// Compares what programs do under the adapter, as the driver needs it and all of it, with what they do without.
/// @param leastDrawn  so many have to be drawn, or there is too little to compare; those of GLSL 4 are not everywhere
void expectSpared(const std::vector<ApplicationProgram>& programs, std::ptrdiff_t leastDrawn)
{
    DriverAdapter::remove();
    const HeadlessContext context(false);
    const std::vector<Impression> expected = impressions(programs);
    EXPECT_GE(std::count_if(expected.begin(), expected.end(), isDrawn), leastDrawn);
    for (const DriverAdapter::Mode mode : {DriverAdapter::WhereNeeded, DriverAdapter::Always}) {
        DriverAdapter::install(mode);
        const std::vector<Impression> adapted = impressions(programs);
        for (std::size_t i = 0; i < programs.size(); ++i) {
            EXPECT_EQ(adapted[i].answers, expected[i].answers) << programs[i].name << ", mode " << mode;
            EXPECT_EQ(adapted[i].pixels, expected[i].pixels) << programs[i].name << ", mode " << mode;
        }
    }
    DriverAdapter::remove();
}

TEST(SparedPrograms, OneInTenIsWithTheAdapterWhatItIsWithout)
{
    const std::vector<ApplicationProgram> all = applicationPrograms();
    std::vector<ApplicationProgram> some;
    for (std::size_t i = 0; i < all.size(); i += 10)
        some.push_back(all[i]);
    expectSpared(some, 15);
}

TEST(SparedProgramsSweep, AllAreWithTheAdapterWhatTheyAreWithout)
{
    const std::vector<ApplicationProgram> programs = applicationPrograms();
    ASSERT_GE(programs.size(), 200u);
    expectSpared(programs, 150);
}

TEST(SparedPrograms, ClassicOnesThatTheDriverTakesAreTaken)
{
    DriverAdapter::remove();
    const std::vector<ApplicationProgram> programs = classicPrograms();
    const HeadlessContext context(false);
    const std::vector<Impression> expected = impressions(programs);
    EXPECT_GE(std::count_if(expected.begin(), expected.end(), isDrawn), 25);
    for (const DriverAdapter::Mode mode : {DriverAdapter::WhereNeeded, DriverAdapter::Always}) {
        DriverAdapter::install(mode);
        const std::vector<Impression> adapted = impressions(programs);
        for (std::size_t i = 0; i < programs.size(); ++i) {
            EXPECT_TRUE(isDrawn(adapted[i]) || !isDrawn(expected[i])) << programs[i].name << ", mode " << mode << '\n'
                                                                      << adapted[i].answers;
        }
    }
    DriverAdapter::remove();
}

} // namespace
} // namespace velmor::tests
