#pragma once

#include "core/cvdata/TextureGpu.h"
#include "tests/script/ScriptTest.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// The calls that filters share, written down as they are to be made.

namespace velmor::tests {

const std::string kGetError = "glGetError()";
const std::string kReadBinding = "glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT)";
const std::string kStatus = "glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT)";

// Names of the first objects in a fresh context, in the order in which a filter makes them. Shaders follow, and then
// the display list.
constexpr GLuint kFramebuffer = 1;
constexpr GLuint kProgram = 2;

inline core::cvdata::TextureGpu texture(unsigned id, unsigned width, unsigned height)
{
    return {id, width, height, GL_UNSIGNED_BYTE, GL_RGB, GL_RGB8, GL_TEXTURE_RECTANGLE_ARB};
}

inline std::string bound(GLuint framebuffer)
{
    return "glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, " + std::to_string(framebuffer) + ")";
}

inline std::string uniformLocation(GLuint program, const std::string& name)
{
    return "glGetUniformLocation(" + std::to_string(program) + ", " + name + ")";
}

// Attachments

inline std::string colourPoint(int point)
{
    return "GL_COLOR_ATTACHMENT" + std::to_string(point) + "_EXT";
}

inline std::string idAt(int point)
{
    return "glGetFramebufferAttachmentParameterivEXT(GL_FRAMEBUFFER_EXT, " + colourPoint(point) +
           ", GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME_EXT)";
}

inline std::string attached(int point, unsigned id)
{
    return "glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, " + colourPoint(point) + ", GL_TEXTURE_RECTANGLE_ARB, " +
           std::to_string(id) + ", 0)";
}

inline std::string typeAt(int point)
{
    return "glGetFramebufferAttachmentParameterivEXT(GL_FRAMEBUFFER_EXT, " + colourPoint(point) +
           ", GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE_EXT)";
}

/// An attachment to the framebuffer that is bound, with the redundancy check of builds with assertions.
inline Calls attachment(int point, unsigned id)
{
#ifdef NDEBUG
    return {kReadBinding, attached(point, id)};
#else
    return {kReadBinding, kReadBinding, idAt(point), attached(point, id)};
#endif
}

/// How a texture is taken off the framebuffer that is bound.
inline Calls detachment(int point)
{
    const std::string off =
        "glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, " + colourPoint(point) + ", GL_TEXTURE_2D, 0, 0)";
#ifdef NDEBUG
    return {kReadBinding, off};
#else
    return {kReadBinding, kReadBinding, idAt(point), off};
#endif
}

// Construction and destruction of the first filter in a context

/// From the checks of the driver to the program that is to be built.
inline Calls programBegun()
{
    return {"glewIsSupported(GL_ARB_texture_rectangle)",
            "glewIsSupported(GL_VERSION_2_0)",
            "glGenFramebuffersEXT(1)",
            kReadBinding,
            bound(kFramebuffer),
            bound(0),
            "glCreateProgram()"};
}

inline Calls shaderAttached(const std::string& type, GLuint shader)
{
    const std::string id = std::to_string(shader);
    return {"glCreateShader(" + type + ")",
            "glShaderSource(" + id + ", 1, text, null)",
            "glCompileShader(" + id + ")",
            "glGetShaderiv(" + id + ", GL_COMPILE_STATUS)",
            kGetError,
            "glGetShaderiv(" + id + ", GL_INFO_LOG_LENGTH)",
            kGetError,
            "glAttachShader(2, " + id + ")",
            kGetError};
}

inline Calls programLinked()
{
    return {"glLinkProgram(2)",
            "glGetProgramiv(2, GL_INFO_LOG_LENGTH)",
            kGetError,
            kGetError,
            "glGetProgramiv(2, GL_LINK_STATUS)",
            "glValidateProgram(2)",
            "glGetProgramiv(2, GL_VALIDATE_STATUS)",
            "glGetProgramiv(2, GL_INFO_LOG_LENGTH)",
            kGetError,
            kGetError};
}

/// Of a filter whose framebuffer object is bound, on a driver of three colour attachments.
/// @param sources  one or two
/// @param shaders  ids, in the order of their texts
inline Calls destruction(std::size_t sources, const std::vector<GLuint>& shaders)
{
    Calls calls = {"glGetIntegerv(GL_MAX_COLOR_ATTACHMENTS_EXT)"};
    for (int point = 0; point < 3; ++point) {
        calls = calls + Calls{kReadBinding, kReadBinding, typeAt(point)};
        if (point < 2 || sources == 2)
            calls = calls + detachment(point);
    }
    calls = calls + Calls{"glDeleteFramebuffersEXT(1, 1)", "glUseProgram(0)", "glDeleteProgram(2)"};
    for (const GLuint shader : shaders)
        calls.push_back("glDeleteShader(" + std::to_string(shader) + ")");
    return calls;
}

/// The first preparation of a filter whose framebuffer object is bound.
/// @param sources             ids of the textures, one or two
/// @param samplers            names that are asked for
/// @param completenessChecks  how often
inline Calls preparation(const std::vector<unsigned>& sources, unsigned destination, const Calls& samplers,
                         int completenessChecks)
{
    Calls calls = attachment(0, sources.front());
    if (sources.size() == 2)
        calls = calls + attachment(2, sources.back());
    calls = calls + attachment(1, destination);
    for (int i = 0; i < completenessChecks; ++i)
        calls = calls + Calls{kReadBinding, kStatus};
    for (const std::string& sampler : samplers)
        calls.push_back(uniformLocation(kProgram, sampler));
    return calls;
}

using Size = std::pair<std::int32_t, std::int32_t>; ///< width and height

/// What a filter holds of its first source and its destination, where a test makes those fields public.
template<typename Filter>
void expectSizes(const Filter& filter, const Size& source, const Size& destination)
{
    EXPECT_EQ(Size(filter.mXresSrcTex1, filter.mYresSrcTex1), source);
    EXPECT_EQ(Size(filter.mXresDstTex1, filter.mYresDstTex1), destination);
}

// Display lists

const std::set<std::string> kGeometry = {"glBegin", "glEnd", "glTexCoord2f", "glVertex2f"};

/// One vertex of a display list, with the texture coordinate before it.
inline Calls corner(int s, int t, int x, int y)
{
    const auto call = [](const std::string& name, int a, int b) {
        return name + "(" + std::to_string(a) + ", " + std::to_string(b) + ")";
    };
    return {call("glTexCoord2f", s, t), call("glVertex2f", x, y)};
}

inline Calls quad(const Calls& first, const Calls& second, const Calls& third, const Calls& fourth)
{
    return Calls{"glBegin(GL_QUADS)"} + first + second + third + fourth + Calls{"glEnd()"};
}

inline Calls stretchedQuad(int sourceWidth, int sourceHeight, int width, int height)
{
    return quad(corner(0, 0, 0, 0), corner(sourceWidth, 0, width, 0), corner(sourceWidth, sourceHeight, width, height),
                corner(0, sourceHeight, 0, height));
}

/// A display list that is built where there was no valid one.
inline Calls compiledList(GLuint list, const Calls& geometry)
{
    return Calls{"glGenLists(1)", "glNewList(" + std::to_string(list) + ", GL_COMPILE)"} + geometry +
           Calls{"glEndList()"};
}

// The pass

/// One pass, from the first checkpoint to the last call.
struct Pass
{
    GLuint framebuffer;
    GLuint program;
    GLuint list;
    std::vector<unsigned> sources; ///< ids of the textures, one or two
    int width;                     ///< of the destination
    int height;
    std::vector<int> locations; ///< of "texUnit0" and "texUnit1"
    Calls listBuilding = {};    ///< when the list is stale
    Calls beforeDrawing = {};   ///< what the filter adds
};

/// From the first checkpoint to the last state before the filter's own uniforms.
inline Calls setUpCalls(const Pass& pass)
{
    const std::string size = std::to_string(pass.width) + ", " + std::to_string(pass.height);
    Calls sources, samplers;
    for (std::size_t unit = 0; unit < pass.sources.size(); ++unit) {
        sources = sources + Calls{"glActiveTexture(GL_TEXTURE" + std::to_string(unit) + ")",
                                  "glBindTexture(GL_TEXTURE_RECTANGLE_ARB, " + std::to_string(pass.sources[unit]) + ")",
                                  "glEnable(GL_TEXTURE_RECTANGLE_ARB)"};
        samplers.push_back("glUniform1iARB(" + std::to_string(pass.locations.at(unit)) + ", " + std::to_string(unit) +
                           ")");
    }
    return Calls{kGetError} + pass.listBuilding +                                                // 0.CP
           Calls{kGetError,                                                                      // 1.CP
                 bound(pass.framebuffer), "glDrawBuffer(GL_COLOR_ATTACHMENT1_EXT)", kGetError} + // 2.CP
           sources +
           Calls{kGetError,                                                         // 3.CP
                 "glUseProgram(" + std::to_string(pass.program) + ")", kGetError} + // 4.CP
           samplers +
           Calls{"glViewport(0, 0, " + size + ")",
                 "glMatrixMode(GL_PROJECTION)",
                 "glLoadIdentity()",
                 "gluOrtho2D(0, " + std::to_string(pass.width) + ", 0, " + std::to_string(pass.height) + ")",
                 "glMatrixMode(GL_MODELVIEW)",
                 "glLoadIdentity()",
                 kGetError, // 5.CP
                 "glDisable(GL_DEPTH_TEST)",
                 "glPolygonMode(GL_FRONT_AND_BACK, GL_FILL)"};
}

inline Calls cleanUpCalls(const Pass& pass)
{
    Calls calls = {"glFinish()", "glUseProgram(0)"};
    for (std::size_t unit = 0; unit < pass.sources.size(); ++unit)
        calls = calls +
                Calls{"glActiveTexture(GL_TEXTURE" + std::to_string(unit) + ")", "glDisable(GL_TEXTURE_RECTANGLE_ARB)"};
    return calls;
}

inline Calls passCalls(const Pass& pass)
{
    return setUpCalls(pass) + pass.beforeDrawing + Calls{"glCallList(" + std::to_string(pass.list) + ")"} +
           cleanUpCalls(pass);
}

} // namespace velmor::tests
