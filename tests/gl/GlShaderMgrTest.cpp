#include "cvprocess/gpuStdShaders/GlShaderMgr.h"

#include "tests/gl/GlTest.h"

#include <memory>

#include <unistd.h>

using velmor::cvprocess::GlShaderMgr;

namespace velmor::tests {
namespace {

using GlShaderMgrTest = GlTest;

const char* const kGood = "void main(void) { gl_FragColor = vec4(1.0); }\n";
const char* const kBad = "void main(void) { gl_FragColor = nonsense; }\n";

TEST_F(GlShaderMgrTest, AProgramIsBuiltUsedAndDeleted)
{
    auto manager = makeQuietly<GlShaderMgr>();
    unsigned int program = 0, shader = 0;
    const Output output = capture([&] {
        EXPECT_TRUE(manager->registerProgObj("tests/program", program));
        EXPECT_TRUE(manager->loadAndAttachShaderFromString(program, GL_FRAGMENT_SHADER, kGood, shader));
        EXPECT_TRUE(GlShaderMgr::linkShadersToProgram(program));
    });
    EXPECT_EQ(output.out, "Attached shader Id: " + std::to_string(shader) + "\nShader validation\n");
    EXPECT_EQ(output.err, "");
    EXPECT_TRUE(glIsProgram(program));
    EXPECT_TRUE(glIsShader(shader));

    GLint current = 0;
    GlShaderMgr::useProgObj(program);
    glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    EXPECT_EQ(current, static_cast<GLint>(program));
    manager.reset();
    glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    EXPECT_EQ(current, 0);
    EXPECT_FALSE(glIsProgram(program));
    EXPECT_FALSE(glIsShader(shader));
}

TEST_F(GlShaderMgrTest, AShaderThatDoesNotCompileEndsTheProcessAfterTheLogOfTheDriver)
{
    auto manager = makeQuietly<GlShaderMgr>();
    unsigned int program = 0, shader = 0;
    manager->registerProgObj("tests/program", program);
    EXPECT_EXIT(
        {
            dup2(2, 1); // the log goes to standard output; here both are compared
            manager->loadAndAttachShaderFromString(program, GL_FRAGMENT_SHADER, kBad, shader);
        },
        testing::ExitedWithCode(255),
        "^Shader InfoLog:\n.*nonsense(.|\n)*ERROR: Unable to compile shader Id: [0-9]+\n$");
}

TEST_F(GlShaderMgrTest, AProgramThatDoesNotLinkIsReported)
{
    auto manager = makeQuietly<GlShaderMgr>();
    unsigned int program = 0, shader = 0;
    const Output output = capture([&] {
        manager->registerProgObj("tests/program", program);
        manager->loadAndAttachShaderFromString(program, GL_FRAGMENT_SHADER,
                                               "void missing(); void main() { missing(); }", shader);
        EXPECT_FALSE(GlShaderMgr::linkShadersToProgram(program));
    });
    EXPECT_EQ(output.err, "ERROR: Linking failed.\n");
    EXPECT_NE(output.out.find("Program InfoLog:\n"), std::string::npos);
}

TEST_F(GlShaderMgrTest, TheVersionsOfTheDriverAreRead)
{
    int major = 0, minor = 0;
    GlShaderMgr::getGlVersion(major, minor);
    EXPECT_GE(major, 2);
    GlShaderMgr::getGlslVersion(major, minor);
    EXPECT_GE(major * 100 + minor, 110);
}

} // namespace
} // namespace velmor::tests
