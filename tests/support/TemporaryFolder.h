#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

namespace velmor::tests {

/// A folder for the files of the running test, removed with them. There is one to a test: the process that a death test
/// starts finds the one of the process that waits for it, and so leaves none behind when it ends.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        const bool isDeathTestChild = testing::internal::InDeathTestChild();
        const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
        std::string name = "velmor-" + std::to_string(isDeathTestChild ? getppid() : getpid()) + '-' +
                           test.test_suite_name() + '.' + test.name();
        std::replace(name.begin(), name.end(), '/', '-');
        mPath = std::filesystem::temp_directory_path() / name;
        if (!isDeathTestChild)
            std::filesystem::remove_all(mPath); // of a process that was killed
        std::filesystem::create_directory(mPath);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() { std::filesystem::remove_all(mPath); }

    const std::filesystem::path& path() const { return mPath; }
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
