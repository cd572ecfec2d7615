#include "glsupport/internal/adapter/Trials.h"

#include "glsupport/internal/InfoLog.h"

#include <algorithm>

namespace velmor::glsupport::adapter {
namespace {

constexpr GLenum kSourceAttachment = GL_COLOR_ATTACHMENT0_EXT;
constexpr GLenum kDestinationAttachment = GL_COLOR_ATTACHMENT1_EXT;

/// The line of a message that names an error, or else the first.
std::string reasonIn(const std::string& text)
{
    const std::size_t error = std::min(text.find("error"), text.size());
    const std::size_t begin = error == text.size() ? 0 : text.rfind('\n', error) + 1;
    const std::string line = text.substr(begin, text.find('\n', begin) - begin);
    return line.empty() ? "no reason given" : line;
}

void attach(GLenum attachment, const TrialTexture& texture)
{
    glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, attachment, GL_TEXTURE_RECTANGLE_ARB, texture.name(), 0);
}

} // namespace

TrialTexture::TrialTexture(GLsizei width, GLsizei height, const Pixel* pixels)
{
    glGenTextures(1, &mName);
    glBindTexture(GL_TEXTURE_RECTANGLE_ARB, mName);
    glTexParameteri(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_RECTANGLE_ARB, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexImage2D(GL_TEXTURE_RECTANGLE_ARB, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
}

TrialCanvas::TrialCanvas(GLsizei width, GLsizei height, bool withSource)
    : mWidth(width), mHeight(height), mSource(1, 1), mDestination(width, height)
{
    glGenFramebuffersEXT(1, &mFramebuffer);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, mFramebuffer);
    if (withSource) {
        attach(kSourceAttachment, mSource);
        mSource.bind();
    }
    attach(kDestinationAttachment, mDestination);
    glDrawBuffer(kDestinationAttachment);
    glReadBuffer(kDestinationAttachment);
    glViewport(0, 0, width, height);
    glDisable(GL_DEPTH_TEST);
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    for (const GLenum mode : std::initializer_list<GLenum>{GL_PROJECTION, GL_MODELVIEW}) {
        glMatrixMode(mode);
        glLoadIdentity();
    }
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    glClearColor(0.5f, 0.5f, 0.5f, 0.5f); // what no trial draws
    glClear(GL_COLOR_BUFFER_BIT);
}

std::string TrialCanvas::compare(const std::function<Pixel(GLsizei i)>& expected) const
{
    std::vector<Pixel> pixels(static_cast<std::size_t>(mWidth * mHeight));
    glReadPixels(0, 0, mWidth, mHeight, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    GLsizei wrong = 0;
    for (GLsizei i = 0; i < mWidth * mHeight; ++i)
        wrong += pixels[static_cast<std::size_t>(i)] != expected(i) ? 1 : 0;
    if (wrong == 0)
        return "";
    return std::to_string(wrong) + " of " + std::to_string(mWidth * mHeight) + " pixels are wrong";
}

TrialProgram::TrialProgram(const Stages& stages, const std::function<void(GLuint)>& setUp) : TrialProgram()
{
    mShaders.reserve(stages.size());
    for (const auto& [type, text] : stages)
        compile(type, text);
    if (!mShortfall.empty())
        return;
    if (setUp)
        setUp(mName);
    glLinkProgram(mName);
    GLint linked = GL_FALSE;
    glGetProgramiv(mName, GL_LINK_STATUS, &linked);
    if (!linked)
        mShortfall = "it does not link: " + reasonIn(infoLog(mName, glGetProgramiv, glGetProgramInfoLog));
}

TrialProgram::~TrialProgram()
{
    glUseProgram(0);
    for (const GLuint shader : mShaders)
        glDeleteShader(shader);
    glDeleteProgram(mName);
}

void TrialProgram::compile(GLenum type, const std::string& text)
{
    const GLuint shader = glCreateShader(type);
    mShaders.push_back(shader);
    const GLchar* const source = text.c_str();
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    GLint compiled = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (!compiled && mShortfall.empty())
        mShortfall = "it does not compile: " + reasonIn(infoLog(shader, glGetShaderiv, glGetShaderInfoLog));
    glAttachShader(mName, shader);
}

void drawQuad()
{
    glBegin(GL_QUADS);
    glVertex2f(-1.0f, -1.0f);
    glVertex2f(1.0f, -1.0f);
    glVertex2f(1.0f, 1.0f);
    glVertex2f(-1.0f, 1.0f);
    glEnd();
}

Pixel white(GLsizei)
{
    return kWhite;
}

std::string shortfallOfWhite(const TrialProgram& program)
{
    if (!program.shortfall().empty())
        return program.shortfall();
    const TrialCanvas canvas(4, 4);
    program.use();
    drawQuad();
    return canvas.compare(white);
}

} // namespace velmor::glsupport::adapter
