#include "glsupport/internal/adapter/Links.h"

#include "glsupport/internal/adapter/Framebuffers.h"
#include "glsupport/internal/adapter/GeometryParameters.h"
#include "glsupport/internal/adapter/MatrixUniforms.h"
#include "glsupport/internal/adapter/Process.h"
#include "glsupport/internal/adapter/ShaderText.h"
#include "glsupport/internal/adapter/Shaders.h"

#include <algorithm>
#include <string>
#include <vector>

namespace velmor::glsupport::adapter {
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
    return isPlaceholder(stage.text);
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
    std::vector<GLuint> linked;
    linked.reserve(stages.size());                  // nothing throws while the program has other shaders than its own
    const GLuint holder = driver().createProgram(); // keeps shaders that were deleted while they were attached
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
        const GeometryLayout layout = layoutOf(parameters, verticesAnInvocation, treatment.includes(kCornerPoints));
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

} // namespace velmor::glsupport::adapter
