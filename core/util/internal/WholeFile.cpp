#include "core/util/internal/WholeFile.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmor::core::util {
namespace {

namespace fs = std::filesystem;

/// The file that a save replaces: where a chain of links leads, if it leads anywhere.
fs::path linkTarget(fs::path file)
{
    constexpr int longestChain = 40; // as in Linux, which opens nothing behind a longer one
    std::error_code error;
    for (int k = 0; fs::is_symlink(fs::symlink_status(file, error)); ++k) {
        if (k == longestChain)
            throw std::runtime_error(std::strerror(ELOOP));
        const fs::path next = fs::read_symlink(file, error);
        if (error)
            break;
        file = file.parent_path() / next;
    }
    return file;
}

/// A file beside another one that takes its place, or is removed when it is not complete.
class Replacement
{
public:
    explicit Replacement(const fs::path& target) : mTarget(target)
    {
        mIsReplacing = stat(mTarget.c_str(), &mOld) == 0;
        if (!mIsReplacing && errno != ENOENT)
            throwError(errno);
        if (mIsReplacing && S_ISDIR(mOld.st_mode))
            throwError(EISDIR);
        if (mIsReplacing && !S_ISREG(mOld.st_mode))
            throw std::runtime_error("it is not a regular file");
        create();
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    ~Replacement()
    {
        if (mDescriptor >= 0)
            close(mDescriptor);
        if (!mIsDone)
            unlink(mName.c_str());
    }

    void write(const std::vector<unsigned char>& bytes)
    {
        for (std::size_t done = 0; done < bytes.size();) {
            const ssize_t written = ::write(mDescriptor, bytes.data() + done, bytes.size() - done);
            if (written >= 0)
                done += static_cast<std::size_t>(written);
            else if (errno != EINTR)
                throwError(errno);
        }
    }

    /// Puts the file in its place. Only where there is an old file to lose is it worth the wait for the disk.
    void finish()
    {
        if (mIsReplacing) {
            fchmod(mDescriptor, mOld.st_mode & 0777); // some file systems have no permissions
            if (fsync(mDescriptor) != 0)
                throwError(errno);
        }
        if (close(std::exchange(mDescriptor, -1)) != 0)
            throwError(errno);
        if (rename(mName.c_str(), mTarget.c_str()) != 0)
            throwError(errno);
        mIsDone = true;
    }

private:
    [[noreturn]] static void throwError(int number) { throw std::runtime_error(std::strerror(number)); }

    /// Opens a file under a name that nothing has: another process or thread may save the same file.
    void create()
    {
        static std::atomic<unsigned> counter{0};
        do {
            const std::string name = ".velmor-" + std::to_string(getpid()) + '-' + std::to_string(counter++);
            mName = mTarget.parent_path() / name;
            mDescriptor = open(mName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        } while (mDescriptor < 0 && errno == EEXIST);
        if (mDescriptor < 0)
            throwError(errno);
    }

    const fs::path mTarget;
    fs::path mName;
    struct stat mOld = {};
    bool mIsReplacing = false;
    int mDescriptor = -1;
    bool mIsDone = false;
};

/// Streams tell by no exception that they have no memory.
[[noreturn]] void throwReadError(const std::string& attempt, const std::string& file, int number)
{
    if (number == ENOMEM)
        throw std::bad_alloc();
    throw fileError(attempt, file, std::strerror(number));
}

} // namespace

std::runtime_error fileError(const std::string& attempt, const std::string& file, const std::string& reason)
{
    return std::runtime_error(attempt + " '" + file + "': " + reason);
}

std::vector<unsigned char> readWholeFile(const std::string& attempt, const std::string& file)
{
    return readWholeFile(attempt, file, std::numeric_limits<std::size_t>::max());
}

std::vector<unsigned char> readWholeFile(const std::string& attempt, const std::string& file, std::size_t limit)
{
    std::error_code error;
    if (fs::is_directory(fs::status(file, error)))
        throw fileError(attempt, file, "it is a folder");
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throwReadError(attempt, file, errno);
    std::vector<unsigned char> bytes;
    char part[65536];
    while (stream.read(part, sizeof(part)) || stream.gcount() > 0) {
        bytes.insert(bytes.end(), part, part + stream.gcount());
        if (bytes.size() > limit)
            throw fileError(attempt, file, "it is larger than " + std::to_string(limit) + " bytes");
    }
    if (stream.bad())
        throwReadError(attempt, file, errno);
    if (bytes.empty())
        throw fileError(attempt, file, "it is empty");
    return bytes;
}

void writeWholeFile(const std::string& attempt, const std::string& file, const std::vector<unsigned char>& bytes)
{
    try {
        Replacement replacement(linkTarget(file));
        replacement.write(bytes);
        replacement.finish();
    } catch (const std::runtime_error& error) {
        throw fileError(attempt, file, error.what());
    }
}

} // namespace velmor::core::util
