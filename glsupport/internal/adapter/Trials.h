#pragma once

#include <GL/glew.h>

#include <array>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

// What the expectations are tried with: small pictures and programs. All of it changes state that StateGuard keeps, and
// may leave errors in the queue.

namespace velmor::glsupport::adapter {

using Pixel = std::array<unsigned char, 4>;
constexpr Pixel kWhite = {255, 255, 255, 255};
constexpr Pixel kBlack = {0, 0, 0, 0};

/// A rectangle texture of bytes.
class TrialTexture
{
public:
    TrialTexture(GLsizei width, GLsizei height, const Pixel* pixels = nullptr);
    TrialTexture(const TrialTexture&) = delete;
    TrialTexture& operator=(const TrialTexture&) = delete;
    ~TrialTexture() { glDeleteTextures(1, &mName); }

    GLuint name() const { return mName; }
    void bind() const { glBindTexture(GL_TEXTURE_RECTANGLE_ARB, mName); } // as what is read

private:
    GLuint mName = 0;
};

/// A framebuffer to draw into: its destination of a size, and a source of one pixel where one is asked for.
class TrialCanvas
{
public:
    TrialCanvas(GLsizei width, GLsizei height, bool withSource = false);
    TrialCanvas(const TrialCanvas&) = delete;
    TrialCanvas& operator=(const TrialCanvas&) = delete;
    ~TrialCanvas() { glDeleteFramebuffersEXT(1, &mFramebuffer); }

    /// What is wrong with the picture; nothing when it is as expected. The rows are one after the other.
    std::string compare(const std::function<Pixel(GLsizei i)>& expected) const;

private:
    GLsizei mWidth;
    GLsizei mHeight;
    TrialTexture mSource;
    TrialTexture mDestination;
    GLuint mFramebuffer = 0;
};

/// A program of some stages.
class TrialProgram
{
public:
    using Stages = std::initializer_list<std::pair<GLenum, std::string>>;

    /// @param setUp  called with the program before it is linked
    explicit TrialProgram(const Stages& stages, const std::function<void(GLuint)>& setUp = {});
    TrialProgram(const TrialProgram&) = delete;
    TrialProgram& operator=(const TrialProgram&) = delete;
    ~TrialProgram();

    /// Why it cannot be used; nothing when it can.
    const std::string& shortfall() const { return mShortfall; }

    GLint location(const char* uniform) const { return glGetUniformLocation(mName, uniform); }

    void use() const { glUseProgram(mName); }

private:
    TrialProgram() : mName(glCreateProgram()) {}

    void compile(GLenum type, const std::string& text);

    GLuint mName;
    std::vector<GLuint> mShaders;
    std::string mShortfall;
};

/// Draws the whole canvas.
void drawQuad();

/// What a picture is compared with that is all white.
Pixel white(GLsizei i);

/// Draws with a program that makes everything white. What is wrong with it or with the picture.
std::string shortfallOfWhite(const TrialProgram& program);

} // namespace velmor::glsupport::adapter
