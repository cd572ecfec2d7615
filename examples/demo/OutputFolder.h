#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace velmor::demo {

/// The folder of the results, which appear in it whole and all together, or not at all.
///
/// Files are written into a hidden folder inside it and moved to their places by publish(). Without publish() the
/// destructor leaves the folder as it was found, or no folder where there was none. Two runs cannot write into one
/// folder at a time; what a run left that was killed, the next one takes away.
class OutputFolder
{
public:
    /// Makes the folder and those above it where they are missing.
    /// @throws std::runtime_error  naming the folder and the reason when files cannot be written into it
    explicit OutputFolder(const std::string& folder);
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;
    ~OutputFolder();

    /// Absolute path of the folder.
    const std::filesystem::path& path() const { return mFolder; }

    /// Where to write a result until it is published.
    std::string unfinished(const std::string& name) const { return (mUnfinished / name).string(); }

    /// Moves the results that were written to their places, over those of an earlier run. A result of an earlier run
    /// that was not written this time goes away.
    /// @param names  all results that a run can have; a folder of pictures among them holds frame-*.png or
    /// picture-*.png
    /// @throws std::runtime_error  naming the file and the reason when one cannot be moved
    void publish(const std::vector<std::string>& names);

private:
    void makeFolders();
    void lock();
    void abandon() noexcept;

    std::filesystem::path mFolder;
    std::filesystem::path mUnfinished;
    std::vector<std::filesystem::path> mMadeFolders; ///< made by this object, outermost first
    int mLock = -1;
};

} // namespace velmor::demo
