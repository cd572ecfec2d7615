#include "examples/shared/Program.h"

#include <GL/glew.h>

#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <new>
#include <vector>

namespace velmor::examples {
namespace {

constexpr int kUsageError = 2;

void flushOutputs()
{
    std::cout.flush();
    std::fflush(stdout);
    std::fflush(stderr);
}

} // namespace

std::string CommandLine::parse(int argc, const char* const* argv) const
{
    std::vector<std::string> inputs;
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const auto flag = flags.find(argument);
        const auto setting = settings.find(argument);
        if (optionsEnded || argument.empty() || argument.front() != '-')
            inputs.push_back(argument);
        else if (argument == "--")
            optionsEnded = true;
        else if (flag != flags.end())
            *flag->second = true;
        else if (setting == settings.end())
            throw UsageError("unknown option '" + argument + "'");
        else if (++i == argc || *argv[i] == '\0')
            throw UsageError(argument + ": expected a value behind it");
        else
            *setting->second = argv[i];
    }
    if (inputs.size() > 1)
        throw UsageError("expected one input, got '" + inputs[0] + "' and '" + inputs[1] + "'");
    return inputs.empty() ? kUsualInput : inputs.front();
}

void silenceCodecs()
{
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    setenv("OPENCV_FFMPEG_LOGLEVEL", "-8", 0);
}

void reportFailure(std::string_view name, std::string_view reason, std::string_view detail)
{
    std::cerr << name << ": " << reason << detail << std::endl;
}

int runProgram(const std::string& name, const std::function<void()>& program)
{
    try {
        program();
        return EXIT_SUCCESS;
    } catch (const UsageError& error) {
        reportFailure(name, error.what(), " (--help shows the usage)");
        return kUsageError;
    } catch (const cv::Exception& error) {
        reportFailure(name, "OpenCV: ", error.err);
    } catch (const std::bad_alloc&) {
        reportFailure(name, "there is not enough memory for frames of this size");
    } catch (const std::exception& error) {
        reportFailure(name, error.what());
    }
    return EXIT_FAILURE;
}

void requireFilterSupport(const std::string& context)
{
    for (const char* const name : {"GL_VERSION_2_0", "GL_ARB_texture_rectangle", "GL_EXT_framebuffer_object"})
        if (!glewIsSupported(name))
            throw std::runtime_error("cannot run filters on " + context + ": it lacks " + name);
}

void writeFile(const std::string& file, const std::string& text)
{
    errno = 0;
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    stream.close();
    if (!stream)
        throw std::runtime_error("cannot write '" + file + "': " + std::strerror(errno));
}

MessageLog::MessageLog() : mFile(memfd_create("messages", MFD_CLOEXEC))
{
    if (mFile < 0)
        throw std::runtime_error(std::string("cannot keep messages: ") + std::strerror(errno));
}

MessageLog::~MessageLog()
{
    close(mFile);
}

MessageLog::Capture::Capture(const MessageLog& log, int output)
    : mOutput(output), mSaved(fcntl(output, F_DUPFD_CLOEXEC, STDERR_FILENO + 1))
{
    flushOutputs();
    dup2(log.mFile, mOutput);
}

MessageLog::Capture::~Capture()
{
    flushOutputs();
    dup2(mSaved, mOutput);
    close(mSaved);
}

void MessageLog::saveTo(const std::string& file) const
{
    flushOutputs();
    std::string text(static_cast<std::size_t>(lseek(mFile, 0, SEEK_END)), '\0');
    const ssize_t bytes = pread(mFile, text.data(), text.size(), 0);
    text.resize(bytes > 0 ? static_cast<std::size_t>(bytes) : 0);
    writeFile(file, text);
}

} // namespace velmor::examples
