#include "catalogue/NativeFilters.h"
#include "tests/examples/ExampleTest.h"
#include "tests/examples/Videos.h"

#include <opencv2/imgcodecs.hpp>

#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <sstream>

namespace velmor::tests {
namespace {

namespace fs = std::filesystem;

const std::string kChain = "Not,FlipV";
const std::vector<std::string> kNative = {"--native"};

cv::Mat noise()
{
    cv::Mat picture(30, 40, CV_8UC3);
    cv::randu(picture, 0, 256);
    return picture;
}

/// What the chain makes of a picture.
cv::Mat filtered(const cv::Mat& picture)
{
    cv::Mat result;
    cv::flip(cv::Scalar::all(255) - picture, result, 0);
    return result;
}

/// Words, each behind a separator.
std::string joined(const std::vector<std::string>& words, const std::string& separator)
{
    std::string text;
    for (const std::string& word : words)
        text += separator + word;
    return text;
}

/// The bar moves forward alone, and arrives once.
void expectProgressToTheEnd(const std::string& text)
{
    const std::regex form(R"(\] (\d+) %)");
    int before = 0;
    for (std::sregex_iterator match(text.begin(), text.end(), form), end; match != end; ++match) {
        const int percent = std::stoi((*match)[1]);
        EXPECT_GT(percent, before);
        before = percent;
    }
    EXPECT_EQ(before, 100);
}

class HeadlessBatch : public ExampleTest
{
protected:
    HeadlessBatch() : ExampleTest("headless_batch") { fs::create_directory(path("in")); }

    void writePicture(const std::string& name, const cv::Mat& picture)
    {
        cv::imwrite(path("in/" + name).string(), picture);
    }

    cv::Mat result(const std::string& name) { return cv::imread(path(resultOf(name)).string()); }

    static std::string resultOf(const std::string& name) { return "out/" + name + '.' + kChain + ".png"; }

    ProgramEnd runBatch() { return run({"in", "out", kChain, "2"}); }

    void expectEnd(const ProgramEnd& end, int exitCode, const std::string& summary)
    {
        EXPECT_EQ(end.exitCode, exitCode) << end.err;
        EXPECT_EQ(end.out, summary + "\n");
        expectProgressToTheEnd(end.err);
        EXPECT_EQ(filesIn("out").count(".unfinished"), 0U);
    }

    /// Starts a run, as a shell does in a process group of its own, and waits until it works on the last of two files,
    /// a long video.
    void startLongRun()
    {
        writePicture("a.png", noise());
        fs::create_symlink(VELMOR_TEST_VIDEO, path("in/b.avi"));
        Words words = commandOf({"in", "out", kChain, "1"});
        words.insert(words.begin(), "/usr/bin/setsid");
        startCommand(words);
        waitForFile("out", ".unfinished/b.avi." + kChain + ".avi");
    }

    /// The filters that the program says it has, with an option or without.
    Words namesInRefusal(const Words& options = {})
    {
        Words arguments = {"in", "out", "?"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const std::string text = run(arguments).err;
        const std::string before = ", only ";
        std::istringstream names(text.substr(text.find(before) + before.size()));
        return {std::istream_iterator<std::string>(names), {}};
    }

    /// What a chain makes of the picture a.png, on textures or in main memory.
    cv::Mat resultOn(const std::string& chain, const Words& options)
    {
        const std::string folder = options.empty() ? "out" : "native";
        Words arguments = {"in", folder, chain, "1"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        expectEnd(run(arguments), 0, "1 done, 0 done before, 0 skipped");
        return cv::imread(path(folder + "/a.png." + chain + ".png").string(), cv::IMREAD_UNCHANGED);
    }

    /// The same within one step, which is where a value that lies on the border of two steps may differ.
    void expectSameOnBoth(const std::string& chain)
    {
        SCOPED_TRACE(chain);
        cv::Mat onTextures = resultOn(chain, {}), native = resultOn(chain, kNative);
        ASSERT_EQ(native.type(), CV_8UC3);
        ASSERT_EQ(native.size(), onTextures.size());
        if (chain == "BayerRG2GRAY") { // its shader leaves all but red without a value
            cv::extractChannel(onTextures, onTextures, 2);
            cv::extractChannel(native, native, 2);
        }
        EXPECT_LE(cv::norm(native, onTextures, cv::NORM_INF), 1);
    }

    std::set<std::string> resultOfFirstFile() const { return {"a.png." + kChain + ".png"}; }
};

TEST_F(HeadlessBatch, FiltersPicturesAndVideos)
{
    const cv::Mat first = noise(), second = noise();
    writePicture("first.png", first);
    writePicture("second.png", second);
    const std::vector<cv::Mat> frames = readFrames(VELMOR_TEST_VIDEO, 3);
    writeFrames(path("in/third.avi").string(), frames);
    write("in/.hidden", "is left alone");
    expectEnd(runBatch(), 0, "3 done, 0 done before, 0 skipped");
    EXPECT_EQ(filesIn("out").size(), 3U);
    EXPECT_EQ(cv::norm(result("first.png"), filtered(first), cv::NORM_INF), 0);
    EXPECT_EQ(cv::norm(result("second.png"), filtered(second), cv::NORM_INF), 0);
    const std::vector<cv::Mat> results = readFrames(path("out/third.avi." + kChain + ".avi").string());
    ASSERT_EQ(results.size(), frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i) { // coded twice with losses
        cv::Mat difference;
        cv::absdiff(results[i], filtered(frames[i]), difference);
        EXPECT_LT(cv::mean(cv::mean(difference))[0], 5);
    }
}

TEST_F(HeadlessBatch, DoesNotDoAgainWhatIsDone)
{
    const cv::Mat picture = noise();
    for (const char* const name : {"kept.png", "lost.png", "changed.png"})
        writePicture(name, picture);
    expectEnd(runBatch(), 0, "3 done, 0 done before, 0 skipped");
    write(resultOf("kept.png"), "is not written again");
    fs::remove(path(resultOf("lost.png")));
    write(resultOf("changed.png"), "is written again");
    fs::last_write_time(path("in/changed.png"),
                        fs::last_write_time(path(resultOf("changed.png"))) + std::chrono::seconds(1));
    expectEnd(runBatch(), 0, "2 done, 1 done before, 0 skipped");
    EXPECT_EQ(read(resultOf("kept.png")), "is not written again");
    EXPECT_EQ(cv::norm(result("lost.png"), filtered(picture), cv::NORM_INF), 0);
    EXPECT_EQ(cv::norm(result("changed.png"), filtered(picture), cv::NORM_INF), 0);
}

TEST_F(HeadlessBatch, SkipsBrokenFilesAndTriesThemAgain)
{
    writePicture("whole.png", noise());
    write("in/cut.png", read("in/whole.png").substr(0, 200));
    write("in/text.txt", "no picture");
    const std::string cut =
        "headless_batch: skipped 'in/cut.png': load(): cannot load 'in/cut.png': its picture is damaged, cut short or "
        "too large\n";
    const std::string text =
        "headless_batch: skipped 'in/text.txt': it holds no picture and no video frame of a known format\n";
    for (const char* const summary : {"1 done, 0 done before, 2 skipped", "0 done, 1 done before, 2 skipped"}) {
        const ProgramEnd end = runBatch();
        expectEnd(end, 2, summary);
        EXPECT_NE(end.err.find(cut), std::string::npos) << end.err;
        EXPECT_NE(end.err.find(text), std::string::npos) << end.err;
        EXPECT_EQ(filesIn("out").size(), 1U);
    }
}

TEST_F(HeadlessBatch, PassesOnWhatIsSaidAboutAFileThatIsDone)
{
    writePicture("a.jpg", noise());
    std::string bytes = read("in/a.jpg");
    write("in/a.jpg", bytes.erase(bytes.size() - 42, 40)); // the codec makes up what is missing before the end
    const ProgramEnd end = runBatch();
    expectEnd(end, 0, "1 done, 0 done before, 0 skipped");
    EXPECT_NE(end.err.find("headless_batch: 'in/a.jpg': Corrupt JPEG data: premature end of data segment"),
              std::string::npos)
        << end.err;
}

TEST_F(HeadlessBatch, SkipsAFileThatEndsItsProcess)
{
    ASSERT_NO_FATAL_FAILURE(startLongRun());
    pid_t worker = 0;
    const std::string program = std::to_string(process());
    std::ifstream("/proc/" + program + "/task/" + program + "/children") >> worker;
    ASSERT_GT(worker, 0);
    kill(worker, SIGKILL);
    const ProgramEnd end = wait();
    expectEnd(end, 2, "1 done, 0 done before, 1 skipped");
    EXPECT_NE(end.err.find("headless_batch: skipped 'in/b.avi': Killed"), std::string::npos) << end.err;
    EXPECT_EQ(filesIn("out"), resultOfFirstFile());
}

TEST_F(HeadlessBatch, EndsByASignalAndIsTakenUpAgain)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        fs::remove_all(path("in"));
        fs::remove_all(path("out"));
        fs::create_directory(path("in"));
        ASSERT_NO_FATAL_FAILURE(startLongRun());
        kill(-process(), signal); // to the workers too, as Ctrl-C on a terminal
        const ProgramEnd end = wait();
        EXPECT_EQ(end.signal, signal);
        EXPECT_EQ(end.out, "");
        EXPECT_EQ(end.err, "[############.............] 50 %\n"
                           "headless_batch: interrupted, 1 done, 0 done before, 0 skipped\n");
        EXPECT_EQ(filesIn("out"), resultOfFirstFile());
    }
    fs::remove(path("in/b.avi"));
    writePicture("b.png", noise());
    expectEnd(runBatch(), 0, "1 done, 1 done before, 0 skipped");
}

TEST_F(HeadlessBatch, KeepsOtherRunsOut)
{
    ASSERT_NO_FATAL_FAILURE(startLongRun());
    const pid_t first = process();
    expectRefusal({"in", "out", kChain}, "another run is writing into 'out'");
    kill(first, SIGTERM);
    waitpid(first, nullptr, 0);
    EXPECT_EQ(filesIn("out"), resultOfFirstFile());
}

TEST_F(HeadlessBatch, TakesAwayWhatAKilledRunLeft)
{
    writePicture("a.png", noise());
    write("out/.unfinished/a.png." + kChain + ".png", "half");
    expectEnd(runBatch(), 0, "1 done, 0 done before, 0 skipped");
    EXPECT_EQ(filesIn("out"), resultOfFirstFile());
}

TEST_F(HeadlessBatch, WritesOverOneLineOfATerminal)
{
    writePicture("a.png", noise());
    write("in/b.txt", "no picture");
    const ProgramEnd end = runCommandOnTerminal(commandOf({"in", "out", kChain, "1"}));
    EXPECT_EQ(end.exitCode, 2);
    EXPECT_EQ(end.err, "\r[############.............] 50 %"
                       "\r\033[Kheadless_batch: skipped 'in/b.txt': it holds no picture and no video frame of a known "
                       "format\r\n"
                       "\r[#########################] 100 %\r\n");
}

TEST_F(HeadlessBatch, RunsEveryFilterThatItNames)
{
    writePicture("a.png", noise());
    const Words names = namesInRefusal();
    for (const char* const name : {"BGR2GRAY", "BayerRG2RGB", "FlipV", "GRAY2Sobel", "Laplacian", "Not"})
        EXPECT_EQ(std::count(names.begin(), names.end(), name), 1) << name;
    expectEnd(run({"in", "out", joined(names, ",").substr(1)}), 0, "1 done, 0 done before, 0 skipped");
}

TEST_F(HeadlessBatch, MakesTheSamePicturesInMainMemory)
{
    writePicture("a.png", noise());
    const Words names = namesInRefusal(kNative);
    Words expected = namesInRefusal();
    const auto isNative = [](const std::string& name) {
        return catalogue::hasNative(*catalogue::find(name));
    };
    expected.erase(std::remove_if(expected.begin(), expected.end(), std::not_fn(isNative)), expected.end());
    EXPECT_EQ(names, expected);
    for (const std::string& name : names)
        expectSameOnBoth(name);
    expectSameOnBoth("Not," + joined(names, ",").substr(1)); // of floats, whatever there is
}

TEST_F(HeadlessBatch, NeedsNoContextInMainMemory)
{
    const cv::Mat picture = noise();
    writePicture("a.png", picture);
    const std::vector<cv::Mat> frames = readFrames(VELMOR_TEST_VIDEO, 2);
    writeFrames(path("in/b.avi").string(), frames);
    const Environment withoutOpenGl = {{"__EGL_VENDOR_LIBRARY_FILENAMES", "/nowhere.json"}};
    const ProgramEnd onTextures = run({"in", "out", "Not", "2"}, withoutOpenGl);
    expectEnd(onTextures, 2, "0 done, 0 done before, 2 skipped"); // so no context can be made
    EXPECT_TRUE(hasLine(onTextures.err, "headless_batch: skipped 'in/a.png': .*EGL.*")) << onTextures.err;

    const ProgramEnd native = run({"--native", "in", "out", "Not", "2"}, withoutOpenGl);
    expectEnd(native, 0, "2 done, 0 done before, 0 skipped");
    EXPECT_EQ(cv::norm(cv::imread(path("out/a.png.Not.png").string()), cv::Scalar::all(255) - picture, cv::NORM_INF),
              0);
    const std::vector<cv::Mat> results = readFrames(path("out/b.avi.Not.avi").string());
    ASSERT_EQ(results.size(), frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i) { // coded twice with losses
        cv::Mat difference;
        cv::absdiff(results[i], cv::Scalar::all(255) - frames[i], difference);
        EXPECT_LT(cv::mean(cv::mean(difference))[0], 5);
    }
}

TEST_F(HeadlessBatch, SaysWhatIsWrong)
{
    const std::string usage =
        "expected a folder to read, one to write, filters, and perhaps a number of processes and --native";
    expectRefusal({"in", "out"}, usage);
    expectRefusal({"in", "out", "--native"}, usage);
    expectRefusal({"in", "out", kChain, "2", "--native", "--native"}, usage);
    expectRefusal({"in", "out", kChain}, "there are no files in 'in'");
    writePicture("a.png", noise());
    const Words names = namesInRefusal();
    for (const char* const name :
         {"Bogus", "And", "ColorGMM", "PixelCount", "Moments"}) // they need more, or give no picture
        expectRefusal({"in", "out", std::string("Not,") + name},
                      std::string("there is no filter '") + name + "', only" + joined(names, " "));
    expectRefusal({"in", "out", "Bogus", "--native"},
                  "there is no native filter 'Bogus', only" + joined(namesInRefusal(kNative), " "));
    expectRefusal({"in", "out", ""}, "expected at least one filter");
    expectRefusal({"in", "out", kChain, "0"}, "expected at least one process, got '0'");
    expectRefusal({"in", "out", "Not", "--nativ"}, "expected at least one process, got '--nativ'");
    expectRefusal({"in", "in", kChain}, "expected another folder to write than the one to read");
    expectRefusal({"none", "out", kChain},
                  "filesystem error: directory iterator cannot open directory: No such file or directory [none]");
}

} // namespace
} // namespace velmor::tests
