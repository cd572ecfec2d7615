#include "glsupport/adapter/Programs.h"

#include "glsupport/adapter/Errors.h"
#include "glsupport/adapter/Framebuffers.h"
#include "glsupport/adapter/Process.h"
#include "glsupport/adapter/ShaderText.h"
#include "glsupport/internal/Integer.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

namespace velmor::glsupport::adapter {
namespace {

// Shader texts

/// What is compiled in the place of an empty geometry stage, which never gets into a program.
const char* const kPlaceholder = "#version 150 compatibility // in the place of an empty stage\n"
                                 "layout(points) in; layout(points, max_vertices = 1) out; void main() {}\n";

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

// Links

namespace {

/// A shader of a program.
struct Stage
{
    GLuint shader;
    GLenum type;
    std::string text;
};

std::vector<Stage> stagesOf(GLuint program)
{
    GLint count = 0;
    glGetProgramiv(program, GL_ATTACHED_SHADERS, &count);
    std::vector<GLuint> shaders(static_cast<std::size_t>(count));
    glGetAttachedShaders(program, count, &count, shaders.data());
    std::vector<Stage> stages;
    for (const GLuint shader : shaders)
        stages.push_back({shader, typeOf(shader), textOf(shader)});
    return stages;
}

bool isLeftOut(const Stage& stage)
{
    return stage.text == kPlaceholder;
}

bool isGeometry(const Stage& stage)
{
    return stage.type == GL_GEOMETRY_SHADER_EXT && !isLeftOut(stage);
}

bool isTranslatedGeometry(const Stage& stage)
{
    return isGeometry(stage) && isInVersion150(stage.text);
}

template<typename Is>
bool hasAny(const std::vector<Stage>& stages, const Is& is)
{
    return std::any_of(stages.begin(), stages.end(), is);
}

bool isLinked(GLuint program)
{
    GLint status = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &status);
    return status == GL_TRUE;
}

/// Which shader stands for a stage in a link: its own, or one of ours for another text. Where the driver refuses ours,
/// the stage's own does; a geometry stage has none of its own that could be linked.
GLuint shaderFor(const Stage& stage, const std::string& text)
{
    if (text == stage.text)
        return stage.shader;
    const GLuint shader = glCreateShader(stage.type);
    if (compiles(shader, text) || isTranslatedGeometry(stage))
        return shader;
    glDeleteShader(shader);
    return stage.shader;
}

/// Links a program with other texts in the place of its stages' own, and without those that are left out. Its shaders,
/// their order and what they hold are the same afterwards.
bool linksWith(GLuint program, const std::vector<Stage>& stages, const std::vector<std::string>& texts)
{
    const GLuint holder = driver().createProgram(); // keeps shaders that were deleted while they were attached
    std::vector<GLuint> linked;
    for (std::size_t i = 0; i < stages.size(); ++i) {
        glAttachShader(holder, stages[i].shader);
        glDetachShader(program, stages[i].shader);
        if (!isLeftOut(stages[i]))
            linked.push_back(shaderFor(stages[i], texts[i]));
    }
    for (const GLuint shader : linked)
        glAttachShader(program, shader);
    driver().linkProgram(program);
    for (const GLuint shader : linked) {
        glDetachShader(program, shader);
        if (!hasAny(stages, [shader](const Stage& stage) { return stage.shader == shader; }))
            glDeleteShader(shader);
    }
    for (const Stage& stage : stages)
        glAttachShader(program, stage.shader);
    driver().deleteProgram(holder);
    return isLinked(program);
}

std::string layoutName(GLint primitive)
{
    switch (primitive) {
    case GL_POINTS:
        return "points";
    case GL_LINES:
        return "lines";
    case GL_LINES_ADJACENCY_EXT:
        return "lines_adjacency";
    case GL_TRIANGLES:
        return "triangles";
    case GL_TRIANGLES_ADJACENCY_EXT:
        return "triangles_adjacency";
    case GL_LINE_STRIP:
        return "line_strip";
    default:
        return "triangle_strip";
    }
}

/// A stage's text with what the driver leaves undefined, or to rounding, made definite.
std::string definite(const Treatment& treatment, const Stage& stage, bool isBeforeFragments)
{
    std::string text = stage.text;
    if (stage.type == GL_FRAGMENT_SHADER && treatment.includes(kUnwrittenColours))
        text = withInitialColour(text);
    if (stage.type == GL_VERTEX_SHADER && treatment.includes(kCornerTexels))
        text = withInnerTexels(text);
    if (stage.type == GL_VERTEX_SHADER && treatment.includes(kCornerPoints) && isBeforeFragments)
        text = withShiftedVertices(text);
    return text;
}

/// The texts of the stages as they are.
std::vector<std::string> ownTexts(const std::vector<Stage>& stages)
{
    std::vector<std::string> texts;
    for (const Stage& stage : stages)
        texts.push_back(stage.text);
    return texts;
}

/// The texts with what the driver leaves undefined, or to rounding, made definite.
std::vector<std::string> definiteTexts(const Treatment& treatment, const std::vector<Stage>& stages)
{
    const bool hasGeometry = hasAny(stages, isGeometry);
    std::vector<std::string> texts;
    for (const Stage& stage : stages)
        texts.push_back(definite(treatment, stage, !hasGeometry));
    return texts;
}

/// Links with the geometry stage for the parameters of the program. Where the driver refuses so many vertices from one
/// invocation, the work is spread over more and more of them.
bool linksWithGeometry(GLuint program, const std::vector<Stage>& stages, std::vector<std::string> texts,
                       const Treatment& treatment, const ProgramRecord& parameters)
{
    const auto links = [&](int verticesAnInvocation) {
        const GeometryLayout layout = {layoutName(parameters.inputType), layoutName(parameters.outputType),
                                       parameters.verticesOut, verticesAnInvocation, treatment.includes(kCornerPoints)};
        for (std::size_t i = 0; i < stages.size(); ++i)
            if (isTranslatedGeometry(stages[i]))
                texts[i] = withLayout(stages[i].text, layout);
        return linksWith(program, stages, texts);
    };
    int share = treatment.verticesAnInvocation;
    bool isDone = links(share);
    for (share = std::min(share, parameters.verticesOut); !isDone && parameters.outputType == GL_POINTS && share > 1;) {
        share /= 2;
        isDone = links(share);
    }
    return isDone || links(treatment.verticesAnInvocation); // so that the message is about the whole
}

/// Links with what is to be left out left out, and all other stages as they are.
void linkAsGiven(GLuint program, const std::vector<Stage>& stages)
{
    if (hasAny(stages, isLeftOut))
        linksWith(program, stages, ownTexts(stages));
    else
        driver().linkProgram(program);
}

void linkClassic(GLuint program, const std::vector<Stage>& stages, const Treatment& treatment,
                 const ProgramRecord& parameters)
{
    const std::vector<std::string> own = ownTexts(stages);
    const std::vector<std::string> definite = definiteTexts(treatment, stages);
    if (hasAny(stages, isTranslatedGeometry)) {
        if (!linksWithGeometry(program, stages, definite, treatment, parameters) && definite != own)
            linksWithGeometry(program, stages, own, treatment, parameters);
    } else if (definite == own || !linksWith(program, stages, definite)) {
        linkAsGiven(program, stages);
    }
}

// Uniforms

std::vector<GLint> mat2LocationsOf(GLuint program)
{
    std::vector<GLint> locations;
    GLint count = 0;
    GLint longestName = 0;
    glGetProgramiv(program, GL_ACTIVE_UNIFORMS, &count);
    glGetProgramiv(program, GL_ACTIVE_UNIFORM_MAX_LENGTH, &longestName);
    std::string buffer(static_cast<std::size_t>(std::max(longestName, 1)), '\0');
    for (GLint i = 0; i < count; ++i) {
        GLsizei length = 0;
        GLint elements = 0;
        GLenum type = 0;
        glGetActiveUniform(program, static_cast<GLuint>(i), longestName, &length, &elements, &type, buffer.data());
        if (type != GL_FLOAT_MAT2)
            continue;
        std::string name = buffer.substr(0, static_cast<std::size_t>(length));
        if (name.size() > 3 && name.compare(name.size() - 3, 3, "[0]") == 0)
            name.resize(name.size() - 3);
        locations.push_back(glGetUniformLocation(program, name.c_str()));
        for (GLint element = 1; element < elements; ++element)
            locations.push_back(glGetUniformLocation(program, (name + "[" + std::to_string(element) + "]").c_str()));
    }
    std::sort(locations.begin(), locations.end());
    return locations;
}

/// Positions that transform feedback captures are not moved.
bool capturesVaryings(GLuint program)
{
    GLint varyings = 0;
    if (GLEW_VERSION_3_0)
        glGetProgramiv(program, GL_TRANSFORM_FEEDBACK_VARYINGS, &varyings);
    return varyings > 0;
}

GLint shiftLocationOf(GLuint program, const std::vector<Stage>& stages)
{
    if (capturesVaryings(program))
        return -1;
    return glGetUniformLocation(program, hasAny(stages, isGeometry) ? "velmorEmittedShift" : "velmorVertexShift");
}

} // namespace

GLuint GLAPIENTRY createProgram()
{
    const GLuint program = driver().createProgram();
    Context& current = process().context();
    current.programs.erase(program); // nothing of an earlier one by the same name
    current.deletedInUse.erase(program);
    return program;
}

void GLAPIENTRY deleteProgram(GLuint program)
{
    driver().deleteProgram(program);
    Context& current = process().context();
    if (current.find(program))
        current.deletedInUse.insert(program);
    current.forgetDeleted();
}

void GLAPIENTRY linkProgram(GLuint program)
{
    Context& current = process().context();
    if (current.treatment.adaptations == 0 || !glIsProgram(program)) {
        driver().linkProgram(program);
        return;
    }
    const std::vector<Stage> stages = stagesOf(program);
    const bool isOfDialect = hasAny(stages, [](const Stage& stage) { return isClassic(stage.text); });
    if (!isOfDialect && !current.find(program)) {
        linkAsGiven(program, stages);
        return;
    }
    ProgramRecord& record = current.programs[program];
    if (isOfDialect)
        linkClassic(program, stages, current.treatment, record);
    else
        linkAsGiven(program, stages);
    record.isClassic = isOfDialect && isLinked(program);
    record.mat2Locations = record.isClassic && current.treatment.includes(kMatrixUniforms) ? mat2LocationsOf(program)
                                                                                           : std::vector<GLint>();
    record.shiftLocation = record.isClassic ? shiftLocationOf(program, stages) : -1;
    if (program == programInUse()) // a link sets uniforms back
        shiftVertices(record);
}

namespace {

/// Keeps a parameter of the geometry stage; false when the value is none that it may have.
bool keepParameter(ProgramRecord& program, GLenum name, GLint value)
{
    const auto isOneOf = [value](std::initializer_list<GLint> values) {
        return std::find(values.begin(), values.end(), value) != values.end();
    };
    switch (name) {
    case GL_GEOMETRY_INPUT_TYPE_EXT:
        program.inputType = value;
        return isOneOf({GL_POINTS, GL_LINES, GL_LINES_ADJACENCY_EXT, GL_TRIANGLES, GL_TRIANGLES_ADJACENCY_EXT});
    case GL_GEOMETRY_OUTPUT_TYPE_EXT:
        program.outputType = value;
        return isOneOf({GL_POINTS, GL_LINE_STRIP, GL_TRIANGLE_STRIP});
    default:
        program.verticesOut = value;
        return 0 <= value && value <= integer(GL_MAX_GEOMETRY_OUTPUT_VERTICES_EXT);
    }
}

} // namespace

void GLAPIENTRY programParameteri(GLuint program, GLenum name, GLint value)
{
    Context& current = process().context();
    const bool ofGeometry = name == GL_GEOMETRY_INPUT_TYPE_EXT || name == GL_GEOMETRY_OUTPUT_TYPE_EXT ||
                            name == GL_GEOMETRY_VERTICES_OUT_EXT;
    const bool isOurs = current.treatment.includes(kGeometryShaders) && ofGeometry;
    if (driver().programParameteri) // for geometry stages that are none of the dialect
        driver().programParameteri(program, name, value);
    else if (!isOurs)
        raise(GL_INVALID_ENUM);
    if (!isOurs)
        return;
    if (!glIsProgram(program)) {
        if (!driver().programParameteri)
            raise(GL_INVALID_VALUE);
        return;
    }
    const ProgramRecord* const known = current.find(program);
    ProgramRecord changed = known ? *known : ProgramRecord();
    if (keepParameter(changed, name, value))
        current.programs[program] = changed;
    else if (!driver().programParameteri)
        raise(GL_INVALID_VALUE);
}

namespace {

/// What the program in use has changed is as it was.
void putAway(Context& current, GLuint program)
{
    if (current.takenOff.program == program)
        putSourcesBack(current);
    current.takenOff = {}; // of another program: then this is another context, at the place of one that is gone
    if (const ProgramRecord* const record = current.find(program))
        shiftVerticesBack(*record);
}

void takeUp(Context& current, GLuint program)
{
    const ProgramRecord* const record = current.find(program);
    if (!record || !record->isClassic)
        return;
    if (current.treatment.includes(kClippingSources))
        takeSourcesOff(current, program);
    shiftVertices(*record);
}

} // namespace

void GLAPIENTRY useProgram(GLuint program)
{
    Context& current = process().context();
    const bool concernsUs = !current.programs.empty() || !current.takenOff.sources.empty();
    if (!concernsUs || isCompilingList()) {
        driver().useProgram(program);
        return;
    }
    putAway(current, programInUse());
    driver().useProgram(program);
    takeUp(current, programInUse()); // the one before, where the driver refuses
    if (!current.deletedInUse.empty())
        current.forgetDeleted();
}

void GLAPIENTRY uniform4f(GLint location, GLfloat x, GLfloat y, GLfloat z, GLfloat w)
{
    Context& current = process().context();
    const ProgramRecord* const program = current.inUse();
    const bool isMat2 = location >= 0 && program &&
                        std::binary_search(program->mat2Locations.begin(), program->mat2Locations.end(), location);
    if (isMat2 && !isCompilingList()) {
        const GLfloat columns[] = {x, y, z, w};
        glUniformMatrix2fv(location, 1, GL_FALSE, columns);
    } else {
        driver().uniform4f(location, x, y, z, w);
    }
}

} // namespace velmor::glsupport::adapter
