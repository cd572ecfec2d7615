#include "tests/demo/DemoTest.h"

#include <signal.h>

namespace velmor::tests {
namespace {

using Interruption = DemoTest;

TEST_F(Interruption, WhatAKilledRunLeftIsTakenAwayByTheNext)
{
    ASSERT_NO_FATAL_FAILURE(start({"--frames", "700", "--out", "deep/out"}, "deep/out"));
    kill(process(), SIGINT);
    EXPECT_EQ(wait().signal, SIGINT);
    EXPECT_EQ(filesIn("deep/out"), std::set<std::string>{"motion.mp4"});
    expectSuccess(run({"--frames", "1", "--out", "deep/out"}));
    EXPECT_EQ(filesIn("deep/out"), (std::set<std::string>{"contact-sheet.png", "messages.log", "summary.txt"}));
}

} // namespace
} // namespace velmor::tests
