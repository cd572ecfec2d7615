#include "tests/support/ProgramTest.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <fcntl.h>
#include <regex.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace velmor::tests {
namespace {

namespace fs = std::filesystem;

using Settings = std::map<std::string, std::string>;

#ifdef VELMOR_KEEP_LOADED
void addForSanitizers(Settings& settings)
{
    const char* const options = std::getenv("ASAN_OPTIONS");
    settings["LD_PRELOAD"] = VELMOR_KEEP_LOADED;
    settings["ASAN_OPTIONS"] = std::string(options ? options : "") + ":verify_asan_link_order=0";
}
#else
void addForSanitizers(Settings&) {}
#endif

/// The test's environment with some variables set.
std::vector<std::string> environmentWith(Settings settings)
{
    addForSanitizers(settings);
    std::vector<std::string> result;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        if (settings.count(text.substr(0, text.find('='))) == 0)
            result.push_back(text);
    }
    for (const auto& [name, value] : settings)
        result.push_back(name + "=" + value);
    return result;
}

/// The form in which the system takes lists of texts.
std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> result;
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

} // namespace

ProgramTest::ProgramTest()
{
    fs::create_directory(mRunFolder);
}

ProgramTest::~ProgramTest()
{
    if (mProcess > 0) {
        kill(mProcess, SIGKILL);
        wait();
    }
}

ProgramEnd ProgramTest::runCommand(const Words& words, const Environment& environment)
{
    startCommand(words, environment);
    return wait();
}

ProgramEnd ProgramTest::runCommandOnTerminal(const Words& words)
{
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot make a terminal");
    const std::string name = ptsname(terminal);
    const int otherEnd = open(name.c_str(), O_RDWR | O_NOCTTY); // keeps what was written from being dropped
    mProcess = spawn(words, {}, name);
    ProgramEnd end = wait();
    char text[4096];
    for (ssize_t bytes = 0; (bytes = ::read(terminal, text, sizeof text)) > 0;)
        end.err.append(text, static_cast<std::size_t>(bytes));
    close(otherEnd);
    close(terminal);
    return end;
}

void ProgramTest::startCommand(const Words& words, const Environment& environment)
{
    mProcess = spawn(words, environment, streamFile("err"));
}

void ProgramTest::waitForFile(const std::string& folder, const std::string& name) const
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (filesIn(folder).count(name) == 0) {
        ASSERT_LT(std::chrono::steady_clock::now(), end) << "the program does not begin to write";
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

ProgramEnd ProgramTest::wait()
{
    int status = 0;
    waitpid(mProcess, &status, 0);
    mProcess = -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0,
            contentOf(streamFile("out")), contentOf(streamFile("err"))};
}

pid_t ProgramTest::spawn(Words words, const Environment& environment, const std::string& errorStream)
{
    std::vector<std::string> variables = environmentWith(environment);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, streamFile("out").c_str(), kFlags, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorStream.c_str(), kFlags, 0600);
    posix_spawn_file_actions_addchdir_np(&actions, mRunFolder.c_str());
    pid_t process = -1;
    const int error = posix_spawn(&process, words.front().c_str(), &actions, nullptr, pointersTo(words).data(),
                                  pointersTo(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), "cannot start " + words.front());
    return process;
}

void ProgramTest::write(const std::string& name, const std::string& content) const
{
    fs::create_directories(path(name).parent_path());
    std::ofstream(path(name), std::ios::binary) << content;
}

std::string ProgramTest::read(const std::string& name) const
{
    return contentOf(path(name));
}

void ProgramTest::writeVideo(const std::string& name, int pictures) const
{
    fs::create_directories(path(name).parent_path());
    cv::VideoWriter writer(path(name).string(), cv::CAP_OPENCV_MJPEG, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 5,
                           {96, 64});
    for (int i = 0; i < pictures; ++i) {
        cv::Mat picture(64, 96, CV_8UC3, cv::Scalar(60, 90, 120));
        cv::rectangle(picture, cv::Rect(10 + 12 * i, 20, 20, 20), cv::Scalar::all(250), cv::FILLED);
        writer.write(picture);
    }
}

std::set<std::string> ProgramTest::filesIn(const std::string& folder) const
{
    std::set<std::string> result;
    std::error_code ignored; // files come and go while a program runs
    for (fs::recursive_directory_iterator entry(path(folder), ignored), end; entry != end; entry.increment(ignored))
        result.insert(entry->path().lexically_relative(path(folder)).string());
    return result;
}

void ProgramTest::expectSuccess(const ProgramEnd& end)
{
    EXPECT_EQ(end.exitCode, 0);
    EXPECT_EQ(end.err, "");
}

void ProgramTest::expectFailure(const ProgramEnd& end, int exitCode, const std::string& err)
{
    EXPECT_EQ(end.exitCode, exitCode);
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.err, err + "\n");
}

bool hasLine(const std::string& text, const std::string& form)
{
    regex_t expression;
    EXPECT_EQ(regcomp(&expression, ("^" + form + "$").c_str(), REG_EXTENDED | REG_NEWLINE | REG_NOSUB), 0);
    const bool found = regexec(&expression, text.c_str(), 0, nullptr, 0) == 0;
    regfree(&expression);
    return found;
}

cv::Mat testFrame(int number)
{
    cv::VideoCapture video(VELMOR_TEST_VIDEO, cv::CAP_FFMPEG);
    cv::Mat frame;
    for (int i = 0; i < number; ++i)
        video.read(frame);
    return frame;
}

} // namespace velmor::tests
