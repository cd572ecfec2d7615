#pragma once

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace velmor::tests {

/// How a run of a program ended.
struct ProgramEnd
{
    int exitCode; ///< -1 when a signal ended it
    int signal;   ///< 0 when it ended by itself
    std::string out;
    std::string err;
};

/// Runs a program in a folder of the test's own, which is empty at the start and gone at the end.
class ProgramTest : public testing::Test
{
protected:
    using Words = std::vector<std::string>;                 ///< a program and its arguments
    using Environment = std::map<std::string, std::string>; ///< what is set beside the test's own

    ProgramTest();
    ~ProgramTest() override;

    /// Runs a program to its end, with the test's folder as its working folder.
    ProgramEnd runCommand(const Words& words, const Environment& environment = {});

    /// Runs a program with a terminal as its standard error.
    ProgramEnd runCommandOnTerminal(const Words& words);

    /// Starts a program and goes on.
    void startCommand(const Words& words, const Environment& environment = {});

    /// Waits until there is a file in a folder or below.
    void waitForFile(const std::string& folder, const std::string& name) const;

    /// Waits for the end of the program that was started.
    ProgramEnd wait();

    pid_t process() const { return mProcess; }

    std::filesystem::path path(const std::string& name) const { return mRunFolder / name; }

    /// Writes a file into the test's folder.
    void write(const std::string& name, const std::string& content) const;
    std::string read(const std::string& name) const;

    /// Writes a video of pictures of one size that differ from each other; of none, a video without frames.
    void writeVideo(const std::string& name, int pictures) const;

    /// Everything in a folder and below, by relative path; nothing when there is no such folder.
    std::set<std::string> filesIn(const std::string& folder) const;

    static void expectSuccess(const ProgramEnd& end);
    static void expectFailure(const ProgramEnd& end, int exitCode, const std::string& err);

private:
    pid_t spawn(Words words, const Environment& environment, const std::string& errorStream);
    std::string streamFile(const std::string& name) const { return mFolder.file(name); }

    const TemporaryFolder mFolder; ///< what the program prints, beside the folder that it runs in
    const std::filesystem::path mRunFolder = mFolder.path() / "run";
    pid_t mProcess = -1;
};

/// Frame of the test video, counted from 1, 8-bit BGR.
cv::Mat testFrame(int number);

/// Whether a text holds a line of that form, a POSIX extended expression.
bool hasLine(const std::string& text, const std::string& form);

} // namespace velmor::tests
