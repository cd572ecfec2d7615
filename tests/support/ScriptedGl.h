#pragma once

#include <GL/glew.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace velmor::tests {

/// The OpenGL that the script tests are linked with in place of the real one.
///
/// It records every call with its arguments, keeps as much state as the library asks back for (object names, bindings,
/// attachments), and answers everything else from the fields below, which a test sets. So it can be what no driver can
/// be made to be: an old version, an incomplete framebuffer, a link failure, a full error queue.
class ScriptedGl
{
public:
    static ScriptedGl& instance();

    /// A fresh context: nothing recorded, nothing made, every answer a success.
    void reset() { *this = ScriptedGl(); }

    /// The calls since the last take(), such as "glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 1)".
    std::vector<std::string> take();

    /// The calls since the last take() that are of the functions given.
    std::vector<std::string> takeOnly(const std::set<std::string>& functions);

    // What it answers.
    std::set<std::string> unsupported;         ///< for glewIsSupported()
    std::deque<GLenum> errors;                 ///< for glGetError(), front first
    std::map<std::string, GLenum> errorOfCall; ///< a call of this function queues this error
    GLenum framebufferStatus = GL_FRAMEBUFFER_COMPLETE_EXT;
    std::optional<GLenum> attachedType; ///< instead of the type that was attached
    GLint maxColorAttachments = 4;
    GLint maxRectangleTextureSize = 16384;
    bool compiles = true;
    bool links = true;
    bool validates = true;
    std::string shaderLog;
    std::string programLog;
    std::optional<GLint> infoLogLength; ///< instead of the length of the log
    std::optional<const char*> version = "4.5 (Compatibility Profile) scripted";
    std::optional<const char*> glslVersion = "4.50";
    std::optional<const char*> extensions = "GL_ARB_texture_rectangle";
    std::map<std::string, GLint> uniformLocations; ///< -1 for any other name
    bool refusesTextures = false;                  ///< texture levels stay undefined

    std::map<GLenum, GLint> integers;               ///< for glGetIntegerv(), 0 for any other name
    std::function<void(GLsizei, void*)> readPixels; ///< fills what glReadPixels() reads, a row of that width

    std::function<void(const std::string& function)> onCall; ///< runs first in every call

    // What it knows.
    std::set<GLenum> enabled;
    GLint framebufferBinding = 0;
    std::set<GLuint> framebuffers;
    std::set<GLuint> programs;
    std::set<GLuint> shaders;
    std::set<GLuint> textures;
    std::set<GLuint> displayLists;
    std::map<GLuint, std::string> shaderSources;

    struct Attachment
    {
        GLenum type = GL_NONE;
        GLuint id = 0;
    };
    std::map<GLint, std::map<GLenum, Attachment>> attachments; ///< by framebuffer and attachment point

    bool recording = true;

    // For the entry points.
    template<typename... Arguments>
    void call(const char* function, const Arguments&... arguments);
    GLuint newName(std::set<GLuint>& names);
    Attachment& boundAttachment(GLenum attachment) { return attachments[framebufferBinding][attachment]; }
    GLsizei levelWidth = 0; ///< of the level defined last

private:
    std::vector<std::string> mCalls;
    GLuint mLastName = 0;
};

} // namespace velmor::tests
