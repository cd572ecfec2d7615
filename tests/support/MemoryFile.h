#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include <sys/mman.h>
#include <unistd.h>

namespace velmor::tests {

/// A file on no disk, for thousands of contents a second.
class MemoryFile
{
public:
    MemoryFile() : mDescriptor(memfd_create("velmor", MFD_CLOEXEC))
    {
        if (mDescriptor < 0)
            throw std::runtime_error(std::string("memfd_create: ") + std::strerror(errno));
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { close(mDescriptor); }

    std::string path() const { return "/proc/self/fd/" + std::to_string(mDescriptor); }

    void write(std::string_view content)
    {
        const auto size = static_cast<ssize_t>(content.size());
        if (ftruncate(mDescriptor, 0) != 0 || pwrite(mDescriptor, content.data(), content.size(), 0) != size)
            throw std::runtime_error(std::string("MemoryFile: ") + std::strerror(errno));
    }

private:
    int mDescriptor;
};

} // namespace velmor::tests
