#include "glsupport/internal/adapter/Shaders.h"

#include "glsupport/internal/adapter/Process.h"
#include "glsupport/internal/adapter/ShaderText.h"

#include <algorithm>

namespace velmor::glsupport::adapter {
namespace {

/// What is compiled in the place of an empty geometry stage, which never gets into a program.
const char* const kPlaceholder = "#version 150 compatibility // in the place of an empty stage\n"
                                 "layout(points) in; layout(points, max_vertices = 1) out; void main() {}\n";

/// Whether the driver takes a text. Tried on another shader: where Mesa finds the text of the next trial in its cache,
/// a shader keeps the message of the one before.
bool isTaken(GLenum type, const std::string& text)
{
    const GLuint trial = glCreateShader(type);
    const bool taken = compiles(trial, text);
    glDeleteShader(trial);
    return taken;
}

/// What stands for a text where the driver refuses it.
std::string translated(const Treatment& treatment, GLenum type, const std::string& text)
{
    if (type == GL_GEOMETRY_SHADER_EXT && treatment.includes(kEmptyGeometry) && factsOf(text).isEmpty)
        return kPlaceholder;
    if (!isClassic(text))
        return text;
    if (type == GL_GEOMETRY_SHADER_EXT && treatment.includes(kGeometryShaders) && factsOf(text).usesGeometryShader4)
        return inVersion150(text);
    std::string result = text;
    if (type == GL_VERTEX_SHADER && treatment.includes(kFlatOut))
        result = withoutFlatOut(result);
    if (treatment.includes(kClassicTexts))
        result = inVersion120(result);
    return result;
}

} // namespace

std::string textOf(GLuint shader)
{
    GLint length = 0;
    glGetShaderiv(shader, GL_SHADER_SOURCE_LENGTH, &length);
    std::string text(static_cast<std::size_t>(std::max(length, 1)), '\0');
    glGetShaderSource(shader, static_cast<GLsizei>(text.size()), &length, text.data());
    text.resize(static_cast<std::size_t>(length));
    return text;
}

GLenum typeOf(GLuint shader)
{
    GLint type = 0;
    glGetShaderiv(shader, GL_SHADER_TYPE, &type);
    return static_cast<GLenum>(type);
}

bool compiles(GLuint shader, const std::string& text)
{
    const GLchar* const source = text.c_str();
    glShaderSource(shader, 1, &source, nullptr);
    driver().compileShader(shader);
    GLint status = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
    return status == GL_TRUE;
}

bool isPlaceholder(const std::string& text)
{
    return text == kPlaceholder;
}

void GLAPIENTRY compileShader(GLuint shader)
{
    const Treatment& treatment = process().context().treatment;
    if (treatment.adaptations != 0 && glIsShader(shader)) {
        const GLenum type = typeOf(shader);
        const std::string text = textOf(shader);
        const std::string translation = translated(treatment, type, text);
        // Of a geometry stage it means little that it is taken: it may still know nothing of the program's parameters.
        const bool isWanted =
            translation != text && (treatment.always || type == GL_GEOMETRY_SHADER_EXT || !isTaken(type, text));
        if (isWanted && isTaken(type, translation)) {
            compiles(shader, translation);
            return;
        }
    }
    driver().compileShader(shader);
}

} // namespace velmor::glsupport::adapter
