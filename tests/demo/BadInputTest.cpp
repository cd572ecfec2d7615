#include "tests/demo/DemoTest.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <sys/stat.h>

namespace velmor::tests {
namespace {

/// Each case ends with one line on standard error, and leaves no output folder.
class BadInput : public DemoTest
{
protected:
    void expectUnreadable(const std::string& input, const std::string& reason)
    {
        SCOPED_TRACE(input);
        expectFailure(run({input, "--out", "out"}), 1, "velmor_demo: " + reason);
        EXPECT_FALSE(std::filesystem::exists(path("out")));
    }

    void expectUnwritable(const std::string& folder, const std::string& reason)
    {
        SCOPED_TRACE(folder);
        expectFailure(run({"--frames", "2", "--out", folder}), 1,
                      "velmor_demo: cannot write into '" + folder + "': " + reason);
    }

    void expectMisused(const Arguments& arguments, const std::string& reason)
    {
        SCOPED_TRACE(reason);
        expectFailure(run(arguments), 2, "velmor_demo: " + reason + " (--help shows the usage)");
        EXPECT_EQ(filesIn("."), std::set<std::string>());
    }
};

const char* const kNoFrame = "it holds no picture and no video frame of a known format";

TEST_F(BadInput, WhatIsNotThere)
{
    expectUnreadable("nothing.avi", "cannot read 'nothing.avi': No such file or directory");
    expectUnreadable("", "cannot read '': No such file or directory");
    expectUnreadable("987", "cannot read '/dev/video987': No such file or directory");
    expectUnreadable("/dev/video987", "cannot read '/dev/video987': No such file or directory");
    write("file", "x");
    expectUnreadable("file/below.avi", "cannot read 'file/below.avi': Not a directory");
}

TEST_F(BadInput, WhatIsNoFile)
{
    std::filesystem::create_directory(path("folder.avi"));
    expectUnreadable("folder.avi", "cannot read 'folder.avi': it is a folder");
    ASSERT_EQ(mkfifo(path("pipe.avi").c_str(), 0600), 0);
    expectUnreadable("pipe.avi", "cannot read 'pipe.avi': it is neither a file nor a camera");
    expectUnreadable("/dev/null", "cannot read '/dev/null': it is no camera, or it delivers no pictures");
}

TEST_F(BadInput, FilesOfAnotherContent)
{
    write("empty.avi", "");
    expectUnreadable("empty.avi", "cannot read 'empty.avi': it is empty");
    write("text.avi", "This is a text, and no video.\n");
    expectUnreadable("text.avi", std::string("cannot read 'text.avi': ") + kNoFrame);
    write("zeros.png", std::string(10000, '\0'));
    expectUnreadable("zeros.png", std::string("cannot read 'zeros.png': ") + kNoFrame);
}

TEST_F(BadInput, DamagedFiles)
{
    writeVideo("no-frames.avi", 0);
    expectUnreadable("no-frames.avi", std::string("cannot read 'no-frames.avi': ") + kNoFrame);
    writeVideo("whole.avi", 2);
    write("cut.avi", read("whole.avi").substr(0, 100));
    expectUnreadable("cut.avi", std::string("cannot read 'cut.avi': ") + kNoFrame);
    cv::imwrite(path("whole.png").string(), testFrame(1));
    write("cut.png", read("whole.png").substr(0, 1000));
    expectUnreadable("cut.png", "load(): cannot load 'cut.png': its picture is damaged, cut short or too large");
}

TEST_F(BadInput, OutputFoldersThatCannotBe)
{
    write("file", "x");
    expectUnwritable("file", "Not a directory");
    expectUnwritable("file/below", "Not a directory");
    expectUnwritable("/dev/null", "Not a directory");
    expectUnwritable("/proc/velmor-demo", "No such file or directory");
    EXPECT_EQ(filesIn("."), std::set<std::string>{"file"});
}

TEST_F(BadInput, AFolderInThePlaceOfAResult)
{
    writeVideo("moving.avi", 2);
    std::filesystem::create_directories(path("out/summary.txt"));
    expectFailure(run({"moving.avi", "--out", "out"}), 1,
                  "velmor_demo: cannot replace '" + path("out/summary.txt").string() + "': it is a folder");
    EXPECT_EQ(filesIn("out"), std::set<std::string>{"summary.txt"});
}

TEST_F(BadInput, CommandLines)
{
    expectMisused({"--bogus"}, "unknown option '--bogus'");
    expectMisused({"-x"}, "unknown option '-x'");
    expectMisused({"a.avi", "b.avi"}, "expected one input, got 'a.avi' and 'b.avi'");
    expectMisused({"--out"}, "--out: expected a value behind it");
    expectMisused({"--out", ""}, "--out: expected a value behind it");
    expectMisused({"--frames"}, "--frames: expected a value behind it");
    for (const char* const number : {"0", "-1", "100001", "99999999999", "1.5", "8x", "x"})
        expectMisused({"--frames", number},
                      std::string("--frames: expected a number of 1 to 100000, got '") + number + "'");
}

TEST_F(BadInput, AMachineWithoutOpenGl)
{
    const ProgramEnd end = run({"--frames", "2", "--out", "out"}, {{"__EGL_VENDOR_LIBRARY_DIRS", "/nonexistent"}});
    expectFailure(end, 1,
                  "velmor_demo: HeadlessContext::HeadlessContext(): cannot make an OpenGL context; "
                  "EGL lacks EGL_EXT_platform_base");
    EXPECT_FALSE(std::filesystem::exists(path("out")));
}

TEST_F(BadInput, LeavesEarlierResultsAsTheyWere)
{
    writeVideo("moving.avi", 3);
    expectSuccess(run({"moving.avi", "--out", "out"}));
    const std::set<std::string> files = filesIn("out");
    const std::string summary = read("out/summary.txt");
    expectFailure(run({"nothing.avi", "--out", "out"}), 1,
                  "velmor_demo: cannot read 'nothing.avi': No such file or directory");
    EXPECT_EQ(filesIn("out"), files);
    EXPECT_EQ(read("out/summary.txt"), summary);
}

} // namespace
} // namespace velmor::tests
