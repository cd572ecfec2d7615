// Runs a chain of filters over all pictures and videos of a folder, on a machine without a display:
//     headless_batch photographs results RGB2GRAY,Laplacian
//     headless_batch photographs results RGB2GRAY,Laplacian 4
//     headless_batch photographs results RGB2GRAY,Laplacian --native
// Each file has a process of its own; as many run at a time as the number says, or as there are processors. What is
// done already, in an earlier run that was interrupted for instance, is not done again. A file that cannot be read, or
// that ends its process, is reported and skipped; the next run tries it again. With --native, which may stand anywhere,
// the filters work in main memory: no context is made, and no driver is needed.
// Ctrl-C and SIGTERM end the run and leave no unfinished file. Else the exit code is 0 when all files are done, 2 when
// some were skipped, 1 when the run could not begin.

#include "catalogue/GpuFilters.h"
#include "catalogue/NativeFilters.h"
#include "core/cvdata/Image.h"
#include "glsupport/HeadlessContext.h"
#include "glsupport/RectTexture.h"
#include "imageio/ImageIo.h"

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace velmor;
using core::cvdata::Image;
using cvprocess::GpuStdShaders;
using glsupport::RectTexture;
namespace fs = std::filesystem;

// ---- The work on one file

/// Whether a filter can stand in a chain: it makes a picture of a picture alone.
bool isChainable(const catalogue::Operator& each)
{
    return each.kind == catalogue::Kind::FILTER && each.sources == 1 && each.need == catalogue::Need::NOTHING &&
           catalogue::isPicture(each.takes) && catalogue::isPicture(each.gives);
}

using FilterNames = std::vector<std::string>;

/// Filters one behind the other. Results in between are floats, which are not limited to 0..1.
class Chain
{
public:
    Chain() = default;
    Chain(const Chain&) = delete;
    Chain& operator=(const Chain&) = delete;
    virtual ~Chain() = default;

    /// Replaces an image by the last filter's result.
    /// @param image  of three channels, of the size that the chain was made for
    virtual void run(Image& image) = 0;
};

/// Filters on textures, each with one for its result.
class TextureChain : public Chain
{
public:
    TextureChain(const FilterNames& names, unsigned width, unsigned height) : mSource(width, height, RectTexture::RGB8)
    {
        RectTexture* source = &mSource;
        for (const std::string& name : names) {
            mResults.push_back(std::make_unique<RectTexture>(width, height, RectTexture::RGBA32F));
            mFilters.push_back(catalogue::makeGpu(name));
            mFilters.back()->prepareExecution(*source, *mResults.back());
            source = mResults.back().get();
        }
    }

    void run(Image& image) override
    {
        mSource.upload(image);
        for (const auto& filter : mFilters)
            filter->execute();
        mResults.back()->download(image);
    }

private:
    RectTexture mSource;
    std::vector<std::unique_ptr<RectTexture>> mResults;
    std::vector<std::unique_ptr<GpuStdShaders>> mFilters;
};

/// A picture with as many channels as a filter takes. As in textures, what is one channel of several is the first, and
/// grey is the same in all.
cv::Mat withChannels(const cv::Mat& picture, int channels)
{
    if (picture.channels() == channels)
        return picture;
    cv::Mat result(picture.size(), CV_MAKETYPE(picture.depth(), channels));
    const int fromTo[] = {0, 0, 0, 1, 0, 2};
    cv::mixChannels(&picture, 1, &result, 1, fromTo, static_cast<std::size_t>(channels));
    return result;
}

int channelsTaken(const catalogue::Operator& each, const cv::Mat& picture)
{
    if (each.takes == catalogue::Data::PICTURE)
        return picture.channels();
    return each.takes == catalogue::Data::COLOUR ? 3 : 1;
}

/// Filters on pictures in main memory.
class NativeChain : public Chain
{
public:
    explicit NativeChain(const FilterNames& names)
    {
        for (const std::string& name : names)
            mFilters.push_back({*catalogue::find(name), catalogue::makeNative(name)});
    }

    void run(Image& image) override
    {
        cv::Mat pixels = image.mat();
        cv::Mat picture;
        cv::cvtColor(pixels, picture, cv::COLOR_BGR2RGB); // filters take red for the first channel
        for (const Step& step : mFilters) {
            const bool givesBytes = &step == &mFilters.back() && step.what.gives != catalogue::Data::GRADIENTS;
            cv::Mat result;
            step.filter->execute(withChannels(picture, channelsTaken(step.what, picture)), result,
                                 givesBytes ? CV_8U : CV_32F);
            picture = result;
        }
        if (picture.depth() != CV_8U)
            picture.convertTo(picture, CV_8U, 255);
        cv::cvtColor(withChannels(picture, 3), pixels, cv::COLOR_RGB2BGR);
    }

private:
    struct Step
    {
        const catalogue::Operator& what;
        std::unique_ptr<native::Filter> filter;
    };

    std::vector<Step> mFilters;
};

/// What is done to each file.
struct Work
{
    FilterNames filters;
    bool isNative; ///< in main memory, not on textures
};

std::unique_ptr<Chain> makeChain(const Work& work, unsigned width, unsigned height)
{
    if (work.isNative)
        return std::make_unique<NativeChain>(work.filters);
    return std::make_unique<TextureChain>(work.filters, width, height);
}

void filterPicture(const std::string& input, const std::string& output, const Work& work)
{
    Image picture = imageio::load(input, Image::BGR);
    makeChain(work, picture.width(), picture.height())->run(picture);
    imageio::save(picture, output);
}

void filterVideo(const std::string& input, const std::string& output, const Work& work)
{
    cv::VideoCapture video(input, cv::CAP_FFMPEG);
    cv::Mat frame;
    if (!video.read(frame))
        throw std::runtime_error("it holds no picture and no video frame of a known format");
    const auto width = static_cast<unsigned>(frame.cols), height = static_cast<unsigned>(frame.rows);
    const std::unique_ptr<Chain> chain = makeChain(work, width, height);
    cv::VideoWriter writer(output, cv::CAP_OPENCV_MJPEG, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'),
                           std::max(1.0, video.get(cv::CAP_PROP_FPS)), frame.size());
    int frames = 0;
    do {
        Image view(width, height, Image::BGR, frame.data, static_cast<unsigned>(frame.step));
        chain->run(view);
        writer.write(frame);
        ++frames;
    } while (video.read(frame));
    writer.release();
    // The writer does not tell when it fails, on a full disk for instance: the file itself is asked.
    if (cvRound(cv::VideoCapture(output, cv::CAP_FFMPEG).get(cv::CAP_PROP_FRAME_COUNT)) != frames)
        throw std::runtime_error("not all frames could be written");
}

// ---- The run over all files

struct Job
{
    fs::path input;
    std::string outputName;
    bool isPicture;
};

/// A process that works on one file.
struct Worker
{
    Job job;
    pid_t process;
    int errors; ///< where to read what it prints on standard error
};

/// The files of a folder and what their results are to be called.
std::vector<Job> jobsIn(const fs::path& folder, const std::string& chain)
{
    std::vector<Job> jobs;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (!entry.is_regular_file() || name.front() == '.')
            continue;
        const bool isPicture = cv::haveImageReader(entry.path().string());
        jobs.push_back({entry.path(), name + '.' + chain + (isPicture ? ".png" : ".avi"), isPicture});
    }
    std::sort(jobs.begin(), jobs.end(), [](const Job& a, const Job& b) { return a.input < b.input; });
    return jobs;
}

bool isDone(const Job& job, const fs::path& folder)
{
    const fs::path output = folder / job.outputName;
    return fs::exists(output) && fs::last_write_time(output) >= fs::last_write_time(job.input);
}

/// Everything that was written into a pipe; its last line.
std::string lastLine(int pipe)
{
    std::string text;
    char part[4096];
    for (ssize_t bytes = 0; (bytes = read(pipe, part, sizeof part)) > 0;)
        text.append(part, static_cast<std::size_t>(bytes));
    text.erase(text.find_last_not_of('\n') + 1);
    return text.substr(text.rfind('\n') + 1);
}

/// A bar on standard error: on a terminal one line that is written over, elsewhere a line each time that it grows.
class Progress
{
public:
    explicit Progress(std::size_t total) : mTotal(total), mIsTerminal(isatty(STDERR_FILENO) == 1) {}

    void advance(std::size_t steps)
    {
        mDone += steps;
        const std::size_t percent = 100 * mDone / mTotal;
        if (percent == mPercent)
            return;
        mPercent = percent;
        const std::string bar = std::string(percent / 4, '#') + std::string(25 - percent / 4, '.');
        std::cerr << (mIsTerminal ? "\r[" : "[") << bar << "] " << percent << " %"
                  << (mIsTerminal && percent < 100 ? "" : "\n") << std::flush;
    }

    /// Prints a line in the place of the bar, which comes back below when it grows.
    void interject(const std::string& text) const
    {
        std::cerr << (mIsTerminal ? "\r\033[K" : "") << "headless_batch: " << text << std::endl;
    }

private:
    std::size_t mTotal, mDone = 0, mPercent = 0;
    bool mIsTerminal;
};

/// Works on files in parallel processes. Results appear in the output folder when they are complete.
class Batch
{
public:
    Batch(std::vector<Job> jobs, const fs::path& output, const Work& work)
        : mJobs(std::move(jobs)), mOutput(output), mUnfinished(output / ".unfinished"), mWork(work),
          mProgress(mJobs.size())
    {
        fs::remove_all(mUnfinished); // of a run that was killed
        fs::create_directory(mUnfinished);
    }
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    /// Ends the processes that are still at work, and takes away what they wrote.
    ~Batch()
    {
        for (const Worker& worker : mWorkers) {
            kill(worker.process, SIGKILL);
            waitpid(worker.process, nullptr, 0);
        }
        std::error_code ignored;
        fs::remove_all(mUnfinished, ignored);
    }

    /// Works until every file is done or skipped, or a signal interrupts.
    /// @param signals  SIGCHLD and those that interrupt, all of them blocked
    /// @return         the signal that interrupted, 0 for none
    int run(std::size_t processes, const sigset_t& signals)
    {
        const auto done =
            std::stable_partition(mJobs.begin(), mJobs.end(), [this](auto& job) { return !isDone(job, mOutput); });
        mDoneBefore = static_cast<std::size_t>(mJobs.end() - done);
        mJobs.erase(done, mJobs.end());
        mProgress.advance(mDoneBefore);
        for (auto next = mJobs.begin(); next != mJobs.end() || !mWorkers.empty();) {
            while (next != mJobs.end() && mWorkers.size() < processes)
                start(*next++);
            int signal = 0;
            sigwait(&signals, &signal);
            if (signal != SIGCHLD)
                return signal;
            collect();
        }
        return 0;
    }

    bool hasSkipped() const { return mSkipped > 0; }

    void printSummary(bool isInterrupted) const
    {
        const std::string text = std::to_string(mDone) + " done, " + std::to_string(mDoneBefore) + " done before, " +
                                 std::to_string(mSkipped) + " skipped";
        if (isInterrupted)
            mProgress.interject("interrupted, " + text);
        else
            std::cout << text << '\n';
    }

private:
    void start(const Job& job)
    {
        int pipe[2];
        if (pipe2(pipe, O_NONBLOCK | O_CLOEXEC) != 0) // not blocking: what is too much for the pipe is dropped
            throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
        const pid_t process = fork(); // before any OpenGL in this process: a context does not survive it
        if (process == 0) {
            dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO); // filters print when they are made
            dup2(pipe[1], STDERR_FILENO);
            std::_Exit(workOn(job));
        }
        const int error = errno;
        close(pipe[1]);
        if (process < 0)
            throw std::system_error(error, std::generic_category(), "cannot start a process");
        mWorkers.push_back({job, process, pipe[0]});
    }

    /// What the process for a file does; its exit code.
    int workOn(const Job& job) const
    {
        try {
            setenv("OPENCV_FFMPEG_LOGLEVEL", "-8", 0);
            std::optional<glsupport::HeadlessContext> context;
            if (mWork.isNative)
                cv::setNumThreads(1); // the processes share the processors
            else
                context.emplace();
            const fs::path unfinished = mUnfinished / job.outputName;
            (job.isPicture ? filterPicture : filterVideo)(job.input, unfinished, mWork);
            fs::rename(unfinished, mOutput / job.outputName);
            return 0;
        } catch (const std::exception& error) {
            std::cerr << error.what() << '\n';
            return 1;
        }
    }

    /// Takes note of the processes that have ended.
    void collect()
    {
        for (auto worker = mWorkers.begin(); worker != mWorkers.end();) {
            int status = 0;
            if (waitpid(worker->process, &status, WNOHANG) == 0) {
                ++worker;
                continue;
            }
            const std::string message = lastLine(worker->errors);
            close(worker->errors);
            const std::string file = '\'' + worker->job.input.string() + '\'';
            if (status == 0) {
                ++mDone;
                if (!message.empty())
                    mProgress.interject(file + ": " + message);
            } else {
                ++mSkipped;
                const std::string crash = WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) + std::string(" ") : "";
                mProgress.interject("skipped " + file + ": " + crash + message);
            }
            mProgress.advance(1);
            worker = mWorkers.erase(worker);
        }
    }

    std::vector<Job> mJobs;
    std::vector<Worker> mWorkers;
    fs::path mOutput;
    fs::path mUnfinished; ///< folder for results that are not complete yet
    Work mWork;
    Progress mProgress;
    std::size_t mDoneBefore = 0, mDone = 0, mSkipped = 0;
};

bool isKnown(const catalogue::Operator& each, bool isNative)
{
    return isChainable(each) && (!isNative || catalogue::hasNative(each));
}

std::string knownFilters(bool isNative)
{
    std::string names;
    for (const catalogue::Operator& each : catalogue::operators())
        if (isKnown(each, isNative))
            names += ' ' + each.name;
    return names;
}

/// The names between the commas.
FilterNames filtersIn(const std::string& chain, bool isNative)
{
    FilterNames names;
    std::istringstream stream(chain);
    stream.exceptions(std::ios::badbit); // else a name that there is no memory for ends the chain
    for (std::string name; std::getline(stream, name, ',');) {
        const catalogue::Operator* const found = catalogue::find(name);
        if (!found || !isKnown(*found, isNative))
            throw std::invalid_argument(std::string("there is no ") + (isNative ? "native " : "") + "filter '" + name +
                                        "', only" + knownFilters(isNative));
        names.push_back(name);
    }
    if (names.empty())
        throw std::invalid_argument("expected at least one filter");
    return names;
}

/// Makes the output folder and keeps other runs out of it until the process ends.
void claim(const fs::path& folder)
{
    fs::create_directories(folder);
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0 || flock(descriptor, LOCK_EX | LOCK_NB) != 0)
        throw std::runtime_error("another run is writing into '" + folder.string() + "'");
}

int runBatch(std::vector<std::string> arguments)
{
    const auto option = std::find(arguments.begin(), arguments.end(), "--native");
    const bool isNative = option != arguments.end();
    if (isNative)
        arguments.erase(option);
    if (arguments.size() != 3 && arguments.size() != 4)
        throw std::invalid_argument("expected a folder to read, one to write, filters, and perhaps a number of "
                                    "processes and --native");
    const fs::path input = arguments[0], output = arguments[1];
    const std::string& chain = arguments[2];
    const Work work = {filtersIn(chain, isNative), isNative};
    const int processes = arguments.size() == 4 ? std::atoi(arguments[3].c_str())
                                                : static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    if (processes < 1)
        throw std::invalid_argument("expected at least one process, got '" + arguments[3] + "'");
    const std::vector<Job> jobs = jobsIn(input, chain);
    if (jobs.empty())
        throw std::runtime_error("there are no files in '" + input.string() + "'");
    claim(output);
    if (fs::equivalent(input, output))
        throw std::invalid_argument("expected another folder to write than the one to read");

    std::signal(SIGCHLD, SIG_DFL); // whoever started the program may have had it ignored
    sigset_t signals;              // blocked, here and in the workers, and taken up between two steps
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGCHLD})
        sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    int signal = 0;
    int exitCode = 0;
    {
        Batch batch(jobs, output, work);
        signal = batch.run(static_cast<std::size_t>(processes), signals);
        batch.printSummary(signal != 0);
        exitCode = batch.hasSkipped() ? 2 : 0;
    }
    if (signal != 0) { // ends by it, as the caller's shell expects
        std::signal(signal, SIG_DFL);
        std::raise(signal);
        sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    }
    return exitCode;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return runBatch({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::cerr << "headless_batch: " << error.what() << '\n';
        return 1;
    }
}
