#include "tests/demo/DemoTest.h"

#include <signal.h>
#include <sys/wait.h>

#include <initializer_list>

namespace velmor::tests {
namespace {

class Interruption : public DemoTest
{
protected:
    /// A run that lasts until a test ends it.
    void startLongRun() { start({"--frames", "700", "--out", "deep/out"}, "deep/out"); }
};

TEST_F(Interruption, EndsByTheSignalAndLeavesNothing)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        SCOPED_TRACE(signal);
        ASSERT_NO_FATAL_FAILURE(startLongRun());
        kill(process(), signal);
        const ProgramEnd end = wait();
        EXPECT_EQ(end.signal, signal);
        EXPECT_EQ(end.out, "");
        EXPECT_EQ(end.err, "velmor_demo: interrupted, nothing was written\n");
        EXPECT_EQ(filesIn("."), std::set<std::string>());
    }
}

TEST_F(Interruption, WhatAKilledRunLeftIsTakenAwayByTheNext)
{
    ASSERT_NO_FATAL_FAILURE(startLongRun());
    kill(process(), SIGKILL);
    wait();
    EXPECT_EQ(filesIn("deep/out"), (std::set<std::string>{".unfinished", ".unfinished/motion.mp4"}));
    expectSuccess(run({"--frames", "1", "--out", "deep/out"}));
    EXPECT_EQ(filesIn("deep/out"), (std::set<std::string>{"contact-sheet.png", "messages.log", "summary.txt"}));
}

TEST_F(Interruption, TwoRunsDoNotWriteIntoOneFolder)
{
    ASSERT_NO_FATAL_FAILURE(startLongRun());
    const pid_t first = process();
    expectFailure(run({"--frames", "1", "--out", "deep/out"}), 1,
                  "velmor_demo: cannot write into 'deep/out': another run is writing there");
    EXPECT_EQ(filesIn("deep/out"), (std::set<std::string>{".unfinished", ".unfinished/motion.mp4"}));
    kill(first, SIGKILL);
    waitpid(first, nullptr, 0);
}

} // namespace
} // namespace velmor::tests
