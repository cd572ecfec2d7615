#include "core/util/internal/WholeFile.h"

#include "tests/support/SmallDisk.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/ThrownText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/stat.h>

using velmor::core::util::readWholeFile;
using velmor::core::util::writeWholeFile;

namespace velmor::tests {
namespace {

namespace fs = std::filesystem;

const char* const kSave = "save(): cannot save";
const char* const kLoad = "load(): cannot load";

using Bytes = std::vector<unsigned char>;

Bytes bytesOf(const std::string& text)
{
    return {text.begin(), text.end()};
}

/// What is wrong when a file is written: the reason only, behind the attempt and the name.
std::string saveError(const std::string& file, const Bytes& bytes)
{
    const std::string prefix = std::string(kSave) + " '" + file + "': ";
    const std::string error = thrownText<std::runtime_error>([&] { writeWholeFile(kSave, file, bytes); });
    return error.rfind(prefix, 0) == 0 ? error.substr(prefix.size()) : error;
}

std::set<std::string> namesIn(const fs::path& folder)
{
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

class WholeFile : public testing::Test
{
protected:
    const TemporaryFolder folder;
};

TEST_F(WholeFile, HasTheBytesGivenAndNothingBesideIt)
{
    const std::string file = folder.file("file");
    for (const std::size_t size : {300000u, 70000u, 1u}) {
        Bytes bytes(size);
        for (std::size_t k = 0; k < size; ++k)
            bytes[k] = static_cast<unsigned char>(k * 7 + k / 256);
        writeWholeFile(kSave, file, bytes);
        EXPECT_EQ(readWholeFile(kLoad, file), bytes);
        EXPECT_EQ(namesIn(folder.path()), std::set<std::string>{"file"});
    }
}

TEST_F(WholeFile, IsReadUpToTheLimitOnly)
{
    const std::string file = folder.write("file", "12345");
    EXPECT_EQ(readWholeFile(kLoad, file, 5), bytesOf("12345"));
    EXPECT_EQ(thrownText<std::runtime_error>([&] { readWholeFile(kLoad, file, 4); }),
              "load(): cannot load '" + file + "': it is larger than 4 bytes");
    EXPECT_EQ(thrownText<std::runtime_error>([&] { readWholeFile(kLoad, "/dev/zero", 1000); }),
              "load(): cannot load '/dev/zero': it is larger than 1000 bytes");
}

TEST_F(WholeFile, ThatIsNewHasThePermissionsOfAnyNewFile)
{
    for (const auto& [mask, permissions] : {std::pair{0u, 0666u}, std::pair{027u, 0640u}}) {
        const std::string file = folder.file(std::to_string(mask));
        const mode_t before = umask(mask);
        writeWholeFile(kSave, file, bytesOf("new"));
        umask(before);
        EXPECT_EQ(fs::status(file).permissions(), fs::perms(permissions));
    }
}

TEST_F(WholeFile, ThatIsReplacedKeepsItsPermissions)
{
    const std::string file = folder.write("file", "old");
    for (const unsigned mode : {0600u, 0666u, 0755u}) {
        fs::permissions(file, fs::perms(mode));
        writeWholeFile(kSave, file, bytesOf("new"));
        EXPECT_EQ(fs::status(file).permissions(), fs::perms(mode));
    }
}

TEST_F(WholeFile, IsReplacedWhereLinksLeadToIt)
{
    fs::create_directory(folder.file("other"));
    folder.write("other/file", "old");
    fs::create_symlink("other/near", folder.file("far"));
    fs::create_symlink("file", folder.file("other/near"));
    fs::create_symlink(folder.file("other/new"), folder.file("open"));
    writeWholeFile(kSave, folder.file("far"), bytesOf("new"));
    writeWholeFile(kSave, folder.file("open"), bytesOf("newer"));
    EXPECT_EQ(contentOf(folder.file("other/file")), "new");
    EXPECT_EQ(contentOf(folder.file("other/new")), "newer");
    for (const char* const link : {"far", "other/near", "open"})
        EXPECT_TRUE(fs::is_symlink(folder.file(link))) << link;
    EXPECT_EQ(namesIn(folder.path()), (std::set<std::string>{"far", "open", "other"}));
    EXPECT_EQ(namesIn(folder.file("other")), (std::set<std::string>{"file", "near", "new"}));
}

TEST_F(WholeFile, IsReplacedBehindAsManyLinksAsTheSystemFollows)
{
    const auto link = [&](int number) {
        return folder.file("link" + std::to_string(number));
    };
    folder.write("link0", "old");
    for (int k = 1; k <= 41; ++k)
        fs::create_symlink(link(k - 1), link(k));
    writeWholeFile(kSave, link(40), bytesOf("new"));
    EXPECT_EQ(readWholeFile(kLoad, link(40)), bytesOf("new"));
    EXPECT_EQ(saveError(link(41), {1}), "Too many levels of symbolic links");
    EXPECT_EQ(contentOf(link(0)), "new");
    for (int k = 1; k <= 41; ++k)
        EXPECT_TRUE(fs::is_symlink(link(k))) << k;
}

TEST_F(WholeFile, ReplacesNothingElseThanFiles)
{
    fs::create_directory(folder.file("folder"));
    ASSERT_EQ(mkfifo(folder.file("queue").c_str(), 0600), 0);
    fs::create_symlink("circle", folder.file("circle"));
    folder.write("file", "old");
    const std::set<std::string> before = namesIn(folder.path());
    EXPECT_EQ(saveError(folder.file("folder"), {1}), "Is a directory");
    EXPECT_EQ(saveError(folder.file("queue"), {1}), "it is not a regular file");
    EXPECT_EQ(saveError(folder.file("circle"), {1}), "Too many levels of symbolic links");
    EXPECT_EQ(saveError(folder.file("file/below"), {1}), "Not a directory");
    EXPECT_EQ(saveError(folder.file("missing/below"), {1}), "No such file or directory");
    EXPECT_EQ(saveError(folder.file(std::string(256, 'n')), {1}), "File name too long");
    EXPECT_EQ(namesIn(folder.path()), before);
    EXPECT_TRUE(fs::is_fifo(folder.file("queue")));
    EXPECT_TRUE(fs::is_symlink(folder.file("circle")));
}

TEST_F(WholeFile, MayHaveTheLongestNameThereIs)
{
    const std::string file = folder.file(std::string(255, 'n'));
    writeWholeFile(kSave, file, bytesOf("new"));
    EXPECT_EQ(contentOf(file), "new");
}

TEST_F(WholeFile, StaysAsItWasWhenTheDiskIsFull)
{
    const std::string file = folder.file("file");
    const std::string result = onSmallDisk(folder.path(), [&](const std::string& full) {
        const std::string old(20000, 'o');
        writeWholeFile(kSave, file, bytesOf(old));
        if (saveError(file, Bytes(100000)) != full)
            return std::string("another error: ") + saveError(file, Bytes(100000));
        if (saveError(folder.file("new"), Bytes(100000)) != full)
            return std::string("a new file: ") + saveError(folder.file("new"), Bytes(100000));
        if (contentOf(file) != old || namesIn(folder.path()) != std::set<std::string>{"file"})
            return std::string("another file, or more");
        return std::string("as it was");
    });
    EXPECT_EQ(result, "as it was");
    EXPECT_LE(namesIn(folder.path()).size(), 1u); // the disk was the other process's, the file itself where it had none
}

TEST_F(WholeFile, IsOneOfThoseWrittenAtEveryMoment)
{
    const std::string file = folder.file("file");
    const std::vector<Bytes> versions = {Bytes(200000, 'a'), Bytes(150000, 'b'), Bytes(1, 'c')};
    writeWholeFile(kSave, file, versions[0]);
    std::atomic<int> writing{2};
    const auto writeAll = [&] {
        for (int k = 0; k < 100; ++k)
            writeWholeFile(kSave, file, versions[static_cast<std::size_t>(k) % versions.size()]);
        --writing;
    };
    std::thread one(writeAll);
    std::thread other(writeAll);
    int count = 0;
    int parts = 0;
    for (; writing > 0; ++count) {
        const Bytes bytes = readWholeFile(kLoad, file);
        parts += std::find(versions.begin(), versions.end(), bytes) == versions.end();
    }
    one.join();
    other.join();
    EXPECT_EQ(parts, 0) << "of " << count;
    EXPECT_EQ(namesIn(folder.path()), std::set<std::string>{"file"});
}

} // namespace
} // namespace velmor::tests
