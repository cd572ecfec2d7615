#include "glsupport/internal/Compilation.h"

#include "glsupport/internal/InfoLog.h"

#include <sstream>
#include <stdexcept>
#include <string>

namespace velmor::glsupport {
namespace {

// What was in their place before.
PFNGLCOMPILESHADERPROC wrappedCompile = nullptr;
PFNGLGETSHADERIVPROC wrappedGetShaderiv = nullptr;
PFNGLGETPROGRAMIVPROC wrappedGetProgramiv = nullptr;
PFNGLLINKPROGRAMPROC wrappedLink = nullptr;
GLuint compiled = 0; ///< the shader that the manager will ask about next

std::string reasonOf(GLuint object, PFNGLGETSHADERIVPROC query, PFNGLGETSHADERINFOLOGPROC read)
{
    std::string log = infoLog(object, query, read);
    while (!log.empty() && (log.back() == '\n' || log.back() == '\0'))
        log.pop_back();
    return log.empty() ? "the driver does not say why" : log;
}

/// A shader's text with numbers before its lines, as the driver's messages count them.
std::string numberedText(GLuint shader)
{
    GLint length = 0;
    wrappedGetShaderiv(shader, GL_SHADER_SOURCE_LENGTH, &length);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    GLsizei written = 0;
    if (!text.empty())
        glGetShaderSource(shader, length, &written, text.data());
    std::istringstream lines(text.substr(0, static_cast<std::size_t>(written)));
    std::string numbered;
    int number = 0;
    for (std::string line; std::getline(lines, line);)
        numbered += '\n' + std::to_string(++number) + ": " + line;
    return numbered;
}

/// The driver's adapter compiles more than one text where it is told to compile one, and asks about each.
void GLAPIENTRY compileShader(GLuint shader)
{
    compiled = 0;
    wrappedCompile(shader);
    compiled = shader;
}

// The shader manager asks for the length of a message, and then for as much memory. It is read here before, which
// throws.

void GLAPIENTRY getProgramiv(GLuint program, GLenum name, GLint* value)
{
    wrappedGetProgramiv(program, name, value);
    if (name == GL_INFO_LOG_LENGTH)
        infoLog(program, wrappedGetProgramiv, glGetProgramInfoLog);
}

void GLAPIENTRY getShaderiv(GLuint shader, GLenum name, GLint* value)
{
    wrappedGetShaderiv(shader, name, value);
    if (name == GL_INFO_LOG_LENGTH)
        infoLog(shader, wrappedGetShaderiv, glGetShaderInfoLog);
    if (name != GL_COMPILE_STATUS || shader != compiled)
        return;
    compiled = 0;
    if (!*value)
        throw std::runtime_error("expected a shader that the driver compiles, got \"" +
                                 reasonOf(shader, wrappedGetShaderiv, glGetShaderInfoLog) + "\" about" +
                                 numberedText(shader));
}

void GLAPIENTRY linkProgram(GLuint program)
{
    wrappedLink(program);
    GLint linked = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    if (!linked)
        throw std::runtime_error("expected a program that the driver links, got \"" +
                                 reasonOf(program, glGetProgramiv, glGetProgramInfoLog) + '"');
}

} // namespace

Compilation::Compilation()
{
    wrappedCompile = __glewCompileShader;
    wrappedGetShaderiv = __glewGetShaderiv;
    wrappedGetProgramiv = __glewGetProgramiv;
    wrappedLink = __glewLinkProgram;
    __glewCompileShader = compileShader;
    __glewGetShaderiv = getShaderiv;
    __glewGetProgramiv = getProgramiv;
    __glewLinkProgram = linkProgram;
}

Compilation::~Compilation()
{
    __glewCompileShader = wrappedCompile;
    __glewGetShaderiv = wrappedGetShaderiv;
    __glewGetProgramiv = wrappedGetProgramiv;
    __glewLinkProgram = wrappedLink;
}

} // namespace velmor::glsupport
