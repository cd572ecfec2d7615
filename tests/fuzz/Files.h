#pragma once

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>

namespace velmor::tests {

/// A folder on no disk, which the process works in as long as it lives.
class WorkingFolder
{
public:
    WorkingFolder() : mBefore(std::filesystem::current_path())
    {
        std::string path = "/dev/shm/velmor-fuzz-XXXXXX";
        if (!mkdtemp(path.data()))
            throw std::runtime_error(path + ": " + std::strerror(errno));
        mPath = path;
        std::filesystem::current_path(mPath);
    }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;
    ~WorkingFolder()
    {
        std::filesystem::current_path(mBefore);
        std::filesystem::remove_all(mPath);
    }

private:
    std::filesystem::path mBefore;
    std::filesystem::path mPath;
};

inline void write(const std::string& name, const std::string& content)
{
    std::ofstream file(name, std::ios::binary);
    if (!file.write(content.data(), static_cast<std::streamsize>(content.size())).flush())
        throw std::runtime_error("cannot write '" + name + "'");
}

inline void remove(const std::string& name)
{
    std::filesystem::remove(name);
}

inline std::string contentOf(const std::string& name)
{
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// What is written to std::cerr as long as it lives.
class Errors
{
public:
    Errors() : mBefore(std::cerr.rdbuf(mText.rdbuf())) {}
    Errors(const Errors&) = delete;
    Errors& operator=(const Errors&) = delete;
    ~Errors() { std::cerr.rdbuf(mBefore); }

    std::string text() const { return mText.str(); }

private:
    std::ostringstream mText;
    std::streambuf* mBefore;
};

} // namespace velmor::tests
