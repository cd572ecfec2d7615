#include "tests/demo/DemoTest.h"

namespace velmor::tests {
namespace {

using Terminal = DemoTest;

TEST_F(Terminal, ShowsABarThatGrowsAndGoesAway)
{
    writeVideo("moving.avi", 3);
    const DemoEnd end = runOnTerminal({"moving.avi", "--frames", "3", "--out", "out"});
    EXPECT_EQ(end.exitCode, 0);
    const std::string clear = "\r\033[K";
    EXPECT_EQ(end.err, clear + "[##########....................] Frame 1" +     //
                           clear + "[####################..........] Frame 2" + //
                           clear + "[##############################] Frame 3" + clear);
}

TEST_F(Terminal, HelpGoesToStandardOutput)
{
    const DemoEnd end = run({"--help"});
    expectSuccess(end);
    EXPECT_EQ(end.out.rfind("usage: velmor_demo [video | image | camera] [options]\n", 0), 0U);
    for (const char* const option : {"--out DIR", "--frames N", "--sequence", "--help"})
        EXPECT_NE(end.out.find(option), std::string::npos) << option;
    EXPECT_EQ(filesIn("."), std::set<std::string>());
}

} // namespace
} // namespace velmor::tests
