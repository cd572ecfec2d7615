// Shader texts of any kind through the driver adapter: nothing crashes or hangs, a text that the driver takes is taken,
// and a program that is not of the filters' dialect is what it is without the adapter.
//
// The first byte of an input chooses the stage, the rest is its text. Stops with a message where the adapter spoils
// one.

#include "glsupport/DriverAdapter.h"
#include "glsupport/HeadlessContext.h"

#include <GL/glew.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using velmor::glsupport::DriverAdapter;
using velmor::glsupport::HeadlessContext;

constexpr GLsizei kSide = 4;

/// What the driver makes of a text, beside the simplest of other stages.
struct Result
{
    GLint isCompiled = 0;
    GLint isLinked = 0;
    std::string messages;
    std::vector<GLenum> errors;
    std::vector<float> pixels;

    bool operator==(const Result& other) const
    {
        return isCompiled == other.isCompiled && isLinked == other.isLinked && messages == other.messages &&
               errors == other.errors && pixels == other.pixels;
    }
};

/// A context with a framebuffer.
class Bench
{
public:
    Bench() : mContext(false)
    {
        glGenTextures(1, &mTexture);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, mTexture);
        glTexImage2D(GL_TEXTURE_RECTANGLE_ARB, 0, GL_RGBA32F_ARB, kSide, kSide, 0, GL_RGBA, GL_FLOAT, nullptr);
        glGenFramebuffersEXT(1, &mFramebuffer);
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, mFramebuffer);
        glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_RECTANGLE_ARB, mTexture, 0);
        glDrawBuffer(GL_COLOR_ATTACHMENT0_EXT);
        glViewport(0, 0, kSide, kSide);
        glClearColor(-1.0f, -1.0f, -1.0f, -1.0f);
    }

    void makeCurrent() { mContext.makeCurrent(); }

    Result take(GLenum type, const std::string& text)
    {
        mContext.makeCurrent();
        Result result;
        const GLuint program = glCreateProgram();
        const GLuint shader = glCreateShader(type);
        const GLchar* const start = text.c_str();
        glShaderSource(shader, 1, &start, nullptr);
        glCompileShader(shader);
        glGetShaderiv(shader, GL_COMPILE_STATUS, &result.isCompiled);
        std::array<GLchar, 1024> log = {};
        glGetShaderInfoLog(shader, log.size(), nullptr, log.data());
        result.messages = log.data();
        glAttachShader(program, shader);
        glLinkProgram(program);
        glGetProgramiv(program, GL_LINK_STATUS, &result.isLinked);
        log = {};
        glGetProgramInfoLog(program, log.size(), nullptr, log.data());
        result.messages += log.data();
        if (result.isLinked)
            draw(program, result);
        glDeleteShader(shader);
        glDeleteProgram(program);
        for (GLenum error = glGetError(); error != GL_NO_ERROR; error = glGetError())
            result.errors.push_back(error);
        return result;
    }

private:
    static void draw(GLuint program, Result& result)
    {
        glClear(GL_COLOR_BUFFER_BIT);
        glUseProgram(program);
        glBegin(GL_QUADS);
        for (const auto& [x, y] : {std::pair{-1.0f, -1.0f}, {1.0f, -1.0f}, {1.0f, 0.5f}, {-1.0f, 0.5f}})
            glVertex2f(x, y);
        glEnd();
        glUseProgram(0);
        result.pixels.resize(4 * kSide * kSide);
        glReadPixels(0, 0, kSide, kSide, GL_RGBA, GL_FLOAT, result.pixels.data());
        for (float& each : result.pixels)
            each = each == each ? each : -2.0f; // so that pixels that are no number are equal
    }

    HeadlessContext mContext;
    GLuint mTexture = 0;
    GLuint mFramebuffer = 0;
};

/// Whether a text may be of the filters' dialect, by a rule that is wider and simpler than the adapter's.
bool mayBeClassic(std::string_view text)
{
    return text.find("extension") != std::string_view::npos || text.find('\\') != std::string_view::npos;
}

/// Whether a text may hold no code, by a rule that is wider and simpler than the adapter's: comments take a line each.
bool mayBeEmpty(const std::string& text)
{
    std::istringstream lines(text);
    bool hasCode = false;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t begin = line.find_first_not_of(" \t\r\v\f");
        hasCode = hasCode || (begin != std::string::npos && line[begin] != '/');
    }
    return !hasCode || text.find("/*") != std::string::npos || text.find('\r') != std::string::npos;
}

void require(bool condition, const char* what, const std::string& text)
{
    if (condition)
        return;
    std::cerr << what << ":\n" << text << std::endl;
    std::abort();
}

void compare(const Result& without, const Result& with, const std::string& text)
{
    if (!mayBeClassic(text)) {
        require(with == without, "a program is another with the adapter", text);
        return;
    }
    require(!without.isCompiled || with.isCompiled, "a text that the driver takes is refused", text);
    require(!without.isLinked || with.isLinked, "a program that the driver links is refused", text);
    require(with.errors == without.errors, "there are other errors", text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static Bench plain, adapted, forced;
    static const bool isInstalled = [] {
        adapted.makeCurrent();
        DriverAdapter::install();
        forced.makeCurrent();
        DriverAdapter::install(DriverAdapter::Always);
        return true;
    }();
    static_cast<void>(isInstalled);
    if (size == 0)
        return 0;
    constexpr GLenum kTypes[] = {GL_FRAGMENT_SHADER, GL_VERTEX_SHADER, GL_GEOMETRY_SHADER_EXT};
    const GLenum type = kTypes[data[0] % 3];
    const std::string whole(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string text = whole.substr(0, whole.find('\0')); // drivers read to there
    const bool mayBeLeftOut = type == GL_GEOMETRY_SHADER_EXT && mayBeEmpty(text);
    const Result expected = plain.take(type, text);
    if (std::getenv("VELMOR_FUZZ_DRIVER_ALONE")) // to tell whose fault is what was found
        return 0;
    for (Bench* const bench : {&adapted, &forced})
        if (!mayBeLeftOut)
            compare(expected, bench->take(type, text), text);
    return 0;
}
