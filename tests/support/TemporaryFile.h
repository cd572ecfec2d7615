#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

namespace velmor::tests {

/// A file that goes away with the test.
class TemporaryFile
{
public:
    explicit TemporaryFile(const std::string& content, const std::string& name = "shader.frag")
        : mPath(testing::TempDir() + "/velmor-" + std::to_string(getpid()) + "-" + name)
    {
        std::ofstream(mPath) << content;
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { std::remove(mPath.c_str()); }

    const char* path() const { return mPath.c_str(); }

    std::string content() const
    {
        std::ifstream stream(mPath);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }

private:
    std::string mPath;
};

} // namespace velmor::tests
