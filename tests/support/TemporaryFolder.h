#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include <stdlib.h>

namespace velmor::tests {

/// A folder of its own for a test's files, removed with them.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / ("velmor-" + std::string(6, 'X'))).string();
        if (!mkdtemp(name.data()))
            throw std::runtime_error("TemporaryFolder: cannot make " + name);
        mPath = name;
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() { std::filesystem::remove_all(mPath); }

    std::string file(const std::string& name) const { return (mPath / name).string(); }

    /// Writes a file; the path of it.
    std::string write(const std::string& name, const std::string& content) const
    {
        std::ofstream(file(name), std::ios::binary) << content;
        return file(name);
    }

private:
    std::filesystem::path mPath;
};

inline std::string contentOf(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

} // namespace velmor::tests
