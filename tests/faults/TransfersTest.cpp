// What happens when the system reads or writes less than was asked for, is interrupted, or fails in the middle.

#undef _FORTIFY_SOURCE // with it <unistd.h> defines a read() too

#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/Image.h"
#include "imageio/ImageIo.h"
#include "tests/support/Models.h"
#include "tests/support/Pictures.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <string>

namespace {

constexpr std::size_t kMost = 7; ///< bytes that one call reads or writes

bool isShort = false;
int transfers = 0;
int succeeding = std::numeric_limits<int>::max(); ///< steps of saving before the one that fails

/// Whether a call is interrupted, as every other one is.
bool isInterrupted()
{
    return isShort && transfers++ % 2 == 0;
}

bool fails()
{
    return succeeding-- <= 0;
}

long failed(int number)
{
    errno = number;
    return -1;
}

} // namespace

// Stand before the C library's functions.
extern "C" {

ssize_t read(int file, void* bytes, std::size_t count)
{
    if (isInterrupted())
        return failed(EINTR);
    return syscall(SYS_read, file, bytes, isShort ? std::min(count, kMost) : count);
}

ssize_t write(int file, const void* bytes, std::size_t count)
{
    if (isInterrupted())
        return failed(EINTR);
    errno = 0;
    if (isShort && transfers % 4 == 0) // every other one that is not interrupted
        return 0;
    if (isShort && fails())
        return failed(EIO);
    return syscall(SYS_write, file, bytes, isShort ? std::min(count, kMost) : count);
}

int fsync(int file)
{
    return static_cast<int>(isShort && fails() ? failed(EIO) : syscall(SYS_fsync, file));
}

int rename(const char* from, const char* to) noexcept
{
    return static_cast<int>(isShort && fails() ? failed(EIO) : syscall(SYS_rename, from, to));
}

} // extern "C"

namespace velmor::tests {
namespace {

using core::cvdata::ColorGMM;
using core::cvdata::Image;

/// While it lives, calls of the system are short and interrupted, and all fail from one of a file's writing on.
class BadSystem
{
public:
    explicit BadSystem(int succeedingSteps = std::numeric_limits<int>::max())
    {
        succeeding = succeedingSteps;
        transfers = 0;
        isShort = true;
    }
    BadSystem(const BadSystem&) = delete;
    BadSystem& operator=(const BadSystem&) = delete;
    ~BadSystem() { isShort = false; }
};

std::string textOf(const ColorGMM& model, const TemporaryFolder& folder)
{
    const std::string file = folder.file("text.yml");
    model.save(file);
    std::string text = contentOf(file);
    std::filesystem::remove(file);
    return text;
}

TEST(Transfers, ShortOnesGiveTheWholeModel)
{
    const TemporaryFolder folder;
    const ColorGMM model = makeModel({numbered(1), numbered(2)}, 0.25);
    const std::string file = folder.file("model.yml"), expected = textOf(model, folder);
    ColorGMM read;
    {
        const BadSystem system;
        model.save(file);
        read.load(file);
    }
    EXPECT_GT(transfers, 20);
    EXPECT_EQ(contentOf(file), expected);
    EXPECT_EQ(textOf(read, folder), expected);
}

TEST(Transfers, ShortOnesGiveTheWholePicture)
{
    const TemporaryFolder folder;
    std::mt19937 random(1);
    const Image picture = randomImage(9, 7, Image::RGB, random);
    for (const char* const name : {"picture.png", "picture.bmp", "picture.ppm"}) {
        SCOPED_TRACE(name);
        const std::string file = folder.file(name);
        const BadSystem system;
        imageio::save(picture, file);
        const Image read = imageio::load(file, Image::RGB);
        EXPECT_GT(transfers, 20);
        for (unsigned y = 0; y < 7; ++y)
            EXPECT_TRUE(std::equal(picture.imageBuffer() + y * picture.allocatedWidth(),
                                   picture.imageBuffer() + y * picture.allocatedWidth() + 27,
                                   read.imageBuffer() + y * read.allocatedWidth()));
    }
}

TEST(Transfers, WhereAStepFailsTheOldFileStaysAndNothingBesideIt)
{
    const TemporaryFolder folder;
    const std::string file = folder.file("model.yml");
    makeModel({numbered(1)}, 0.25).save(file);
    const ColorGMM other = makeModel({numbered(2)}, 0.5);
    const std::string before = contentOf(file), after = textOf(other, folder);
    ASSERT_NE(before, after);
    std::string said = "first";
    int steps = 0;
    for (; !said.empty() && steps < 1000; ++steps) {
        SCOPED_TRACE("step " + std::to_string(steps));
        said.clear();
        {
            const BadSystem system(steps);
            try {
                other.save(file);
            } catch (const std::runtime_error& error) {
                said = error.what();
            }
        }
        if (!said.empty()) {
            EXPECT_EQ(said, "ColorGMM::save(): cannot save '" + file + "': Input/output error");
        }
        EXPECT_EQ(contentOf(file), said.empty() ? after : before);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
    }
    EXPECT_EQ(steps - 1, static_cast<int>((after.size() + kMost - 1) / kMost) + 2); // the disk, and the name
}

} // namespace
} // namespace velmor::tests
