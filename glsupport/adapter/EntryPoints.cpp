#include "glsupport/adapter/EntryPoints.h"

#include "glsupport/adapter/ShaderText.h"

#include <GL/glew.h>

#include <EGL/egl.h>
#include <GL/glx.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

namespace velmor::glsupport::adapter {
namespace {

struct Shader
{
    GLenum type;
    std::string text; ///< as the application gave it
};

struct Program
{
    GLint inputType = GL_TRIANGLES;
    GLint outputType = GL_TRIANGLE_STRIP;
    GLint verticesOut = 0;
    std::optional<std::vector<GLint>> mat2Locations; ///< sorted; looked up with the first use after a link
    GLint shiftLocation = -1;                        ///< of the uniform that moves vertices; -1 where there is none
};

struct Attachment
{
    GLenum textureTarget;
    GLuint texture;
    GLint level;
};

/// Colour attachments that are off while a program is in use.
struct TakenOff
{
    GLuint framebuffer = 0;
    std::map<GLenum, Attachment> attachments;
};

struct Context
{
    Adaptations adaptations;
    std::map<GLuint, Shader> shaders;
    std::map<GLuint, Program> programs;
    std::map<GLuint, std::map<GLenum, Attachment>> framebuffers;
    TakenOff takenOff;
    GLuint programInUse = 0;
    Program* inUse = nullptr; ///< what is known of it, looked up with the first uniform that may be adapted
};

std::mutex contextsMutex;
std::map<const void*, Context> contexts;
Adaptations adaptationsOfNewContexts;

/// What is known of the current context. Only the thread that has the context current touches it.
Context& context()
{
    const std::lock_guard<std::mutex> lock(contextsMutex);
    const auto [entry, isNew] = contexts.try_emplace(currentContext());
    if (isNew)
        entry->second.adaptations = adaptationsOfNewContexts;
    return entry->second;
}

bool adapts(const Context& context, Adaptation adaptation)
{
    return (context.adaptations.set & adaptation) != 0;
}

/// The entry points of the driver while ours are in place.
struct Driver
{
    PFNGLSHADERSOURCEPROC shaderSource = nullptr;
    PFNGLCOMPILESHADERPROC compileShader = nullptr;
    PFNGLCREATEPROGRAMPROC createProgram = nullptr;
    PFNGLLINKPROGRAMPROC linkProgram = nullptr;
    PFNGLPROGRAMPARAMETERIEXTPROC programParameteri = nullptr;
    PFNGLUSEPROGRAMPROC useProgram = nullptr;
    PFNGLUNIFORM4FPROC uniform4f = nullptr;
    PFNGLFRAMEBUFFERTEXTURE2DEXTPROC framebufferTexture2D = nullptr;
} driver;

GLint integer(GLenum name)
{
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

// Shader texts

bool compiles(GLuint shader, const std::string& text)
{
    const GLchar* const source = text.c_str();
    driver.shaderSource(shader, 1, &source, nullptr);
    driver.compileShader(shader);
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

/// The text of a geometry shader before its program is known. It takes as many inputs as there can be.
std::string provisionalGeometry(const std::string& text)
{
    return inVersion150(text, {"triangles_adjacency", "points", 1, 1});
}

/// What is compiled in the place of an empty geometry stage, which never gets into a program.
const char* const kPlaceholder = "#version 150 compatibility\n"
                                 "layout(points) in; layout(points, max_vertices = 1) out; void main() {}\n";

bool isLeftOut(const Context& context, const Shader& shader)
{
    return adapts(context, kEmptyGeometry) && shader.type == GL_GEOMETRY_SHADER_EXT && isEmptyText(shader.text);
}

bool isTranslatedGeometry(const Context& context, const Shader& shader)
{
    return adapts(context, kGeometryShaders) && shader.type == GL_GEOMETRY_SHADER_EXT &&
           usesGeometryShader4(shader.text);
}

std::string translated(const Context& context, const Shader& shader, std::string text)
{
    if (adapts(context, kFlatOut) && shader.type == GL_VERTEX_SHADER)
        text = withoutFlatOut(text);
    if (adapts(context, kClassicTexts))
        text = inVersion120(text);
    return text;
}

/// The text with what the driver leaves undefined, or to rounding, made definite.
std::string defined(const Context& context, const Shader& shader, std::string text)
{
    if (adapts(context, kUnwrittenColours) && shader.type == GL_FRAGMENT_SHADER)
        text = withInitialColour(text);
    if (adapts(context, kCornerPoints) && shader.type == GL_VERTEX_SHADER)
        text = withShiftedVertices(text);
    if (adapts(context, kCornerTexels) && shader.type == GL_VERTEX_SHADER)
        text = withInnerTexels(text);
    return text;
}

void GLAPIENTRY shaderSource(GLuint shader, GLsizei count, const GLchar* const* strings, const GLint* lengths)
{
    driver.shaderSource(shader, count, strings, lengths);
    if (count < 0 || !glIsShader(shader))
        return;
    GLint type = 0;
    glGetShaderiv(shader, GL_SHADER_TYPE, &type);
    Shader& record = context().shaders[shader];
    record = {static_cast<GLenum>(type), ""};
    for (GLsizei i = 0; i < count; ++i) {
        if (lengths && lengths[i] >= 0)
            record.text.append(strings[i], static_cast<std::size_t>(lengths[i]));
        else
            record.text.append(strings[i]);
    }
}

void GLAPIENTRY compileShader(GLuint shader)
{
    const Context& current = context();
    const auto entry = current.shaders.find(shader);
    if (entry == current.shaders.end() || !glIsShader(shader)) {
        driver.compileShader(shader);
        return;
    }
    const Shader& record = entry->second;
    if (isLeftOut(current, record)) {
        compiles(shader, kPlaceholder);
        return;
    }
    if (isTranslatedGeometry(current, record)) {
        compiles(shader, provisionalGeometry(record.text));
        return;
    }
    const std::string asGiven = defined(current, record, record.text);
    const std::string asTranslated = translated(current, record, asGiven);
    if (asTranslated == asGiven) {
        compiles(shader, asGiven);
        return;
    }
    // What the driver takes stays as it is.
    const bool stays = current.adaptations.always ? !isTaken(record.type, asTranslated) : isTaken(record.type, asGiven);
    compiles(shader, stays ? asGiven : asTranslated);
}

// Programs

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

std::vector<GLuint> attachedShaders(GLuint program)
{
    GLint count = 0;
    glGetProgramiv(program, GL_ATTACHED_SHADERS, &count);
    std::vector<GLuint> shaders(static_cast<std::size_t>(count));
    glGetAttachedShaders(program, count, &count, shaders.data());
    return shaders;
}

bool isLinked(GLuint program)
{
    GLint status = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &status);
    return status == GL_TRUE;
}

/// Links, with the geometry stage compiled for the parameters of the program. Where the driver refuses so many vertices
/// from one invocation, the work is spread over more and more of them.
void linkWithGeometry(GLuint program, GLuint geometryShader, const std::string& text, const Context& current)
{
    const auto entry = current.programs.find(program);
    const Program parameters = entry != current.programs.end() ? entry->second : Program();
    const auto links = [&](int verticesAnInvocation) {
        compiles(geometryShader,
                 inVersion150(text, {layoutName(parameters.inputType), layoutName(parameters.outputType),
                                     parameters.verticesOut, verticesAnInvocation, adapts(current, kCornerPoints)}));
        driver.linkProgram(program);
        return isLinked(program);
    };
    int share = current.adaptations.verticesAnInvocation;
    bool isDone = links(share);
    for (share = std::min(share, parameters.verticesOut); !isDone && parameters.outputType == GL_POINTS && share > 1;) {
        share /= 2;
        isDone = links(share);
    }
    if (!isDone) // so that the message is about the whole
        links(current.adaptations.verticesAnInvocation);
}

void linkAdapted(GLuint program, const Context& current)
{
    std::vector<GLuint> leftOut;
    GLuint geometryShader = 0;
    for (const GLuint shader : attachedShaders(program)) {
        const auto entry = current.shaders.find(shader);
        if (entry == current.shaders.end())
            continue;
        if (isLeftOut(current, entry->second))
            leftOut.push_back(shader);
        else if (isTranslatedGeometry(current, entry->second))
            geometryShader = shader;
    }
    for (const GLuint shader : leftOut)
        glDetachShader(program, shader);
    if (geometryShader != 0)
        linkWithGeometry(program, geometryShader, current.shaders.at(geometryShader).text, current);
    else
        driver.linkProgram(program);
    for (const GLuint shader : leftOut)
        if (glIsShader(shader)) // one that was to be deleted went when it was detached
            glAttachShader(program, shader);
}

/// The uniform that moves the vertices of a program's last stage before the fragments.
GLint shiftLocationOf(GLuint program, const Context& current)
{
    if (!isLinked(program))
        return -1;
    bool hasGeometry = false;
    for (const GLuint shader : attachedShaders(program)) {
        const auto entry = current.shaders.find(shader);
        if (entry != current.shaders.end() && entry->second.type == GL_GEOMETRY_SHADER_EXT)
            hasGeometry = hasGeometry || !isLeftOut(current, entry->second);
    }
    return glGetUniformLocation(program, hasGeometry ? "velmorEmittedShift" : "velmorVertexShift");
}

GLuint GLAPIENTRY createProgram()
{
    const GLuint program = driver.createProgram();
    context().programs[program] = {}; // nothing of an earlier one by the same name
    return program;
}

void GLAPIENTRY linkProgram(GLuint program)
{
    Context& current = context();
    if ((current.adaptations.set & (kGeometryShaders | kEmptyGeometry)) != 0 && glIsProgram(program))
        linkAdapted(program, current);
    else
        driver.linkProgram(program);
    const auto entry = current.programs.find(program);
    if (entry == current.programs.end())
        return;
    entry->second.mat2Locations.reset();
    entry->second.shiftLocation = adapts(current, kCornerPoints) ? shiftLocationOf(program, current) : -1;
}

/// Keeps a parameter of the geometry stage; false when the value is none that it may have.
bool keepParameter(Program& program, GLenum name, GLint value)
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

void GLAPIENTRY programParameteri(GLuint program, GLenum name, GLint value)
{
    Context& current = context();
    const bool ofGeometry = name == GL_GEOMETRY_INPUT_TYPE_EXT || name == GL_GEOMETRY_OUTPUT_TYPE_EXT ||
                            name == GL_GEOMETRY_VERTICES_OUT_EXT;
    if (!adapts(current, kGeometryShaders) || !ofGeometry) {
        driver.programParameteri ? driver.programParameteri(program, name, value) : raise(GL_INVALID_ENUM);
        return;
    }
    if (!glIsProgram(program)) {
        raise(GL_INVALID_VALUE);
        return;
    }
    Program changed = current.programs[program];
    if (keepParameter(changed, name, value))
        current.programs[program] = changed;
    else
        raise(GL_INVALID_VALUE);
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

/// Whether a uniform of the program in use is a mat2. Looked up once after each link.
bool hasMat2At(Program& program, GLint location)
{
    if (!program.mat2Locations)
        program.mat2Locations = mat2LocationsOf(static_cast<GLuint>(integer(GL_CURRENT_PROGRAM)));
    return std::binary_search(program.mat2Locations->begin(), program.mat2Locations->end(), location);
}

Program* inUse(Context& current)
{
    const GLuint program = current.programInUse;
    if (!current.inUse && program != 0 && adapts(current, kMatrixUniforms) && glIsProgram(program))
        current.inUse = &current.programs[program];
    return current.inUse;
}

void GLAPIENTRY uniform4f(GLint location, GLfloat x, GLfloat y, GLfloat z, GLfloat w)
{
    Program* const program = inUse(context());
    if (location >= 0 && program && hasMat2At(*program, location)) {
        const GLfloat columns[] = {x, y, z, w};
        glUniformMatrix2fv(location, 1, GL_FALSE, columns);
    } else {
        driver.uniform4f(location, x, y, z, w);
    }
}

// Framebuffers

bool isColourAttachment(GLenum attachment)
{
    return GL_COLOR_ATTACHMENT0_EXT <= attachment && attachment <= GL_COLOR_ATTACHMENT15_EXT;
}

struct Size
{
    GLint width = 0;
    GLint height = 0;
};

/// The size of a texture. Cube maps and the like are never taken off: they have none here.
std::optional<Size> sizeOf(const Attachment& attachment)
{
    const bool isRectangle = attachment.textureTarget == GL_TEXTURE_RECTANGLE_ARB;
    if (!isRectangle && attachment.textureTarget != GL_TEXTURE_2D)
        return std::nullopt;
    Size size;
    if (GLEW_VERSION_4_5 || GLEW_ARB_direct_state_access) { // without a change of bindings, which costs the next draw
        glGetTextureLevelParameteriv(attachment.texture, attachment.level, GL_TEXTURE_WIDTH, &size.width);
        glGetTextureLevelParameteriv(attachment.texture, attachment.level, GL_TEXTURE_HEIGHT, &size.height);
        return size;
    }
    const GLint bound = integer(isRectangle ? GL_TEXTURE_BINDING_RECTANGLE_ARB : GL_TEXTURE_BINDING_2D);
    glBindTexture(attachment.textureTarget, attachment.texture);
    glGetTexLevelParameteriv(attachment.textureTarget, attachment.level, GL_TEXTURE_WIDTH, &size.width);
    glGetTexLevelParameteriv(attachment.textureTarget, attachment.level, GL_TEXTURE_HEIGHT, &size.height);
    glBindTexture(attachment.textureTarget, static_cast<GLuint>(bound));
    return size;
}

std::vector<GLenum> drawnAttachments()
{
    std::vector<GLenum> drawn;
    const GLint buffers = integer(GL_MAX_DRAW_BUFFERS);
    for (GLint i = 0; i < buffers; ++i)
        drawn.push_back(static_cast<GLenum>(integer(static_cast<GLenum>(GL_DRAW_BUFFER0 + i))));
    return drawn;
}

/// Whether a texture is still what the framebuffer holds there; a later framebuffer may have the same name.
bool isAttached(GLenum attachment, const Attachment& record)
{
    GLint type = GL_NONE;
    GLint name = 0;
    glGetFramebufferAttachmentParameterivEXT(GL_FRAMEBUFFER_EXT, attachment, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE_EXT,
                                             &type);
    if (type != GL_TEXTURE)
        return false;
    glGetFramebufferAttachmentParameterivEXT(GL_FRAMEBUFFER_EXT, attachment, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME_EXT,
                                             &name);
    return static_cast<GLuint>(name) == record.texture;
}

/// Whether all textures are there and of one size: then none clips, whichever are drawn into.
bool areOfOneSize(const std::map<GLenum, Attachment>& attachments)
{
    std::optional<Size> common;
    for (const auto& entry : attachments) {
        if (!glIsTexture(entry.second.texture))
            return false;
        const std::optional<Size> size = sizeOf(entry.second);
        if (!size || (common && (size->width != common->width || size->height != common->height)))
            return false;
        common = size;
    }
    return true;
}

/// The size of what is drawn into, none where that is no texture.
Size drawnSize(const std::map<GLenum, Attachment>& attachments, const std::vector<GLenum>& drawn)
{
    Size largest;
    for (const auto& [attachment, record] : attachments) {
        if (std::find(drawn.begin(), drawn.end(), attachment) == drawn.end() || !isAttached(attachment, record))
            continue;
        const Size size = sizeOf(record).value_or(Size());
        largest = {std::max(largest.width, size.width), std::max(largest.height, size.height)};
    }
    return largest;
}

/// Takes the attachments off that would make the drawing smaller: those that are not drawn into and are smaller than
/// one that is.
void takeOff(Context& current)
{
    const auto framebuffer = static_cast<GLuint>(integer(GL_FRAMEBUFFER_BINDING_EXT));
    const auto entry = current.framebuffers.find(framebuffer);
    if (framebuffer == 0 || entry == current.framebuffers.end() || entry->second.size() < 2)
        return;
    if (!current.adaptations.always && areOfOneSize(entry->second)) // the common case, which is to cost little
        return;
    const std::vector<GLenum> drawn = drawnAttachments();
    const auto isDrawn = [&](GLenum attachment) {
        return std::find(drawn.begin(), drawn.end(), attachment) != drawn.end();
    };
    const Size largest = drawnSize(entry->second, drawn);
    current.takenOff = {framebuffer, {}};
    for (const auto& [attachment, record] : entry->second) {
        if (isDrawn(attachment) || !isAttached(attachment, record))
            continue;
        const std::optional<Size> size = sizeOf(record);
        const bool clips = size && (size->width < largest.width || size->height < largest.height);
        if (size && (clips || current.adaptations.always)) {
            driver.framebufferTexture2D(GL_FRAMEBUFFER_EXT, attachment, record.textureTarget, 0, 0);
            current.takenOff.attachments.emplace(attachment, record);
        }
    }
}

void putBack(Context& current)
{
    if (current.takenOff.attachments.empty())
        return;
    const TakenOff takenOff = std::move(current.takenOff);
    current.takenOff = {};
    if (!glIsFramebufferEXT(takenOff.framebuffer))
        return;
    const auto bound = static_cast<GLuint>(integer(GL_FRAMEBUFFER_BINDING_EXT));
    const GLenum target = GLEW_VERSION_3_0 ? GL_DRAW_FRAMEBUFFER_EXT : GL_FRAMEBUFFER_EXT;
    if (bound != takenOff.framebuffer)
        glBindFramebufferEXT(target, takenOff.framebuffer);
    for (const auto& [attachment, record] : takenOff.attachments)
        if (glIsTexture(record.texture))
            driver.framebufferTexture2D(target, attachment, record.textureTarget, record.texture, record.level);
    if (bound != takenOff.framebuffer)
        glBindFramebufferEXT(target, bound);
}

void GLAPIENTRY framebufferTexture2D(GLenum target, GLenum attachment, GLenum textureTarget, GLuint texture,
                                     GLint level)
{
    driver.framebufferTexture2D(target, attachment, textureTarget, texture, level);
    Context& current = context();
    const auto framebuffer = static_cast<GLuint>(
        integer(target == GL_READ_FRAMEBUFFER_EXT ? GL_READ_FRAMEBUFFER_BINDING_EXT : GL_FRAMEBUFFER_BINDING_EXT));
    if (framebuffer == 0 || !isColourAttachment(attachment))
        return;
    if (texture != 0)
        current.framebuffers[framebuffer][attachment] = {textureTarget, texture, level};
    else
        current.framebuffers[framebuffer].erase(attachment);
    if (framebuffer == current.takenOff.framebuffer)
        current.takenOff.attachments.erase(attachment);
}

/// Moves what a program draws into textures by an eighth of a pixel to the right and up. The pixels of areas stay:
/// their middles are far from the edges. A point on a corner gets inside a pixel, also where the driver rounds.
void shiftVertices(const Context& current, GLuint program)
{
    const auto known = current.programs.find(program);
    if (known == current.programs.end() || known->second.shiftLocation < 0)
        return;
    const auto entry = current.framebuffers.find(static_cast<GLuint>(integer(GL_FRAMEBUFFER_BINDING_EXT)));
    const Size size = entry != current.framebuffers.end() ? drawnSize(entry->second, drawnAttachments()) : Size();
    const auto eighth = [](GLint pixels) {
        return pixels > 0 ? 0.25f / static_cast<GLfloat>(pixels) : 0.0f;
    };
    glUniform2f(known->second.shiftLocation, eighth(size.width), eighth(size.height));
}

void GLAPIENTRY useProgram(GLuint program)
{
    Context& current = context();
    putBack(current);
    driver.useProgram(program);
    current.programInUse = program;
    current.inUse = nullptr;
    if (program != 0 && adapts(current, kClippingSources))
        takeOff(current);
    if (program != 0 && adapts(current, kCornerPoints))
        shiftVertices(current, program);
}

/// Calls an action with each entry point: GLEW's pointer, where the driver's own is kept, ours, and the adaptations
/// that need it.
template<typename Action>
void forEachEntryPoint(const Action& action)
{
    constexpr unsigned kTexts = kClassicTexts | kFlatOut | kGeometryShaders | kEmptyGeometry | kUnwrittenColours |
                                kCornerPoints | kCornerTexels;
    action(__glewShaderSource, driver.shaderSource, &shaderSource, kTexts);
    action(__glewCompileShader, driver.compileShader, &compileShader, kTexts);
    action(__glewCreateProgram, driver.createProgram, &createProgram,
           kGeometryShaders | kMatrixUniforms | kCornerPoints);
    action(__glewLinkProgram, driver.linkProgram, &linkProgram,
           kGeometryShaders | kEmptyGeometry | kMatrixUniforms | kCornerPoints);
    action(__glewProgramParameteriEXT, driver.programParameteri, &programParameteri, kGeometryShaders);
    action(__glewUseProgram, driver.useProgram, &useProgram, kMatrixUniforms | kClippingSources | kCornerPoints);
    action(__glewUniform4f, driver.uniform4f, &uniform4f, kMatrixUniforms);
    action(__glewFramebufferTexture2DEXT, driver.framebufferTexture2D, &framebufferTexture2D,
           kClippingSources | kCornerPoints);
}

/// Puts ours in place where any context needs them.
void replaceEntryPoints()
{
    const std::lock_guard<std::mutex> lock(contextsMutex);
    unsigned needed = 0;
    for (const auto& entry : contexts)
        needed |= entry.second.adaptations.set;
    forEachEntryPoint([needed](auto& glew, auto& own, auto ours, unsigned adaptationsOfIt) {
        if ((needed & adaptationsOfIt) == 0 || glew == ours)
            return;
        own = glew;
        glew = ours;
    });
}

} // namespace

const void* currentContext()
{
    if (const void* const egl = eglGetCurrentContext())
        return egl;
    return glXGetCurrentContext();
}

void adapt(const Adaptations& adaptations)
{
    context().adaptations = adaptations;
    replaceEntryPoints();
}

void setAdaptationsOfNewContexts(const Adaptations& adaptations)
{
    const std::lock_guard<std::mutex> lock(contextsMutex);
    adaptationsOfNewContexts = adaptations;
}

void forget(const void* context)
{
    const std::lock_guard<std::mutex> lock(contextsMutex);
    contexts.erase(context);
}

void removeAll()
{
    if (currentContext())
        putBack(context());
    forEachEntryPoint([](auto& glew, auto& own, auto ours, unsigned) {
        if (glew == ours)
            glew = own;
    });
    const std::lock_guard<std::mutex> lock(contextsMutex);
    contexts.clear();
    adaptationsOfNewContexts = {};
}

void raise(unsigned error)
{
    switch (error) {
    case GL_INVALID_ENUM:
        glEnable(GL_INVALID_ENUM); // an error's name is no capability
        break;
    case GL_INVALID_VALUE:
        glLineWidth(0.0f);
        break;
    case GL_INVALID_OPERATION:
        glEnd();
        break;
    default: // nothing else can be raised without side effects
        break;
    }
}

} // namespace velmor::glsupport::adapter
