#include "glsupport/HeadlessContext.h"

#include "cvprocess/gpuStdShaders/Subtract.h"
#include "glsupport/RectTexture.h"
#include "tests/support/Capture.h"
#include "tests/support/DeathText.h"
#include "tests/support/ThrownText.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <dlfcn.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using velmor::cvprocess::Subtract;
using velmor::glsupport::HeadlessContext;
using velmor::glsupport::RectTexture;

namespace {

std::atomic<bool> isSlow{false}; ///< that what stands below takes its time
std::atomic<bool> isTerminating{false};
std::set<std::string> lacking; ///< functions that fail, and extensions that are not there
EGLint errorOfEgl = EGL_SUCCESS;

bool lacks(const char* name)
{
    return lacking.find(name) != lacking.end();
}

void delay(int milliseconds)
{
    if (isSlow)
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

template<typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// These take the place of the libraries' own, for the library under test too, and call them.

extern "C" EGLBoolean eglTerminate(EGLDisplay display)
{
    isTerminating = true;
    delay(300);
    return next<EGLBoolean(EGLDisplay)>("eglTerminate")(display);
}

extern "C" EGLBoolean eglInitialize(EGLDisplay display, EGLint* major, EGLint* minor)
{
    return !lacks("eglInitialize") &&
           next<EGLBoolean(EGLDisplay, EGLint*, EGLint*)>("eglInitialize")(display, major, minor);
}

extern "C" EGLBoolean eglBindAPI(EGLenum api)
{
    return !lacks("eglBindAPI") && next<EGLBoolean(EGLenum)>("eglBindAPI")(api);
}

extern "C" EGLBoolean eglChooseConfig(EGLDisplay display, const EGLint* attributes, EGLConfig* configs, EGLint size,
                                      EGLint* count)
{
    using Function = EGLBoolean(EGLDisplay, const EGLint*, EGLConfig*, EGLint, EGLint*);
    if (lacks("configurations")) {
        *count = 0;
        return EGL_TRUE;
    }
    return !lacks("eglChooseConfig") && next<Function>("eglChooseConfig")(display, attributes, configs, size, count);
}

extern "C" EGLContext eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share, const EGLint* attributes)
{
    using Function = EGLContext(EGLDisplay, EGLConfig, EGLContext, const EGLint*);
    return lacks("eglCreateContext") ? EGL_NO_CONTEXT
                                     : next<Function>("eglCreateContext")(display, config, share, attributes);
}

extern "C" EGLint eglGetError()
{
    return errorOfEgl != EGL_SUCCESS ? errorOfEgl : next<EGLint()>("eglGetError")();
}

extern "C" const char* eglQueryString(EGLDisplay display, EGLint name)
{
    const char* const all = next<const char*(EGLDisplay, EGLint)>("eglQueryString")(display, name);
    if (!all || name != EGL_EXTENSIONS || lacking.empty())
        return all;
    static std::string left;
    left.clear();
    std::istringstream words(all);
    for (std::string word; words >> word;)
        left += lacks(word.c_str()) ? "" : word + ' ';
    return left.c_str();
}

const char* queryDeviceAsOfAGpu(EGLDeviceEXT, EGLint)
{
    return "";
}

extern "C" __eglMustCastToProperFunctionPointerType eglGetProcAddress(const char* name)
{
    if (lacks(name))
        return nullptr;
    if (lacks("EGL_MESA_device_software") && name == std::string("eglQueryDeviceStringEXT"))
        return reinterpret_cast<__eglMustCastToProperFunctionPointerType>(queryDeviceAsOfAGpu);
    return next<__eglMustCastToProperFunctionPointerType(const char*)>("eglGetProcAddress")(name);
}

extern "C" const GLubyte* glGetString(GLenum name)
{
    if (lacks("glewInit") && name == GL_RENDERER) // so that GLEW is asked
        return reinterpret_cast<const GLubyte*>("another driver");
    return next<const GLubyte*(GLenum)>("glGetString")(name);
}

extern "C" GLenum glewInit()
{
    if (lacks("glewInit"))
        return GLEW_ERROR_NO_GL_VERSION;
    const GLenum status = next<GLenum()>("glewInit")();
    delay(20);
    return status;
}

namespace velmor::tests {
namespace {

GLubyte texelThrough(RectTexture& texture, GLubyte value)
{
    texture.upload(&value);
    GLubyte result = 0;
    texture.download(&result);
    return result;
}

TEST(HeadlessContext, IsCurrentWithGlewInitialised)
{
    const HeadlessContext context;
    EXPECT_TRUE(GLEW_VERSION_2_0);
    EXPECT_TRUE(glewIsSupported("GL_ARB_texture_rectangle"));
    EXPECT_NE(glCreateShader, nullptr);
    GLint profile = 0;
    glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
    EXPECT_EQ(profile, GL_CONTEXT_COMPATIBILITY_PROFILE_BIT);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

TEST(HeadlessContext, DescribesWhatItRunsOn)
{
    const HeadlessContext context;
    EXPECT_EQ(context.description(), std::string(reinterpret_cast<const char*>(glGetString(GL_RENDERER))) +
                                         ", OpenGL " + reinterpret_cast<const char*>(glGetString(GL_VERSION)));
}

TEST(HeadlessContext, DescribesWhatItRunsOnWhereNothingIsCurrent)
{
    const HeadlessContext context;
    const std::string whereCurrent = context.description();
    std::string elsewhere;
    std::thread([&] { elsewhere = context.description(); }).join();
    EXPECT_EQ(elsewhere, whereCurrent);
}

TEST(HeadlessContext, SeveralContextsAreUsedInTurn)
{
    HeadlessContext first;
    RectTexture ofFirst(1, 1, RectTexture::GREY8);
    EXPECT_EQ(texelThrough(ofFirst, 11), 11);
    {
        HeadlessContext second;
        RectTexture ofSecond(1, 1, RectTexture::GREY8);
        EXPECT_EQ(texelThrough(ofSecond, 22), 22);
        first.makeCurrent();
        EXPECT_EQ(texelThrough(ofFirst, 33), 33);
        second.makeCurrent();
        EXPECT_EQ(texelThrough(ofSecond, 44), 44);
    }
    first.makeCurrent(); // the display outlives the second context
    EXPECT_EQ(texelThrough(ofFirst, 55), 55);
}

TEST(HeadlessContext, CanBeMadeAgainAndAgain)
{
    for (int i = 0; i < 3; ++i) {
        const HeadlessContext context;
        RectTexture texture(1, 1, RectTexture::GREY8);
        EXPECT_EQ(texelThrough(texture, 7), 7);
    }
}

TEST(HeadlessContext, AContextThatAnotherThreadHoldsIsRefused)
{
    HeadlessContext context;
    std::string message;
    std::thread([&] {
        try {
            context.makeCurrent();
        } catch (const std::runtime_error& error) {
            message = error.what();
        }
    }).join();
    EXPECT_EQ(message, "HeadlessContext::makeCurrent(): eglMakeCurrent: EGL_BAD_ACCESS");
}

/// Has the driver's calls take their time.
struct Slowly
{
    Slowly() { isSlow = true; }
    Slowly(const Slowly&) = delete;
    Slowly& operator=(const Slowly&) = delete;
    ~Slowly() { isSlow = false; }
};

TEST(HeadlessContext, ADisplayThatIsBeingTerminatedIsNotUsed)
{
    auto last = std::make_unique<HeadlessContext>(false);
    const Slowly slowly;
    isTerminating = false;
    std::thread destroys([&] { last.reset(); });
    for (int i = 0; i < 1000 && !isTerminating; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_TRUE(isTerminating);
    std::unique_ptr<HeadlessContext> another;
    EXPECT_NO_THROW(another = std::make_unique<HeadlessContext>(false));
    destroys.join();
    ASSERT_TRUE(another);
    EXPECT_NE(eglQueryString(eglGetCurrentDisplay(), EGL_VERSION), nullptr) << "the display is terminated";
    RectTexture texture(1, 1, RectTexture::GREY8);
    EXPECT_EQ(texelThrough(texture, 7), 7);
}

TEST(HeadlessContext, BecomesCurrentWhateverApiTheThreadHasBound)
{
    HeadlessContext context;
    const HeadlessContext other; // which this thread has now
    for (const bool bindsAnother : {false, true})
        std::thread([&] {
            if (bindsAnother)
                eglBindAPI(EGL_OPENGL_ES_API);
            EXPECT_EQ(eglQueryAPI(), static_cast<EGLenum>(EGL_OPENGL_ES_API)); // of a new thread too
            context.makeCurrent();
            EXPECT_EQ(eglQueryAPI(), static_cast<EGLenum>(EGL_OPENGL_API));
            {
                RectTexture texture(1, 1, RectTexture::GREY8);
                EXPECT_EQ(texelThrough(texture, 9), 9);
            }
            eglReleaseThread();
        }).join();
}

/// Whether the current context takes a text that is no GLSL 1.10, and that the filters' dialect allows.
bool takesTheDialect()
{
    const char* const text = "#extension GL_ARB_texture_rectangle : enable\n"
                             "void main() { int one = 1; float x = one; gl_FragColor = vec4(x); }\n";
    const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint status = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
    glDeleteShader(shader);
    return status == GL_TRUE;
}

TEST(HeadlessContext, StaysAdaptedWhileAnotherThreadMakesContexts)
{
    const HeadlessContext context;
    const Slowly slowly;
    std::atomic<bool> isDone{false};
    std::atomic<int> made{0};
    std::thread makesOthers([&] {
        for (; !isDone; ++made)
            const HeadlessContext another;
    });
    int refused = 0;
    for (int i = 0; i < 1000 || made < 3; ++i)
        refused += takesTheDialect() ? 0 : 1;
    isDone = true;
    makesOthers.join();
    EXPECT_EQ(refused, 0);
}

/// The result of a pass in a context of its own.
std::array<GLubyte, 4> passInAContextOfItsOwn(GLubyte first, GLubyte second)
{
    const HeadlessContext context;
    const std::array<GLubyte, 4> texels1 = {first, first, 0, 255}, texels2 = {second, 0, second, 0};
    std::array<GLubyte, 4> result = {};
    RectTexture source1(1, 1, RectTexture::RGBA8), source2(1, 1, RectTexture::RGBA8);
    RectTexture destination(1, 1, RectTexture::RGBA8);
    source1.upload(texels1.data());
    source2.upload(texels2.data());
    Subtract filter;
    filter.prepareExecution(source1, source2, destination);
    filter.execute();
    destination.download(result.data());
    return result;
}

TEST(HeadlessContext, FourThreadsMakeUseAndDestroyContexts)
{
    std::atomic<int> right{0};
    const auto work = [&](GLubyte first) {
        for (GLubyte second = 0; second < 3; ++second) {
            const auto difference = static_cast<GLubyte>(first - second);
            if (passInAContextOfItsOwn(first, second) == std::array<GLubyte, 4>{difference, first, second, 255})
                ++right;
        }
    };
    const Output output = capture([&] {
        std::vector<std::thread> threads;
        for (GLubyte i = 1; i <= 4; ++i)
            threads.emplace_back(work, static_cast<GLubyte>(50 * i));
        for (std::thread& thread : threads)
            thread.join();
    });
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(right, 4 * 3);
}

/// What a driver lacks, for the length of a test.
class Lacking
{
public:
    explicit Lacking(std::set<std::string> names) { lacking = std::move(names); }
    Lacking(const Lacking&) = delete;
    Lacking& operator=(const Lacking&) = delete;
    ~Lacking()
    {
        lacking.clear();
        errorOfEgl = EGL_SUCCESS;
    }
};

std::string refusal()
{
    return thrownText<std::runtime_error>([] { const HeadlessContext context(false); });
}

TEST(HeadlessContext, SaysWhatTheDriverLacks)
{
    const char* const extensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!extensions || !strstr(extensions, "EGL_MESA_platform_surfaceless"))
        GTEST_SKIP() << "the driver lacks Mesa's surfaceless platform, which the texts name";
    const std::string none = "HeadlessContext::HeadlessContext(): cannot make an OpenGL context; ";
    const std::string without = none + "EGL surfaceless platform: ";
    const std::map<std::string, std::string> texts = {
        {"eglGetPlatformDisplayEXT", none + "EGL lacks EGL_EXT_platform_base"},
        {"EGL_EXT_platform_base", none + "EGL lacks EGL_EXT_platform_base"},
        {"EGL_MESA_platform_surfaceless", none + "EGL offers neither a device nor Mesa's surfaceless platform"},
        {"eglInitialize", without + "eglInitialize: no reason given"},
        {"EGL_KHR_surfaceless_context", without + "EGL_KHR_surfaceless_context is missing"},
        {"eglBindAPI", without + "OpenGL is not offered, only OpenGL ES"},
        {"eglChooseConfig", without + "no configuration for OpenGL"},
        {"configurations", without + "no configuration for OpenGL"},
        {"eglCreateContext", without + "eglCreateContext: no reason given"},
        {"glewInit", without + "glewInit: Missing GL version"},
    };
    for (const auto& [name, text] : texts) {
        const Lacking driver({name, "eglQueryDevicesEXT"});
        EXPECT_EQ(refusal(), text) << name;
    }
    const Lacking driver({"eglInitialize", "eglQueryDeviceStringEXT"});
    errorOfEgl = EGL_NOT_INITIALIZED;
    EXPECT_EQ(refusal(), without + "eglInitialize: EGL_NOT_INITIALIZED");
    errorOfEgl = 12345;
    EXPECT_EQ(refusal(), without + "eglInitialize: EGL error 12345");
}

TEST(HeadlessContext, TakesADeviceBeforeMesasPlatformAndGoesOnWhereItFails)
{
    const Lacking driver({"EGL_MESA_device_software", "EGL_MESA_platform_surfaceless", "eglInitialize"});
    EXPECT_EQ(refusal().find("HeadlessContext::HeadlessContext(): cannot make an OpenGL context; EGL device 0: "), 0u);
    lacking.erase("eglInitialize");
    const HeadlessContext context(false);
    RectTexture texture(1, 1, RectTexture::GREY8);
    EXPECT_EQ(texelThrough(texture, 7), 7);
}

TEST(HeadlessContext, SaysWhatIsMissing)
{
    EXPECT_EXIT(
        {
            setenv("__EGL_VENDOR_LIBRARY_FILENAMES", "/nowhere.json", 1);
            try {
                const HeadlessContext context;
            } catch (const std::runtime_error& error) {
                fputs(error.what(), stderr);
                std::_Exit(3);
            }
        },
        testing::ExitedWithCode(3), "^HeadlessContext::HeadlessContext\\(\\): cannot make an OpenGL context; EGL ");
}

} // namespace
} // namespace velmor::tests
