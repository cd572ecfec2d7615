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

/// How a run of the demo program ended.
struct DemoEnd
{
    int exitCode; ///< -1 when a signal ended it
    int signal;   ///< 0 when it ended by itself
    std::string out;
    std::string err;
};

/// Runs the built demo program in a folder of the test's own, which is empty at the start and gone at the end.
class DemoTest : public testing::Test
{
protected:
    using Arguments = std::vector<std::string>;
    using Environment = std::map<std::string, std::string>; ///< what is set beside the test's own

    DemoTest();
    ~DemoTest() override;

    /// Runs the program to its end, with the test's folder as its working folder.
    DemoEnd run(const Arguments& arguments, const Environment& environment = {});

    /// Runs another command, which runs the program.
    DemoEnd runCommand(const std::vector<std::string>& words, const Environment& environment = {});

    /// Runs the program with a terminal as its standard error.
    DemoEnd runOnTerminal(const Arguments& arguments);

    /// Starts the program, and waits until it writes into its output folder.
    void start(const Arguments& arguments, const std::string& outputFolder);

    /// Waits for the end of the program that was started.
    DemoEnd wait();

    pid_t process() const { return mProcess; }

    std::filesystem::path path(const std::string& name) const { return mRunFolder / name; }

    /// Writes a file into the test's folder.
    void write(const std::string& name, const std::string& content) const;
    std::string read(const std::string& name) const;

    /// Writes a video of pictures of one size that differ from each other; of none, a video without frames.
    void writeVideo(const std::string& name, int pictures) const;

    /// Everything in a folder and below, by relative path; nothing when there is no such folder.
    std::set<std::string> filesIn(const std::string& folder) const;

    static void expectSuccess(const DemoEnd& end);
    static void expectFailure(const DemoEnd& end, int exitCode, const std::string& err);

private:
    pid_t spawn(std::vector<std::string> words, const Environment& environment, const std::string& errorStream);
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
