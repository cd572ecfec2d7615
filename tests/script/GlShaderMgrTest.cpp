#include "cvprocess/gpuStdShaders/GlShaderMgr.h"

#include "tests/script/PassCalls.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/TemporaryFolder.h"

#include <cstdio>
#include <iostream>
#include <memory>
#include <utility>

#include <unistd.h>

using velmor::cvprocess::GlShaderMgr;

static bool readsFallShort = false; // once: what counts coverage reads files at the end of a process

// Put in place of fread() by the linker.
extern "C" {

std::size_t __real_fread(void* to, std::size_t size, std::size_t count, std::FILE* file);

std::size_t __wrap_fread(void* to, std::size_t size, std::size_t count, std::FILE* file)
{
    const std::size_t read = __real_fread(to, size, count, file);
    return std::exchange(readsFallShort, false) ? read - 1 : read;
}

} // extern "C"

namespace velmor::tests {
namespace {

using GlShaderMgrOnAFreshContext = ScriptTest;

using testing::ExitedWithCode;

constexpr int kMinusOne = 255; ///< exit(-1), as the parent process sees it

/// A manager with nothing recorded yet.
class GlShaderMgrScript : public ScriptTest
{
protected:
    void SetUp() override
    {
        ScriptTest::SetUp();
        capture([&] { manager = std::make_unique<GlShaderMgr>(); });
        gl.take();
    }

    bool load(const std::string& source, unsigned int& shader, GLenum type = GL_FRAGMENT_SHADER)
    {
        return manager->loadAndAttachShaderFromString(program, type, source, shader);
    }

    bool loadFile(const std::string& path, unsigned int& shader)
    {
        return manager->loadAndAttachShaderFromFile(program, GL_FRAGMENT_SHADER, path.c_str(), shader);
    }

    const TemporaryFolder folder;
    std::unique_ptr<GlShaderMgr> manager;
    const unsigned int program = 42;
};

TEST_F(GlShaderMgrOnAFreshContext, GlShaderMgrChecksForOpenGl2OnConstruction)
{
    const Output output = capture([] { const GlShaderMgr manager; });
    EXPECT_EQ(output.out, "Ready for OpenGL 2.x programmable shaders.\n");
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(gl.take(), (Calls{"glewIsSupported(GL_VERSION_2_0)", "glUseProgram(0)"}));
}

TEST_F(GlShaderMgrOnAFreshContext, GlShaderMgrEndsTheProcessWithoutOpenGl2)
{
    gl.unsupported = {"GL_VERSION_2_0"};
    EXPECT_EXIT(GlShaderMgr(), ExitedWithCode(1), exactly("ERROR: OpenGL 2.0 not found.\n"));
    EXPECT_EXIT(GlShaderMgr::checkSupportForProgrammableShaders(), ExitedWithCode(1),
                exactly("ERROR: OpenGL 2.0 not found.\n"));
}

TEST_F(GlShaderMgrOnAFreshContext, CheckSupportForProgrammableShadersIsTrueWithOpenGl2)
{
    const Output output = capture([] { EXPECT_TRUE(GlShaderMgr::checkSupportForProgrammableShaders()); });
    EXPECT_EQ(output.out, "Ready for OpenGL 2.x programmable shaders.\n");
}

TEST_F(GlShaderMgrScript, RegisterProgObjMakesOneProgramPerName)
{
    unsigned int first = 0, again = 0, other = 0;
    EXPECT_TRUE(manager->registerProgObj("one", first));
    EXPECT_FALSE(manager->registerProgObj("one", again));
    EXPECT_TRUE(manager->registerProgObj("two", other));
    EXPECT_EQ(first, again);
    EXPECT_NE(first, other);
    EXPECT_EQ(gl.take(), (Calls{"glCreateProgram()", "glCreateProgram()"}));
    EXPECT_EQ(gl.programs, (std::set<GLuint>{first, other}));
}

TEST_F(GlShaderMgrScript, LoadFromStringCompilesAttachesAndAnnounces)
{
    unsigned int shader = 0;
    const Output output = capture([&] { EXPECT_TRUE(load("void main() {}", shader)); });
    EXPECT_EQ(shader, 1u);
    EXPECT_EQ(gl.shaderSources[1], "void main() {}");
    EXPECT_EQ(gl.take(), (Calls{
                             "glCreateShader(GL_FRAGMENT_SHADER)",
                             "glShaderSource(1, 1, text, null)",
                             "glCompileShader(1)",
                             "glGetShaderiv(1, GL_COMPILE_STATUS)",
                             kGetError,
                             "glGetShaderiv(1, GL_INFO_LOG_LENGTH)",
                             kGetError,
                             "glAttachShader(42, 1)",
                             kGetError,
                         }));
    EXPECT_EQ(output.out, "Attached shader Id: 1\n");
    EXPECT_EQ(output.err, "");
}

TEST_F(GlShaderMgrScript, TheShaderTypeIsPassedOnUnchecked)
{
    unsigned int shader = 0;
    capture([&] {
        load("vertex", shader, GL_VERTEX_SHADER);
        load("geometry", shader, GL_GEOMETRY_SHADER_EXT);
        load("anything", shader, 0x1234);
    });
    EXPECT_EQ(gl.takeOnly({"glCreateShader"}),
              (Calls{"glCreateShader(GL_VERTEX_SHADER)", "glCreateShader(GL_GEOMETRY_SHADER_EXT)",
                     "glCreateShader(0x1234)"}));
}

TEST_F(GlShaderMgrScript, LoadFromStringShowsWarningsOfTheCompiler)
{
    gl.shaderLog = "0:1: warning";
    unsigned int shader = 0;
    const Output output = capture([&] { load("text", shader); });
    EXPECT_EQ(output.out, "Shader InfoLog:\n0:1: warning\nAttached shader Id: 1\n");
}

TEST_F(GlShaderMgrScript, ATextThatIsLoadedIsNotAttachedAgainNotEvenToAnotherProgram)
{
    unsigned int first = 0, second = 0;
    capture([&] { load("text", first); });
    gl.take();
    const Output output =
        capture([&] { EXPECT_TRUE(manager->loadAndAttachShaderFromString(43, GL_FRAGMENT_SHADER, "text", second)); });
    EXPECT_EQ(output.out, "shader already loaded\n");
    EXPECT_EQ(second, first);
    EXPECT_EQ(gl.take(), Calls{});
}

TEST_F(GlShaderMgrScript, AStringThatDoesNotCompileEndsTheProcessAfterItsLog)
{
    gl.compiles = false;
    gl.shaderLog = "0:1: syntax error";
    unsigned int shader = 0;
    EXPECT_EXIT(load("text", shader), ExitedWithCode(kMinusOne), exactly("ERROR: Unable to compile shader Id: 1\n"));
    // The log goes to standard output, which the parent sees only where it is sent to standard error.
    EXPECT_EXIT(
        {
            dup2(2, 1);
            load("text", shader);
        },
        ExitedWithCode(kMinusOne),
        exactly("Shader InfoLog:\n0:1: syntax error\nERROR: Unable to compile shader Id: 1\n"));
}

TEST_F(GlShaderMgrScript, AnErrorOfAttachingEndsTheProcess)
{
    gl.errorOfCall["glAttachShader"] = GL_INVALID_VALUE;
    unsigned int shader = 0;
    // Standard output goes to the stream that is compared, to show that the shader is not announced.
    EXPECT_EXIT(
        {
            dup2(2, 1);
            load("text", shader);
        },
        ExitedWithCode(kMinusOne), exactly("Error: invalid value\n"));
    const std::string file = folder.write("a.frag", "void main() {}");
    EXPECT_EXIT(
        {
            dup2(2, 1);
            loadFile(file, shader);
        },
        ExitedWithCode(kMinusOne), exactly("Error: invalid value\n"));
}

TEST_F(GlShaderMgrScript, AnOldErrorIsReportedAndDoesNotEndTheProcess)
{
    gl.errors = {GL_INVALID_ENUM};
    unsigned int shader = 0;
    const Output output = capture([&] { EXPECT_TRUE(load("text", shader)); });
    EXPECT_EQ(output.err, "Error: invalid enumerant at printShaderInfoLog\n");
    EXPECT_EQ(output.out, "Attached shader Id: 1\n");
}

TEST_F(GlShaderMgrScript, LoadFromFileReadsCompilesAttachesAndAnnounces)
{
    const std::string file = folder.write("a.frag", "void main()\n{\n}\n");
    gl.shaderLog = "a warning";
    unsigned int shader = 0;
    const Output output = capture([&] { EXPECT_TRUE(loadFile(file, shader)); });
    EXPECT_EQ(shader, 1u);
    EXPECT_EQ(gl.shaderSources[1], "void main()\n{\n}\n");
    EXPECT_EQ(gl.take(), (Calls{
                             "glCreateShader(GL_FRAGMENT_SHADER)",
                             "glShaderSource(1, 1, text, null)",
                             "glCompileShader(1)",
                             "glGetShaderiv(1, GL_COMPILE_STATUS)",
                             kGetError,
                             "glGetShaderiv(1, GL_INFO_LOG_LENGTH)",
                             "glGetShaderInfoLog(1, 10)",
                             kGetError,
                             "glAttachShader(42, 1)",
                             kGetError,
                         }));
    EXPECT_EQ(output.out, "Shader InfoLog:\na warning\nAttached shader: " + file + "\n");
    EXPECT_EQ(output.err, "");
}

TEST_F(GlShaderMgrScript, AFileThatIsLoadedIsNotReadAgain)
{
    const std::string file = folder.write("a.frag", "void main() {}");
    unsigned int first = 0, second = 0;
    capture([&] { loadFile(file, first); });
    gl.take();
    const Output output = capture([&] { EXPECT_TRUE(loadFile(file, second)); });
    EXPECT_EQ(output.out, "shader already loaded\n");
    EXPECT_EQ(second, first);
    EXPECT_EQ(gl.take(), Calls{});
}

TEST_F(GlShaderMgrScript, AFileThatDoesNotOpenLeavesItsKeyWithId0)
{
    unsigned int shader = 99;
    const Output first = capture([&] { EXPECT_FALSE(loadFile("/nowhere/shader.frag", shader)); });
    EXPECT_EQ(first.out + first.err, "");
    const Output second = capture([&] { EXPECT_TRUE(loadFile("/nowhere/shader.frag", shader)); });
    EXPECT_EQ(second.out, "shader already loaded\n");
    EXPECT_EQ(shader, 0u);
    EXPECT_EQ(gl.take(), Calls{});
}

TEST_F(GlShaderMgrScript, AnEmptyFileIsAnEmptyShader)
{
    const std::string file = folder.write("a.frag", "");
    unsigned int shader = 0;
    capture([&] { EXPECT_TRUE(loadFile(file, shader)); });
    EXPECT_EQ(gl.shaderSources.at(1), "");
}

TEST_F(GlShaderMgrScript, AFolderIsAShortRead)
{
    unsigned int shader = 0;
    EXPECT_EXIT(loadFile("/tmp", shader), ExitedWithCode(kMinusOne),
                exactly("ERROR: Could not load shader file: /tmp\n"));
}

TEST_F(GlShaderMgrScript, AFileShorterThanItsSizeIsAShortRead)
{
    const std::string file = folder.write("a.frag", "void main() {}");
    unsigned int shader = 0;
    EXPECT_EXIT(
        {
            readsFallShort = true;
            loadFile(file, shader);
        },
        ExitedWithCode(kMinusOne), exactly("ERROR: Could not load shader file: " + file + "\n"));
}

TEST_F(GlShaderMgrScript, WhatHasNoSizeIsAShortRead)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const std::string path = "/proc/self/fd/" + std::to_string(ends[0]);
    unsigned int shader = 0;
    EXPECT_EXIT(loadFile(path, shader), ExitedWithCode(kMinusOne),
                "^ERROR: Could not load shader file: /proc/self/fd/[0-9]+\n$");
    close(ends[0]);
    close(ends[1]);
}

TEST_F(GlShaderMgrScript, AFileThatThereIsNoMemoryForIsAShortRead)
{
    const std::string file = folder.write("a.frag", std::string(4098, ' '));
    unsigned int shader = 0;
    EXPECT_EXIT(
        {
            const FailingAllocation noMemory(4099);
            loadFile(file, shader);
        },
        ExitedWithCode(kMinusOne), exactly("ERROR: Could not load shader file: " + file + "\n"));
}

TEST_F(GlShaderMgrScript, AFileThatDoesNotCompileEndsTheProcessWithoutALog)
{
    gl.compiles = false;
    gl.shaderLog = "0:1: syntax error";
    const std::string file = folder.write("a.frag", "text");
    unsigned int shader = 0;
    // Standard output goes to the stream that is compared, to show that no log is printed.
    EXPECT_EXIT(
        {
            dup2(2, 1);
            loadFile(file, shader);
        },
        ExitedWithCode(kMinusOne), exactly("ERROR: Unable to compile " + file + ".\n"));
}

TEST_F(GlShaderMgrScript, CompileGlslReportsTheCompileStatus)
{
    const auto* const source = reinterpret_cast<const unsigned char*>("text");
    EXPECT_TRUE(GlShaderMgr::compileGlsl(5, source));
    EXPECT_EQ(gl.take(),
              (Calls{"glShaderSource(5, 1, text, null)", "glCompileShader(5)", "glGetShaderiv(5, GL_COMPILE_STATUS)"}));
    gl.compiles = false;
    EXPECT_FALSE(GlShaderMgr::compileGlsl(5, source));
}

const Calls kLinked = {"glLinkProgram(9)", "glGetProgramiv(9, GL_INFO_LOG_LENGTH)", kGetError, kGetError,
                       "glGetProgramiv(9, GL_LINK_STATUS)"};
const Calls kValidated = {"glValidateProgram(9)", "glGetProgramiv(9, GL_VALIDATE_STATUS)"};

TEST_F(GlShaderMgrOnAFreshContext, LinkingLinksValidatesAndPrintsTheLogTwice)
{
    const Output output = capture([] { EXPECT_TRUE(GlShaderMgr::linkShadersToProgram(9)); });
    EXPECT_EQ(gl.take(), kLinked + kValidated + Calls({"glGetProgramiv(9, GL_INFO_LOG_LENGTH)", kGetError, kGetError}));
    EXPECT_EQ(output.out, "Shader validation\n");
    EXPECT_EQ(output.err, "");

    gl.programLog = "a note";
    const Output withLog = capture([] { EXPECT_TRUE(GlShaderMgr::linkShadersToProgram(9)); });
    EXPECT_EQ(withLog.out, "Program InfoLog:\na note\nShader validation\nProgram InfoLog:\na note\n");
}

TEST_F(GlShaderMgrOnAFreshContext, TheValidationIsAnnouncedBeforeItIsMade)
{
    gl.onCall = [](const std::string& function) {
        if (function == "glValidateProgram")
            std::cout << "the validation" << std::endl;
    };
    for (const bool validates : {true, false}) {
        gl.validates = validates;
        const Output output = capture([] { GlShaderMgr::linkShadersToProgram(9); });
        EXPECT_EQ(output.out, "Shader validation\nthe validation\n");
    }
}

TEST_F(GlShaderMgrOnAFreshContext, AFailedLinkIsReportedAndNotValidated)
{
    gl.links = false;
    const Output output = capture([] { EXPECT_FALSE(GlShaderMgr::linkShadersToProgram(9)); });
    EXPECT_EQ(gl.take(), kLinked);
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "ERROR: Linking failed.\n");
}

TEST_F(GlShaderMgrOnAFreshContext, AFailedValidationIsReported)
{
    gl.validates = false;
    const Output output = capture([] { EXPECT_FALSE(GlShaderMgr::linkShadersToProgram(9)); });
    EXPECT_EQ(gl.take(), kLinked + kValidated);
    EXPECT_EQ(output.out, "Shader validation\n");
    EXPECT_EQ(output.err, "ERROR: Validation failed.\n");
}

TEST_F(GlShaderMgrOnAFreshContext, TheProgramLogIsAskedForBeforeTheFirstErrorCheck)
{
    gl.programLog = "text";
    const Output output = capture([] { GlShaderMgr::printProgramInfoLog(9); });
    EXPECT_EQ(gl.take(),
              (Calls{"glGetProgramiv(9, GL_INFO_LOG_LENGTH)", kGetError, "glGetProgramInfoLog(9, 5)", kGetError}));
    EXPECT_EQ(output.out, "Program InfoLog:\ntext\n");
}

TEST_F(GlShaderMgrOnAFreshContext, TheShaderLogIsAskedForAfterTheFirstErrorCheck)
{
    gl.shaderLog = "text";
    const Output output = capture([] { GlShaderMgr::printShaderInfoLog(9); });
    EXPECT_EQ(gl.take(),
              (Calls{kGetError, "glGetShaderiv(9, GL_INFO_LOG_LENGTH)", "glGetShaderInfoLog(9, 5)", kGetError}));
    EXPECT_EQ(output.out, "Shader InfoLog:\ntext\n");
}

TEST_F(GlShaderMgrOnAFreshContext, ErrorsOfTheLogQueriesNameThePrinter)
{
    gl.errorOfCall["glGetProgramiv"] = GL_INVALID_VALUE;
    EXPECT_EQ(capture([] { GlShaderMgr::printProgramInfoLog(9); }).err,
              "Error: invalid value at printProgramInfoLog\n");
    gl.errorOfCall = {{"glGetShaderiv", GL_INVALID_VALUE}};
    EXPECT_EQ(capture([] { GlShaderMgr::printShaderInfoLog(9); }).err, "Error: invalid value at printShaderInfoLog\n");
}

TEST_F(GlShaderMgrOnAFreshContext, AnEmptyLogPrintsNothing)
{
    for (const GLint length : {0, 1}) {
        gl.infoLogLength = length;
        const Output output = capture([] {
            GlShaderMgr::printProgramInfoLog(9);
            GlShaderMgr::printShaderInfoLog(9);
        });
        EXPECT_EQ(output.out + output.err, "");
    }
    EXPECT_EQ(gl.takeOnly({"glGetProgramInfoLog", "glGetShaderInfoLog"}), Calls{});
}

TEST_F(GlShaderMgrOnAFreshContext, ALogThatThereIsNoMemoryForEndsTheProcess)
{
    gl.programLog = gl.shaderLog = std::string(4098, 'x'); // 4099 bytes with the terminating zero
    EXPECT_EXIT(
        {
            const FailingAllocation noMemory(4099);
            GlShaderMgr::printProgramInfoLog(9);
        },
        ExitedWithCode(1), exactly("ERROR: Could not allocate InfoLog buffer\n"));
    EXPECT_EXIT(
        {
            const FailingAllocation noMemory(4099);
            GlShaderMgr::printShaderInfoLog(9);
        },
        ExitedWithCode(1), exactly("Could not allocate InfoLog buffer\n"));
}

TEST_F(GlShaderMgrOnAFreshContext, UseAndResetProgObj)
{
    GlShaderMgr::useProgObj(9);
    GlShaderMgr::resetProgObj();
    EXPECT_EQ(gl.take(), (Calls{"glUseProgram(9)", "glUseProgram(0)"}));
}

using Text = std::optional<const char*>; ///< of the driver, which may have none
using Version = std::pair<int, int>;     ///< major and minor

struct VersionCase
{
    Text text;
    Version version;
};

/// What a query of versions tells, and what it prints.
struct Answer
{
    Version version = {-1, -1};
    Output output;
};

template<typename Query>
Answer answer(const Query& query)
{
    Answer result;
    result.output = capture([&] { query(result.version.first, result.version.second); });
    return result;
}

template<typename Query>
void expectNone(const Query& query, const std::string& reported)
{
    const Answer actual = answer(query);
    EXPECT_EQ(actual.version, Version(0, 0));
    EXPECT_EQ(actual.output.err, reported);
    EXPECT_EQ(actual.output.out, "");
}

TEST_F(GlShaderMgrOnAFreshContext, GetGlVersionReadsTheFirstTwoNumbers)
{
    for (const VersionCase& each : {VersionCase{"2.1.2 Somebody 1.2", {2, 1}},
                                    VersionCase{"4.5 (Compatibility)", {4, 5}}, VersionCase{"10.11", {10, 11}}}) {
        gl.version = each.text;
        const Answer actual = answer(GlShaderMgr::getGlVersion);
        EXPECT_EQ(actual.version, each.version);
        EXPECT_EQ(actual.output.out + actual.output.err, "");
    }
}

TEST_F(GlShaderMgrOnAFreshContext, GetGlVersionOfNonsenseIs0AndReported)
{
    for (const Text text : {Text(), Text(""), Text("OpenGL ES 2.0"), Text("2"), Text("2.x")}) {
        gl.version = text;
        expectNone(GlShaderMgr::getGlVersion, "Invalid GL_VERSION format!!\n");
    }
}

TEST_F(GlShaderMgrOnAFreshContext, GetGlslVersionFromOpenGl2OnReadsTheLanguageVersion)
{
    gl.version = "2.0";
    gl.glslVersion = "1.10 Somebody";
    EXPECT_EQ(answer(GlShaderMgr::getGlslVersion).version, Version(1, 10));
}

TEST_F(GlShaderMgrOnAFreshContext, GetGlslVersionOfNonsenseIs0AndReported)
{
    for (const Text text : {Text(), Text("one")}) {
        gl.glslVersion = text;
        expectNone(GlShaderMgr::getGlslVersion, "Invalid GL_SHADING_LANGUAGE_VERSION format!\n");
    }
}

TEST_F(GlShaderMgrOnAFreshContext, GetGlslVersionOfOpenGl1GoesByTheExtension)
{
    gl.version = "1.5";
    gl.extensions = "GL_ARB_multitexture GL_ARB_shading_language_100 GL_ARB_depth_texture";
    EXPECT_EQ(answer(GlShaderMgr::getGlslVersion).version, Version(1, 9));
    for (const Text extensions : {Text("GL_ARB_multitexture"), Text()}) {
        gl.extensions = extensions;
        expectNone(GlShaderMgr::getGlslVersion, "");
    }
}

TEST_F(GlShaderMgrOnAFreshContext, GetGlslVersionWithoutAnOpenGlVersionIs0)
{
    gl.version = "nonsense";
    expectNone(GlShaderMgr::getGlslVersion, "Invalid GL_VERSION format!!\n");
}

TEST_F(GlShaderMgrScript, DestructionDeletesProgramsThenShadersInTheOrderOfTheirKeys)
{
    unsigned int b = 0, a = 0, z = 0, m = 0;
    capture([&] {
        manager->registerProgObj("b", b);
        manager->registerProgObj("a", a);
        load("z", z);
        load("m", m);
    });
    gl.take();
    manager.reset();
    const auto call = [](const std::string& name, unsigned int id) {
        return name + "(" + std::to_string(id) + ")";
    };
    EXPECT_EQ(gl.take(), (Calls{"glUseProgram(0)", call("glDeleteProgram", a), call("glDeleteProgram", b),
                                call("glDeleteShader", m), call("glDeleteShader", z)}));
    EXPECT_TRUE(gl.programs.empty());
    EXPECT_TRUE(gl.shaders.empty());
}

TEST_F(GlShaderMgrScript, DestructionDeletesTheId0OfAFileThatDidNotOpenToo)
{
    unsigned int none = 99, shader = 0;
    EXPECT_FALSE(loadFile("/nowhere/shader.frag", none));
    capture([&] { load("text", shader); });
    gl.take();
    manager.reset();
    EXPECT_EQ(gl.take(), (Calls{"glUseProgram(0)", "glDeleteShader(0)", "glDeleteShader(1)"}));
}

} // namespace
} // namespace velmor::tests
