#include "tests/demo/DemoTest.h"

namespace velmor::tests {
namespace {

using Terminal = DemoTest;

TEST_F(Terminal, ShowsBarsThatGrowAndGoAway)
{
    writeVideo("moving.avi", 3);
    const ProgramEnd end = runOnTerminal({"moving.avi", "--frames", "3", "--out", "out"});
    EXPECT_EQ(end.exitCode, 0);
    const std::string clear = "\r\033[K";
    const std::string frames = clear + "[##########....................] Frame 1" + //
                               clear + "[####################..........] Frame 2" + //
                               clear + "[##############################] Frame 3" + clear;
    EXPECT_EQ(end.err.substr(0, frames.size()), frames);
    const std::string last = clear + "[##############################] Faces" + clear;
    EXPECT_EQ(end.err.substr(end.err.size() - last.size()), last);
}

TEST_F(Terminal, HelpGoesToStandardOutput)
{
    const ProgramEnd end = run({"--help"});
    expectSuccess(end);
    EXPECT_EQ(end.out.rfind("usage: velmor_demo [video | image | camera] [options]\n", 0), 0U);
    for (const char* const option : {"--out DIR", "--frames N", "--sequence", "--help"})
        EXPECT_NE(end.out.find(option), std::string::npos) << option;
    EXPECT_EQ(filesIn("."), std::set<std::string>());
}

TEST_F(Terminal, AFullOutputIsNoticed)
{
    writeVideo("moving.avi", 2);
    const ProgramEnd end = runCommand(
        {"/bin/sh", "-c", "exec \"$0\" \"$@\" >/dev/full", VELMOR_DEMO_PROGRAM, "moving.avi", "--out", "out"});
    expectFailure(end, 1, "velmor_demo: cannot print the summary: No space left on device");
}

} // namespace
} // namespace velmor::tests
