#pragma once

#include "tests/support/ProgramTest.h"

namespace velmor::tests {

/// Runs a built example.
class ExampleTest : public ProgramTest
{
protected:
    using Arguments = std::vector<std::string>;

    /// @param name  of the example
    explicit ExampleTest(const std::string& name) : mName(name) {}

    ProgramEnd run(const Arguments& arguments, const Environment& environment = {})
    {
        return runCommand(commandOf(arguments), environment);
    }

    Words commandOf(const Arguments& arguments) const
    {
        Words words = {VELMOR_EXAMPLES_FOLDER "/" + mName};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return words;
    }

    /// The example says why, in one line, and writes nothing.
    void expectRefusal(const Arguments& arguments, const std::string& reason)
    {
        const std::set<std::string> files = filesIn(".");
        const ProgramEnd end = run(arguments);
        EXPECT_EQ(end.exitCode, 1);
        EXPECT_EQ(end.err, mName + ": " + reason + "\n");
        EXPECT_EQ(filesIn("."), files);
    }

private:
    std::string mName;
};

} // namespace velmor::tests
