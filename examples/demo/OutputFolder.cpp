#include "examples/demo/OutputFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace velmor::demo {
namespace {

namespace fs = std::filesystem;

std::runtime_error cannotWriteInto(const std::string& folder, const std::string& reason)
{
    return std::runtime_error("cannot write into '" + folder + "': " + reason);
}

std::runtime_error cannotReplace(const fs::path& file, const std::string& reason)
{
    return std::runtime_error("cannot replace '" + file.string() + "': " + reason);
}

bool isWrittenPicture(const fs::path& file)
{
    const std::string name = file.filename().string();
    return file.extension() == ".png" && (name.rfind("frame-", 0) == 0 || name.rfind("picture-", 0) == 0);
}

/// Removes an earlier result. Of a folder only the pictures that a run writes go, and the folder when that empties it.
void removeResult(const fs::path& result)
{
    std::error_code ignored;
    if (fs::is_directory(fs::symlink_status(result, ignored))) {
        std::vector<fs::path> pictures;
        for (const fs::directory_entry& entry : fs::directory_iterator(result))
            if (isWrittenPicture(entry.path()))
                pictures.push_back(entry.path());
        for (const fs::path& picture : pictures)
            fs::remove(picture);
        if (fs::is_empty(result))
            fs::remove(result);
    } else {
        fs::remove(result);
    }
}

void moveResult(const fs::path& from, const fs::path& to)
{
    if (!fs::is_directory(from)) {
        fs::rename(from, to);
        return;
    }
    fs::create_directories(to);
    for (const fs::directory_entry& entry : fs::directory_iterator(from))
        fs::rename(entry.path(), to / entry.path().filename());
}

} // namespace

OutputFolder::OutputFolder(const std::string& folder)
{
    try {
        mFolder = fs::absolute(folder).lexically_normal();
        if (!mFolder.has_filename()) // "out/" is "out"
            mFolder = mFolder.parent_path();
        mUnfinished = mFolder / ".unfinished";
        makeFolders();
        lock();
        fs::remove_all(mUnfinished);
        fs::create_directory(mUnfinished);
    } catch (const std::system_error& error) {
        abandon();
        const bool locked = error.code() == std::errc::resource_unavailable_try_again;
        throw cannotWriteInto(folder, locked ? "another run is writing there" : error.code().message());
    }
}

OutputFolder::~OutputFolder()
{
    std::error_code ignored;
    fs::remove_all(mUnfinished, ignored);
    abandon();
}

void OutputFolder::makeFolders()
{
    std::vector<fs::path> missing;
    for (fs::path folder = mFolder; !fs::exists(folder); folder = folder.parent_path())
        missing.push_back(folder);
    std::for_each(missing.rbegin(), missing.rend(), [this](const fs::path& folder) {
        if (fs::create_directory(folder))
            mMadeFolders.push_back(folder);
    });
}

void OutputFolder::lock()
{
    mLock = open(mFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (mLock < 0)
        throw std::system_error(errno, std::generic_category());
    if (flock(mLock, LOCK_EX | LOCK_NB) != 0)
        throw std::system_error(errno, std::generic_category());
}

/// Only empty folders go, so that nothing is lost that came from elsewhere.
void OutputFolder::abandon() noexcept
{
    std::error_code ignored;
    std::for_each(mMadeFolders.rbegin(), mMadeFolders.rend(),
                  [&ignored](const fs::path& folder) { fs::remove(folder, ignored); });
    close(mLock);
}

void OutputFolder::publish(const std::vector<std::string>& names)
{
    for (const std::string& name : names)
        if (fs::is_regular_file(mUnfinished / name) && fs::is_directory(mFolder / name))
            throw cannotReplace(mFolder / name, "it is a folder");
    try {
        for (const std::string& name : names) {
            const fs::path written = mUnfinished / name;
            const bool isNew = fs::exists(written);
            if (!isNew || fs::is_directory(written))
                removeResult(mFolder / name);
            if (isNew)
                moveResult(written, mFolder / name);
        }
    } catch (const fs::filesystem_error& error) {
        const fs::path& place = error.path2().empty() ? error.path1() : error.path2();
        throw cannotReplace(place, error.code().message());
    }
    mMadeFolders.clear();
}

} // namespace velmor::demo
