#include "tests/support/ScriptedGl.h"

#include <GL/glu.h>
#include <GL/glut.h>

#include <algorithm>
#include <cstring>
#include <sstream>

namespace velmor::tests {
namespace {

/// An argument that is printed by name.
struct Enum
{
    GLenum value;
};

/// An argument whose small values are primitives, not GL_NONE or GL_ONE.
struct Primitive
{
    GLenum value;
};

/// An argument whose address means nothing outside the process.
struct Pointer
{
    const void* value;
};

const char* enumName(GLenum value)
{
#define VELMOR_NAME(name)                                                                                              \
    case name:                                                                                                         \
        return #name;
    switch (value) {
        VELMOR_NAME(GL_FRAMEBUFFER_EXT)
        VELMOR_NAME(GL_RENDERBUFFER_EXT)
        VELMOR_NAME(GL_FRAMEBUFFER_BINDING_EXT)
        VELMOR_NAME(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE_EXT)
        VELMOR_NAME(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME_EXT)
        VELMOR_NAME(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LEVEL_EXT)
        VELMOR_NAME(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_CUBE_MAP_FACE_EXT)
        VELMOR_NAME(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_3D_ZOFFSET_EXT)
        VELMOR_NAME(GL_MAX_COLOR_ATTACHMENTS_EXT)
        VELMOR_NAME(GL_COLOR_ATTACHMENT0_EXT)
        VELMOR_NAME(GL_COLOR_ATTACHMENT1_EXT)
        VELMOR_NAME(GL_COLOR_ATTACHMENT2_EXT)
        VELMOR_NAME(GL_COLOR_ATTACHMENT3_EXT)
        VELMOR_NAME(GL_COLOR_ATTACHMENT4_EXT)
        VELMOR_NAME(GL_DEPTH_ATTACHMENT_EXT)
        VELMOR_NAME(GL_TEXTURE)
        VELMOR_NAME(GL_TEXTURE_1D)
        VELMOR_NAME(GL_TEXTURE_2D)
        VELMOR_NAME(GL_TEXTURE_3D)
        VELMOR_NAME(GL_TEXTURE_CUBE_MAP_POSITIVE_X)
        VELMOR_NAME(GL_TEXTURE_RECTANGLE_ARB)
        VELMOR_NAME(GL_PROXY_TEXTURE_RECTANGLE_ARB)
        VELMOR_NAME(GL_TEXTURE_BINDING_RECTANGLE_ARB)
        VELMOR_NAME(GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB)
        VELMOR_NAME(GL_TEXTURE0)
        VELMOR_NAME(GL_TEXTURE1)
        VELMOR_NAME(GL_TEXTURE_WIDTH)
        VELMOR_NAME(GL_TEXTURE_SWIZZLE_RGBA)
        VELMOR_NAME(GL_DEPTH_TEST)
        VELMOR_NAME(GL_PROJECTION)
        VELMOR_NAME(GL_MODELVIEW)
        VELMOR_NAME(GL_COMPILE)
        VELMOR_NAME(GL_FRONT_AND_BACK)
        VELMOR_NAME(GL_FILL)
        VELMOR_NAME(GL_VERTEX_SHADER)
        VELMOR_NAME(GL_FRAGMENT_SHADER)
        VELMOR_NAME(GL_GEOMETRY_SHADER_EXT)
        VELMOR_NAME(GL_COMPILE_STATUS)
        VELMOR_NAME(GL_LINK_STATUS)
        VELMOR_NAME(GL_VALIDATE_STATUS)
        VELMOR_NAME(GL_INFO_LOG_LENGTH)
        VELMOR_NAME(GL_VERSION)
        VELMOR_NAME(GL_SHADING_LANGUAGE_VERSION)
        VELMOR_NAME(GL_EXTENSIONS)
        VELMOR_NAME(GL_BLEND)
        VELMOR_NAME(GL_BLEND_SRC)
        VELMOR_NAME(GL_BLEND_DST)
        VELMOR_NAME(GL_BLEND_EQUATION)
        VELMOR_NAME(GL_FUNC_ADD)
        VELMOR_NAME(GL_FUNC_SUBTRACT)
        VELMOR_NAME(GL_SRC_ALPHA)
        VELMOR_NAME(GL_CLAMP_VERTEX_COLOR_ARB)
        VELMOR_NAME(GL_CLAMP_FRAGMENT_COLOR_ARB)
        VELMOR_NAME(GL_CLAMP_READ_COLOR_ARB)
        VELMOR_NAME(GL_GEOMETRY_INPUT_TYPE_EXT)
        VELMOR_NAME(GL_GEOMETRY_OUTPUT_TYPE_EXT)
        VELMOR_NAME(GL_GEOMETRY_VERTICES_OUT_EXT)
        VELMOR_NAME(GL_MAX_GEOMETRY_OUTPUT_VERTICES_EXT)
        VELMOR_NAME(GL_BACK)
        VELMOR_NAME(GL_READ_BUFFER)
        VELMOR_NAME(GL_RGBA)
        VELMOR_NAME(GL_RGB)
        VELMOR_NAME(GL_RED)
        VELMOR_NAME(GL_LUMINANCE)
        VELMOR_NAME(GL_RED_INTEGER_EXT)
        VELMOR_NAME(GL_FLOAT)
        VELMOR_NAME(GL_UNSIGNED_BYTE)
        VELMOR_NAME(GL_UNSIGNED_INT)
    default:
        return nullptr;
    }
#undef VELMOR_NAME
}

std::ostream& operator<<(std::ostream& stream, Enum argument)
{
    if (const char* const name = enumName(argument.value))
        return stream << name;
    return stream << "0x" << std::hex << argument.value << std::dec;
}

std::ostream& operator<<(std::ostream& stream, Primitive argument)
{
    switch (argument.value) {
    case GL_POINTS:
        return stream << "GL_POINTS";
    case GL_QUADS:
        return stream << "GL_QUADS";
    default:
        return stream << argument.value;
    }
}

/// An argument whose small values are blend factors.
struct BlendFactor
{
    GLenum value;
};

std::ostream& operator<<(std::ostream& stream, BlendFactor argument)
{
    switch (argument.value) {
    case GL_ZERO:
        return stream << "GL_ZERO";
    case GL_ONE:
        return stream << "GL_ONE";
    default:
        return stream << Enum{argument.value};
    }
}

std::ostream& operator<<(std::ostream& stream, Pointer argument)
{
    return stream << (argument.value ? "data" : "null");
}

ScriptedGl& gl()
{
    return ScriptedGl::instance();
}

const GLubyte* driverText(const std::optional<const char*>& text)
{
    return reinterpret_cast<const GLubyte*>(text.value_or(nullptr));
}

GLint logLength(const std::string& log)
{
    return gl().infoLogLength.value_or(log.empty() ? 0 : static_cast<GLint>(log.size() + 1));
}

void copyLog(const std::string& log, GLsizei room, GLsizei* written, GLchar* text)
{
    const std::size_t length = std::min(log.size(), static_cast<std::size_t>(room) - 1);
    std::memcpy(text, log.data(), length);
    text[length] = '\0';
    *written = static_cast<GLsizei>(length);
}

} // namespace

ScriptedGl& ScriptedGl::instance()
{
    static ScriptedGl scripted;
    return scripted;
}

std::vector<std::string> ScriptedGl::take()
{
    std::vector<std::string> calls;
    calls.swap(mCalls);
    return calls;
}

std::vector<std::string> ScriptedGl::takeOnly(const std::set<std::string>& functions)
{
    std::vector<std::string> calls = take();
    calls.erase(
        std::remove_if(calls.begin(), calls.end(),
                       [&](const std::string& each) { return !functions.count(each.substr(0, each.find('('))); }),
        calls.end());
    return calls;
}

template<typename... Arguments>
void ScriptedGl::call(const char* function, const Arguments&... arguments)
{
    if (onCall)
        onCall(function);
    const auto error = errorOfCall.find(function);
    if (error != errorOfCall.end())
        errors.push_back(error->second);
    if (!recording)
        return;
    std::ostringstream text;
    [[maybe_unused]] const char* separator = "";
    text << function << '(';
    ((text << separator << arguments, separator = ", "), ...);
    text << ')';
    mCalls.push_back(text.str());
}

GLuint ScriptedGl::newName(std::set<GLuint>& names)
{
    names.insert(++mLastName);
    return mLastName;
}

// The entry points that programs are linked with.

extern "C" {

void GLAPIENTRY glBegin(GLenum mode)
{
    gl().call("glBegin", Primitive{mode});
}

void GLAPIENTRY glEnd()
{
    gl().call("glEnd");
}

void GLAPIENTRY glVertex2f(GLfloat x, GLfloat y)
{
    gl().call("glVertex2f", x, y);
}

void GLAPIENTRY glTexCoord2f(GLfloat s, GLfloat t)
{
    gl().call("glTexCoord2f", s, t);
}

GLuint GLAPIENTRY glGenLists(GLsizei range)
{
    gl().call("glGenLists", range);
    return gl().newName(gl().displayLists);
}

void GLAPIENTRY glNewList(GLuint list, GLenum mode)
{
    gl().call("glNewList", list, Enum{mode});
}

void GLAPIENTRY glEndList()
{
    gl().call("glEndList");
}

void GLAPIENTRY glCallList(GLuint list)
{
    gl().call("glCallList", list);
}

void GLAPIENTRY glDeleteLists(GLuint list, GLsizei range)
{
    gl().call("glDeleteLists", list, range);
    gl().displayLists.erase(list);
}

void GLAPIENTRY glBindTexture(GLenum target, GLuint texture)
{
    gl().call("glBindTexture", Enum{target}, texture);
}

void GLAPIENTRY glEnable(GLenum capability)
{
    gl().call("glEnable", Enum{capability});
    gl().enabled.insert(capability);
}

void GLAPIENTRY glDisable(GLenum capability)
{
    gl().call("glDisable", Enum{capability});
    gl().enabled.erase(capability);
}

void GLAPIENTRY glDrawBuffer(GLenum mode)
{
    gl().call("glDrawBuffer", Enum{mode});
}

void GLAPIENTRY glFinish()
{
    gl().call("glFinish");
}

GLenum GLAPIENTRY glGetError()
{
    gl().call("glGetError");
    if (gl().errors.empty())
        return GL_NO_ERROR;
    const GLenum error = gl().errors.front();
    gl().errors.pop_front();
    return error;
}

void GLAPIENTRY glGetIntegerv(GLenum name, GLint* value)
{
    gl().call("glGetIntegerv", Enum{name});
    switch (name) {
    case GL_FRAMEBUFFER_BINDING_EXT:
        *value = gl().framebufferBinding;
        break;
    case GL_MAX_COLOR_ATTACHMENTS_EXT:
        *value = gl().maxColorAttachments;
        break;
    case GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB:
        *value = gl().maxRectangleTextureSize;
        break;
    default: {
        const auto answer = gl().integers.find(name);
        *value = answer == gl().integers.end() ? 0 : answer->second;
    }
    }
}

GLboolean GLAPIENTRY glIsEnabled(GLenum capability)
{
    gl().call("glIsEnabled", Enum{capability});
    return gl().enabled.count(capability) != 0;
}

void GLAPIENTRY glBlendFunc(GLenum source, GLenum destination)
{
    gl().call("glBlendFunc", BlendFactor{source}, BlendFactor{destination});
}

void GLAPIENTRY glClear(GLbitfield mask)
{
    gl().call("glClear", mask == GL_COLOR_BUFFER_BIT ? "GL_COLOR_BUFFER_BIT" : "other bits");
}

void GLAPIENTRY glClearColor(GLclampf red, GLclampf green, GLclampf blue, GLclampf alpha)
{
    gl().call("glClearColor", red, green, blue, alpha);
}

void GLAPIENTRY glColor3f(GLfloat red, GLfloat green, GLfloat blue)
{
    gl().call("glColor3f", red, green, blue);
}

void GLAPIENTRY glColor4f(GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha)
{
    gl().call("glColor4f", red, green, blue, alpha);
}

void GLAPIENTRY glVertex3f(GLfloat x, GLfloat y, GLfloat z)
{
    gl().call("glVertex3f", x, y, z);
}

void GLAPIENTRY glReadBuffer(GLenum mode)
{
    gl().call("glReadBuffer", Enum{mode});
}

void GLAPIENTRY glReadPixels(GLint x, GLint y, GLsizei width, GLsizei height, GLenum format, GLenum type, void* pixels)
{
    gl().call("glReadPixels", x, y, width, height, Enum{format}, Enum{type}, Pointer{pixels});
    if (gl().readPixels)
        gl().readPixels(width, pixels);
}

void GLAPIENTRY glutReshapeWindow(int width, int height)
{
    gl().call("glutReshapeWindow", width, height);
}

void GLAPIENTRY glutShowWindow()
{
    gl().call("glutShowWindow");
}

void GLAPIENTRY glutSwapBuffers()
{
    gl().call("glutSwapBuffers");
}

const GLubyte* GLAPIENTRY glGetString(GLenum name)
{
    gl().call("glGetString", Enum{name});
    switch (name) {
    case GL_VERSION:
        return driverText(gl().version);
    case GL_SHADING_LANGUAGE_VERSION:
        return driverText(gl().glslVersion);
    case GL_EXTENSIONS:
        return driverText(gl().extensions);
    default:
        return nullptr;
    }
}

void GLAPIENTRY glLoadIdentity()
{
    gl().call("glLoadIdentity");
}

void GLAPIENTRY glMatrixMode(GLenum mode)
{
    gl().call("glMatrixMode", Enum{mode});
}

void GLAPIENTRY glPolygonMode(GLenum face, GLenum mode)
{
    gl().call("glPolygonMode", Enum{face}, Enum{mode});
}

void GLAPIENTRY glViewport(GLint x, GLint y, GLsizei width, GLsizei height)
{
    gl().call("glViewport", x, y, width, height);
}

void GLAPIENTRY glGenTextures(GLsizei count, GLuint* textures)
{
    gl().call("glGenTextures", count);
    for (GLsizei i = 0; i < count; ++i)
        textures[i] = gl().newName(gl().textures);
}

void GLAPIENTRY glDeleteTextures(GLsizei count, const GLuint* textures)
{
    gl().call("glDeleteTextures", count, textures[0]);
    for (GLsizei i = 0; i < count; ++i)
        gl().textures.erase(textures[i]);
}

void GLAPIENTRY glTexParameteri(GLenum target, GLenum name, GLint value)
{
    gl().call("glTexParameteri", Enum{target}, Enum{name}, value);
}

void GLAPIENTRY glTexParameteriv(GLenum target, GLenum name, const GLint* values)
{
    gl().call("glTexParameteriv", Enum{target}, Enum{name}, values[0], values[1], values[2], values[3]);
}

void GLAPIENTRY glTexImage2D(GLenum target, GLint level, GLint internalFormat, GLsizei width, GLsizei height,
                             GLint border, GLenum format, GLenum type, const void* pixels)
{
    gl().call("glTexImage2D", Enum{target}, level, internalFormat, width, height, border, Enum{format}, Enum{type},
              Pointer{pixels});
    const bool proxy = target == GL_PROXY_TEXTURE_RECTANGLE_ARB;
    gl().levelWidth = proxy || !gl().refusesTextures ? width : 0;
}

void GLAPIENTRY glTexSubImage2D(GLenum target, GLint level, GLint x, GLint y, GLsizei width, GLsizei height,
                                GLenum format, GLenum type, const void* pixels)
{
    gl().call("glTexSubImage2D", Enum{target}, level, x, y, width, height, Enum{format}, Enum{type}, Pointer{pixels});
}

void GLAPIENTRY glGetTexImage(GLenum target, GLint level, GLenum format, GLenum type, void* pixels)
{
    gl().call("glGetTexImage", Enum{target}, level, Enum{format}, Enum{type}, Pointer{pixels});
}

void GLAPIENTRY glGetTexLevelParameteriv(GLenum target, GLint level, GLenum name, GLint* value)
{
    gl().call("glGetTexLevelParameteriv", Enum{target}, level, Enum{name});
    *value = gl().levelWidth;
}

void GLAPIENTRY glPixelStorei(GLenum name, GLint value)
{
    gl().call("glPixelStorei", Enum{name}, value);
}

void GLAPIENTRY gluOrtho2D(GLdouble left, GLdouble right, GLdouble bottom, GLdouble top)
{
    gl().call("gluOrtho2D", left, right, bottom, top);
}

const GLubyte* GLAPIENTRY gluErrorString(GLenum error)
{
    const char* text = nullptr;
    switch (error) {
    case GL_INVALID_ENUM:
        text = "invalid enumerant";
        break;
    case GL_INVALID_VALUE:
        text = "invalid value";
        break;
    case GL_INVALID_OPERATION:
        text = "invalid operation";
        break;
    }
    return reinterpret_cast<const GLubyte*>(text);
}

GLboolean GLAPIENTRY glewIsSupported(const char* name)
{
    gl().call("glewIsSupported", name);
    return gl().unsupported.count(name) == 0;
}

} // extern "C"

// The entry points that GLEW has as pointers.

namespace {

void GLAPIENTRY ActiveTexture(GLenum unit)
{
    gl().call("glActiveTexture", Enum{unit});
}

void GLAPIENTRY AttachShader(GLuint program, GLuint shader)
{
    gl().call("glAttachShader", program, shader);
}

void GLAPIENTRY BindBuffer(GLenum target, GLuint buffer)
{
    gl().call("glBindBuffer", Enum{target}, buffer);
}

void GLAPIENTRY BindFramebufferEXT(GLenum target, GLuint framebuffer)
{
    gl().call("glBindFramebufferEXT", Enum{target}, framebuffer);
    gl().framebufferBinding = static_cast<GLint>(framebuffer);
}

GLenum GLAPIENTRY CheckFramebufferStatusEXT(GLenum target)
{
    gl().call("glCheckFramebufferStatusEXT", Enum{target});
    return gl().framebufferStatus;
}

void GLAPIENTRY CompileShader(GLuint shader)
{
    gl().call("glCompileShader", shader);
}

GLuint GLAPIENTRY CreateProgram()
{
    gl().call("glCreateProgram");
    return gl().newName(gl().programs);
}

GLuint GLAPIENTRY CreateShader(GLenum type)
{
    gl().call("glCreateShader", Enum{type});
    return gl().newName(gl().shaders);
}

void GLAPIENTRY DeleteFramebuffersEXT(GLsizei count, const GLuint* framebuffers)
{
    gl().call("glDeleteFramebuffersEXT", count, framebuffers[0]);
    for (GLsizei i = 0; i < count; ++i)
        gl().framebuffers.erase(framebuffers[i]);
}

void GLAPIENTRY DeleteProgram(GLuint program)
{
    gl().call("glDeleteProgram", program);
    gl().programs.erase(program);
}

void GLAPIENTRY DeleteShader(GLuint shader)
{
    gl().call("glDeleteShader", shader);
    gl().shaders.erase(shader);
}

void GLAPIENTRY FramebufferRenderbufferEXT(GLenum target, GLenum attachment, GLenum bufferTarget, GLuint buffer)
{
    gl().call("glFramebufferRenderbufferEXT", Enum{target}, Enum{attachment}, Enum{bufferTarget}, buffer);
    gl().boundAttachment(attachment) = {buffer ? static_cast<GLenum>(GL_RENDERBUFFER_EXT) : GL_NONE, buffer};
}

void attachTexture(GLenum attachment, GLuint texture)
{
    gl().boundAttachment(attachment) = {texture ? static_cast<GLenum>(GL_TEXTURE) : GL_NONE, texture};
}

void GLAPIENTRY FramebufferTexture1DEXT(GLenum target, GLenum attachment, GLenum texTarget, GLuint texture, GLint level)
{
    gl().call("glFramebufferTexture1DEXT", Enum{target}, Enum{attachment}, Enum{texTarget}, texture, level);
    attachTexture(attachment, texture);
}

void GLAPIENTRY FramebufferTexture2DEXT(GLenum target, GLenum attachment, GLenum texTarget, GLuint texture, GLint level)
{
    gl().call("glFramebufferTexture2DEXT", Enum{target}, Enum{attachment}, Enum{texTarget}, texture, level);
    attachTexture(attachment, texture);
}

void GLAPIENTRY FramebufferTexture3DEXT(GLenum target, GLenum attachment, GLenum texTarget, GLuint texture, GLint level,
                                        GLint slice)
{
    gl().call("glFramebufferTexture3DEXT", Enum{target}, Enum{attachment}, Enum{texTarget}, texture, level, slice);
    attachTexture(attachment, texture);
}

void GLAPIENTRY GenFramebuffersEXT(GLsizei count, GLuint* framebuffers)
{
    gl().call("glGenFramebuffersEXT", count);
    for (GLsizei i = 0; i < count; ++i)
        framebuffers[i] = gl().newName(gl().framebuffers);
}

void GLAPIENTRY GetFramebufferAttachmentParameterivEXT(GLenum target, GLenum attachment, GLenum name, GLint* value)
{
    gl().call("glGetFramebufferAttachmentParameterivEXT", Enum{target}, Enum{attachment}, Enum{name});
    const ScriptedGl::Attachment attached = gl().boundAttachment(attachment);
    if (name == GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE_EXT)
        *value = static_cast<GLint>(gl().attachedType.value_or(attached.type));
    else if (name == GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME_EXT)
        *value = static_cast<GLint>(attached.id);
    else if (attached.type == GL_NONE)
        gl().errors.push_back(GL_INVALID_ENUM);
}

void GLAPIENTRY GetProgramInfoLog(GLuint program, GLsizei room, GLsizei* written, GLchar* text)
{
    gl().call("glGetProgramInfoLog", program, room);
    copyLog(gl().programLog, room, written, text);
}

void GLAPIENTRY GetProgramiv(GLuint program, GLenum name, GLint* value)
{
    gl().call("glGetProgramiv", program, Enum{name});
    switch (name) {
    case GL_LINK_STATUS:
        *value = gl().links;
        break;
    case GL_VALIDATE_STATUS:
        *value = gl().validates;
        break;
    case GL_INFO_LOG_LENGTH:
        *value = logLength(gl().programLog);
        break;
    default:
        *value = 0;
    }
}

void GLAPIENTRY GetShaderInfoLog(GLuint shader, GLsizei room, GLsizei* written, GLchar* text)
{
    gl().call("glGetShaderInfoLog", shader, room);
    copyLog(gl().shaderLog, room, written, text);
}

void GLAPIENTRY GetShaderiv(GLuint shader, GLenum name, GLint* value)
{
    gl().call("glGetShaderiv", shader, Enum{name});
    switch (name) {
    case GL_COMPILE_STATUS:
        *value = gl().compiles;
        break;
    case GL_INFO_LOG_LENGTH:
        *value = logLength(gl().shaderLog);
        break;
    default:
        *value = 0;
    }
}

GLint GLAPIENTRY GetUniformLocation(GLuint program, const GLchar* name)
{
    gl().call("glGetUniformLocation", program, name);
    const auto location = gl().uniformLocations.find(name);
    return location == gl().uniformLocations.end() ? -1 : location->second;
}

GLboolean GLAPIENTRY IsBuffer(GLuint buffer)
{
    gl().call("glIsBuffer", buffer);
    return buffer != 0;
}

void GLAPIENTRY LinkProgram(GLuint program)
{
    gl().call("glLinkProgram", program);
}

void GLAPIENTRY ShaderSource(GLuint shader, GLsizei count, const GLchar* const* texts, const GLint* lengths)
{
    gl().call("glShaderSource", shader, count, "text", Pointer{lengths});
    gl().shaderSources[shader] = texts[0];
}

void GLAPIENTRY BindFragDataLocationEXT(GLuint program, GLuint number, const GLchar* name)
{
    gl().call("glBindFragDataLocationEXT", program, number, name);
}

void GLAPIENTRY BlendEquation(GLenum mode)
{
    gl().call("glBlendEquation", Enum{mode});
}

void GLAPIENTRY ClampColorARB(GLenum target, GLenum clamp)
{
    gl().call("glClampColorARB", Enum{target}, clamp);
}

void GLAPIENTRY MultiTexCoord4f(GLenum unit, GLfloat s, GLfloat t, GLfloat r, GLfloat q)
{
    gl().call("glMultiTexCoord4f", Enum{unit}, s, t, r, q);
}

void GLAPIENTRY ProgramParameteriEXT(GLuint program, GLenum name, GLint value)
{
    if (name == GL_GEOMETRY_VERTICES_OUT_EXT)
        gl().call("glProgramParameteriEXT", program, Enum{name}, value);
    else
        gl().call("glProgramParameteriEXT", program, Enum{name}, Primitive{static_cast<GLenum>(value)});
}

void GLAPIENTRY Uniform1f(GLint location, GLfloat value)
{
    gl().call("glUniform1f", location, value);
}

void GLAPIENTRY Uniform1i(GLint location, GLint value)
{
    gl().call("glUniform1i", location, value);
}

void GLAPIENTRY Uniform1iARB(GLint location, GLint value)
{
    gl().call("glUniform1iARB", location, value);
}

void GLAPIENTRY Uniform2f(GLint location, GLfloat x, GLfloat y)
{
    gl().call("glUniform2f", location, x, y);
}

void GLAPIENTRY Uniform4f(GLint location, GLfloat x, GLfloat y, GLfloat z, GLfloat w)
{
    gl().call("glUniform4f", location, x, y, z, w);
}

void GLAPIENTRY UseProgram(GLuint program)
{
    gl().call("glUseProgram", program);
}

void GLAPIENTRY ValidateProgram(GLuint program)
{
    gl().call("glValidateProgram", program);
}

} // namespace
} // namespace velmor::tests

extern "C" {

#define VELMOR_ENTRY(name) decltype(__glew##name) __glew##name = velmor::tests::name;
VELMOR_ENTRY(ActiveTexture)
VELMOR_ENTRY(AttachShader)
VELMOR_ENTRY(BindBuffer)
VELMOR_ENTRY(BindFramebufferEXT)
VELMOR_ENTRY(CheckFramebufferStatusEXT)
VELMOR_ENTRY(CompileShader)
VELMOR_ENTRY(CreateProgram)
VELMOR_ENTRY(CreateShader)
VELMOR_ENTRY(DeleteFramebuffersEXT)
VELMOR_ENTRY(DeleteProgram)
VELMOR_ENTRY(DeleteShader)
VELMOR_ENTRY(FramebufferRenderbufferEXT)
VELMOR_ENTRY(FramebufferTexture1DEXT)
VELMOR_ENTRY(FramebufferTexture2DEXT)
VELMOR_ENTRY(FramebufferTexture3DEXT)
VELMOR_ENTRY(GenFramebuffersEXT)
VELMOR_ENTRY(GetFramebufferAttachmentParameterivEXT)
VELMOR_ENTRY(GetProgramInfoLog)
VELMOR_ENTRY(GetProgramiv)
VELMOR_ENTRY(GetShaderInfoLog)
VELMOR_ENTRY(GetShaderiv)
VELMOR_ENTRY(GetUniformLocation)
VELMOR_ENTRY(IsBuffer)
VELMOR_ENTRY(LinkProgram)
VELMOR_ENTRY(ShaderSource)
VELMOR_ENTRY(BindFragDataLocationEXT)
VELMOR_ENTRY(BlendEquation)
VELMOR_ENTRY(ClampColorARB)
VELMOR_ENTRY(MultiTexCoord4f)
VELMOR_ENTRY(ProgramParameteriEXT)
VELMOR_ENTRY(Uniform1f)
VELMOR_ENTRY(Uniform1i)
VELMOR_ENTRY(Uniform1iARB)
VELMOR_ENTRY(Uniform2f)
VELMOR_ENTRY(Uniform4f)
VELMOR_ENTRY(UseProgram)
VELMOR_ENTRY(ValidateProgram)
#undef VELMOR_ENTRY

GLboolean __GLEW_VERSION_2_1 = GL_TRUE;
GLboolean __GLEW_VERSION_3_0 = GL_TRUE;
GLboolean __GLEW_VERSION_3_3 = GL_TRUE;
GLboolean __GLEW_ARB_pixel_buffer_object = GL_TRUE;
GLboolean __GLEW_ARB_texture_rg = GL_TRUE;
GLboolean __GLEW_ARB_texture_swizzle = GL_TRUE;
GLboolean __GLEW_EXT_texture_swizzle = GL_TRUE;

} // extern "C"
