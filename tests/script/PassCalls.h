#pragma once

#include "core/cvdata/TextureGpu.h"
#include "tests/script/ScriptTest.h"

#include <string>
#include <vector>

// The calls that filters share, written down as they are to be made.

namespace velmor::tests {

const std::string kGetError = "glGetError()";
const std::string kReadBinding = "glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT)";
const std::string kStatus = "glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT)";

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

inline Calls passCalls(const Pass& pass)
{
    const std::string size = std::to_string(pass.width) + ", " + std::to_string(pass.height);
    Calls sources, samplers, cleanUp;
    for (std::size_t unit = 0; unit < pass.sources.size(); ++unit) {
        const std::string active = "glActiveTexture(GL_TEXTURE" + std::to_string(unit) + ")";
        sources = sources + Calls{active,
                                  "glBindTexture(GL_TEXTURE_RECTANGLE_ARB, " + std::to_string(pass.sources[unit]) + ")",
                                  "glEnable(GL_TEXTURE_RECTANGLE_ARB)"};
        samplers.push_back("glUniform1iARB(" + std::to_string(pass.locations.at(unit)) + ", " + std::to_string(unit) +
                           ")");
        cleanUp = cleanUp + Calls{active, "glDisable(GL_TEXTURE_RECTANGLE_ARB)"};
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
                 "glPolygonMode(GL_FRONT_AND_BACK, GL_FILL)"} +
           pass.beforeDrawing +
           Calls{"glCallList(" + std::to_string(pass.list) + ")", "glFinish()", "glUseProgram(0)"} + cleanUp;
}

} // namespace velmor::tests
