// What the viewer says to a command line.

#include "tests/viewer/ViewerTest.h"

namespace velmor::tests {
namespace {

class CommandLine : public ViewerTest
{
protected:
    void expectRefusal(const Arguments& arguments, int exitCode, const std::string& reason,
                       const Environment& environment = {})
    {
        expectFailure(run(arguments, environment), exitCode, "velmor-viewer: " + reason);
    }
};

TEST_F(CommandLine, HelpListsInputsKeysAndMouse)
{
    const ProgramEnd end = run({"--help"});
    expectSuccess(end);
    EXPECT_EQ(end.out.rfind("usage: velmor-viewer ", 0), 0U);
    for (const char* const line :
         {"  --help +show this text", "  Right, n +next operator", "  m +the filter in memory, and on textures",
          "  Left drag +a region of .*", "  Right drag +colours .*", "  Esc, q +quit"})
        EXPECT_TRUE(hasLine(end.out, line)) << line << '\n' << end.out;
}

TEST_F(CommandLine, WrongArgumentsAreNamed)
{
    expectRefusal({"--size"}, 2, "unknown option '--size' (--help shows the usage)");
    expectRefusal({"a.png", "b.png"}, 2, "expected one input, got 'a.png' and 'b.png' (--help shows the usage)");
}

TEST_F(CommandLine, WhatCannotBeReadIsNamedWithTheReason)
{
    expectRefusal({"missing.png"}, 1, "cannot read 'missing.png': No such file or directory");
    expectRefusal({"--", "-missing.png"}, 1, "cannot read '-missing.png': No such file or directory");
    expectRefusal({"."}, 1, "cannot read '.': it is a folder");
    write("text.avi", "no video");
    expectRefusal({"text.avi"}, 1, "cannot read 'text.avi': it holds no picture and no video frame of a known format");
}

TEST_F(CommandLine, AMissingDisplayIsNamed)
{
    expectRefusal({VELMOR_TEST_PHOTOGRAPH}, 1, "cannot open a window: failed to open display ':7654'",
                  {{"DISPLAY", ":7654"}});
}

} // namespace
} // namespace velmor::tests
