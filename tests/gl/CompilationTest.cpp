#include "glsupport/internal/Compilation.h"

#include "cvprocess/gpuStdShaders/Not.h"
#include "tests/gl/GlTest.h"
#include "tests/gl/InPlaceOf.h"
#include "tests/support/ThrownText.h"

#include <algorithm>
#include <stdexcept>
#include <string>

using velmor::glsupport::Compilation;

namespace velmor::tests {
namespace {

std::string driverSays;

void GLAPIENTRY refuseShader(GLuint, GLenum name, GLint* value)
{
    if (name == GL_COMPILE_STATUS)
        *value = GL_FALSE;
    if (name == GL_INFO_LOG_LENGTH)
        *value = driverSays.empty() ? 0 : static_cast<GLint>(driverSays.size()) + 1;
    if (name == GL_SHADER_SOURCE_LENGTH)
        *value = 12;
}

void GLAPIENTRY refuseProgram(GLuint program, GLenum name, GLint* value)
{
    if (name == GL_LINK_STATUS)
        *value = GL_FALSE;
    else
        refuseShader(program, name, value);
}

void GLAPIENTRY tell(GLuint, GLsizei size, GLsizei* written, GLchar* text)
{
    *written = std::min(size - 1, static_cast<GLsizei>(driverSays.size()));
    driverSays.copy(text, static_cast<std::size_t>(*written));
    text[*written] = '\0';
}

void GLAPIENTRY tellSource(GLuint, GLsizei, GLsizei* written, GLchar* text)
{
    *written = static_cast<GLsizei>(std::string("first\n\nlast").copy(text, 11));
}

std::string refusalOfNot()
{
    const Compilation compilation;
    std::string refusal;
    capture([&] { refusal = thrownText<std::runtime_error>([] { cvprocess::Not(nullptr); }); });
    return refusal;
}

/// Of a driver that refuses shaders and says something about each.
std::string refusalOfShader(const std::string& reason)
{
    driverSays = reason;
    const InPlaceOf query(__glewGetShaderiv, PFNGLGETSHADERIVPROC(refuseShader));
    const InPlaceOf log(__glewGetShaderInfoLog, PFNGLGETSHADERINFOLOGPROC(tell));
    const InPlaceOf source(__glewGetShaderSource, PFNGLGETSHADERSOURCEPROC(tellSource));
    return refusalOfNot();
}

/// Of a driver that refuses programs.
std::string refusalOfProgram(const std::string& reason)
{
    driverSays = reason;
    const InPlaceOf query(__glewGetProgramiv, PFNGLGETPROGRAMIVPROC(refuseProgram));
    const InPlaceOf log(__glewGetProgramInfoLog, PFNGLGETPROGRAMINFOLOGPROC(tell));
    return refusalOfNot();
}

using CompilationTest = GlTest;

TEST_F(CompilationTest, ARefusedShaderIsShownWithNumbersToItsLines)
{
    const std::string begin = "expected a shader that the driver compiles, got \"";
    const std::string text = "\" about\n1: first\n2: \n3: last";
    EXPECT_EQ(refusalOfShader("0:2: no\n"), begin + "0:2: no" + text);
    EXPECT_EQ(refusalOfShader("two\nlines\n\n"), begin + "two\nlines" + text);
    EXPECT_EQ(refusalOfShader("\n"), begin + "the driver does not say why" + text);
    EXPECT_EQ(refusalOfShader(""), begin + "the driver does not say why" + text);
}

TEST_F(CompilationTest, ARefusedProgramIsToldOf)
{
    const std::string begin = "expected a program that the driver links, got \"";
    EXPECT_EQ(refusalOfProgram("no\n"), begin + "no\"");
    EXPECT_EQ(refusalOfProgram(""), begin + "the driver does not say why\"");
}

TEST_F(CompilationTest, LeavesGlewAsItWas)
{
    const auto compile = __glewCompileShader;
    const auto shader = __glewGetShaderiv;
    const auto program = __glewGetProgramiv;
    const auto link = __glewLinkProgram;
    {
        const Compilation compilation;
        EXPECT_NE(__glewCompileShader, compile);
    }
    EXPECT_EQ(__glewCompileShader, compile);
    EXPECT_EQ(__glewGetShaderiv, shader);
    EXPECT_EQ(__glewGetProgramiv, program);
    EXPECT_EQ(__glewLinkProgram, link);
}

// What an application asks of its own shaders is its own business.
TEST_F(CompilationTest, WhoAsksAboutAnotherShaderGetsTheAnswer)
{
    const Compilation compilation;
    const GLuint broken = glCreateShader(GL_FRAGMENT_SHADER);
    const GLuint other = glCreateShader(GL_FRAGMENT_SHADER);
    const char* const text = "no shader";
    glShaderSource(broken, 1, &text, nullptr);
    glCompileShader(broken);
    GLint compiled = GL_TRUE;
    glGetShaderiv(other, GL_COMPILE_STATUS, &compiled);
    EXPECT_EQ(compiled, GL_FALSE);
    EXPECT_THROW(glGetShaderiv(broken, GL_COMPILE_STATUS, &compiled), std::runtime_error);
    compiled = GL_TRUE;
    glGetShaderiv(broken, GL_COMPILE_STATUS, &compiled); // it was told of
    EXPECT_EQ(compiled, GL_FALSE);
    glDeleteShader(broken);
    glDeleteShader(other);
}

} // namespace
} // namespace velmor::tests
