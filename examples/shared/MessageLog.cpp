#include "examples/shared/MessageLog.h"

#include "examples/shared/TextFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <stdexcept>

namespace velmor::demo {
namespace {

void flushOutputs()
{
    std::cout.flush();
    std::fflush(stdout);
    std::fflush(stderr);
}

} // namespace

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
    if (mSaved < 0) {
        close(mOutput);
        return;
    }
    dup2(mSaved, mOutput);
    close(mSaved);
}

void MessageLog::saveTo(const std::string& file) const
{
    flushOutputs();
    std::string text(static_cast<std::size_t>(lseek(mFile, 0, SEEK_END)), '\0');
    const ssize_t bytes = pread(mFile, text.data(), text.size(), 0);
    text.resize(bytes > 0 ? static_cast<std::size_t>(bytes) : 0);
    writeTextFile(file, text);
}

} // namespace velmor::demo
