#pragma once

#include "tests/support/ProgramTest.h"

namespace velmor::tests {

/// Runs the built demo program.
class DemoTest : public ProgramTest
{
protected:
    using Arguments = std::vector<std::string>;

    /// Runs the program to its end.
    ProgramEnd run(const Arguments& arguments, const Environment& environment = {})
    {
        return runCommand(commandOf(arguments), environment);
    }

    /// Runs the program with a terminal as its standard error.
    ProgramEnd runOnTerminal(const Arguments& arguments) { return runCommandOnTerminal(commandOf(arguments)); }

    /// Starts the program, and waits until it writes its video.
    void start(const Arguments& arguments, const std::string& outputFolder)
    {
        startCommand(commandOf(arguments));
        waitForFile(outputFolder, "motion.mp4");
    }

private:
    static Words commandOf(const Arguments& arguments)
    {
        Words words = {VELMOR_DEMO_PROGRAM};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return words;
    }
};

} // namespace velmor::tests
