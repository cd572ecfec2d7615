#include "imageio/ImageIo.h"

#include "tests/support/TemporaryFolder.h"
#include "tests/support/ThrownText.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmor::tests {
namespace {

using core::cvdata::Image;
using imageio::load;
using imageio::save;
namespace fs = std::filesystem;

constexpr Image::ChannelLayout kLayouts[] = {Image::GREYSCALE, Image::BGR, Image::RGB};

using Bytes = std::vector<unsigned char>;

unsigned char* pixel(const Image& image, unsigned x, unsigned y)
{
    return image.imageBuffer() + y * image.allocatedWidth() + x * image.nofChannels();
}

Image randomImage(unsigned width, unsigned height, Image::ChannelLayout layout)
{
    std::mt19937 random(width * 1000 + height);
    Image image(width, height, layout);
    for (unsigned y = 0; y < height; ++y)
        for (unsigned i = 0; i < width * image.nofChannels(); ++i)
            pixel(image, 0, y)[i] = static_cast<unsigned char>(random());
    return image;
}

void expectSameShape(const Image& image, const Image& expected)
{
    ASSERT_EQ(image.width(), expected.width());
    ASSERT_EQ(image.height(), expected.height());
    ASSERT_EQ(image.channels(), expected.channels());
}

void expectNear(const Image& image, const Image& expected, int tolerance)
{
    expectSameShape(image, expected);
    for (unsigned y = 0; y < expected.height(); ++y)
        for (unsigned i = 0; i < expected.width() * expected.nofChannels(); ++i)
            ASSERT_NEAR(pixel(image, 0, y)[i], pixel(expected, 0, y)[i], tolerance) << "row " << y << ", byte " << i;
}

Bytes read(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void write(const fs::path& file, const Bytes& bytes)
{
    std::ofstream stream(file, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes firstPart(Bytes bytes, std::size_t size)
{
    bytes.resize(size);
    return bytes;
}

/// A folder of its own for each test, which every user may enter.
class ImageIo : public testing::Test
{
protected:
    ImageIo() { fs::permissions(folder(), fs::perms(0755)); }
    ~ImageIo() override { fs::permissions(folder(), fs::perms::owner_all); }

    std::string path(const std::string& name) const { return mFolder.file(name); }
    const fs::path& folder() const { return mFolder.path(); }

    std::size_t filesInFolder() const
    {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder()), fs::directory_iterator()));
    }

    /// Expects a file to be refused for a reason, in every layout.
    void expectRefused(const std::string& name, const std::string& reason) const
    {
        for (const auto layout : kLayouts) {
            const std::string thrown = thrownText<std::runtime_error>([&] { load(path(name), layout); });
            EXPECT_EQ(thrown, "load(): cannot load '" + path(name) + "': " + reason);
        }
    }

    /// Expects that an image cannot be saved, for a reason, and that nothing is left of the attempt.
    void expectNotSaved(const Image& image, const std::string& file, const std::string& reason) const
    {
        const std::size_t before = filesInFolder();
        const std::string thrown = thrownText<std::runtime_error>([&] { save(image, file); });
        EXPECT_EQ(thrown, "save(): cannot save '" + file + "': " + reason);
        EXPECT_EQ(filesInFolder(), before);
    }

private:
    const TemporaryFolder mFolder;
};

/// Takes the rights of the superuser, who may write anywhere, from this process for a while.
class OrdinaryUser
{
public:
    OrdinaryUser() : mUser(geteuid())
    {
        if (mUser == 0) {
            EXPECT_EQ(seteuid(65534), 0) << std::strerror(errno);
        }
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
    ~OrdinaryUser() { EXPECT_EQ(seteuid(mUser), 0) << std::strerror(errno); }

private:
    uid_t mUser;
};

TEST_F(ImageIo, LosslessFormatsGiveEveryByteBack)
{
    for (const char* const ending : {".png", ".bmp", ".tiff", ".PNG"}) {
        for (const auto layout : kLayouts) {
            for (const auto& [width, height] : {std::pair{1u, 1u}, {1u, 7u}, {13u, 1u}, {37u, 23u}}) {
                const Image image = randomImage(width, height, layout);
                const std::string file = path(std::string("picture") + ending);
                save(image, file);
                expectNear(load(file, layout), image, 0);
            }
        }
    }
    EXPECT_EQ(filesInFolder(), 4u);
}

TEST_F(ImageIo, PixelsMayLieInPaddedRowsOfTheCaller)
{
    Bytes memory(40 * 5);
    std::generate(memory.begin(), memory.end(), [i = 0]() mutable { return static_cast<unsigned char>(7 * i++); });
    const Image image(11, 5, Image::RGB, memory.data(), 40);
    const Bytes before = memory;
    save(image, path("padded.png"));
    expectNear(load(path("padded.png"), Image::RGB), image, 0);
    EXPECT_EQ(memory, before);
}

TEST_F(ImageIo, FilesHoldTheColoursWhateverTheLayout)
{
    Image rgb(1, 1, Image::RGB);
    rgb.imageBuffer()[0] = 200; // red
    rgb.imageBuffer()[1] = 100;
    rgb.imageBuffer()[2] = 50;
    save(rgb, path("rgb.png"));
    const Image bgr = load(path("rgb.png"), Image::BGR);
    EXPECT_EQ(bgr.imageBuffer()[0], 50);
    EXPECT_EQ(bgr.imageBuffer()[1], 100);
    EXPECT_EQ(bgr.imageBuffer()[2], 200);
    save(bgr, path("bgr.png"));
    EXPECT_EQ(read(path("bgr.png")), read(path("rgb.png")));
}

TEST_F(ImageIo, JpegComesNear)
{
    // A ramp has no high frequencies: quality 95 quantises the others by 2 at most, and the colour transform and back
    // rounds by about 1 more.
    for (const auto layout : kLayouts) {
        Image ramp(64, 48, layout);
        for (unsigned y = 0; y < ramp.height(); ++y)
            for (unsigned x = 0; x < ramp.width(); ++x)
                for (unsigned channel = 0; channel < ramp.nofChannels(); ++channel)
                    pixel(ramp, x, y)[channel] = static_cast<unsigned char>(2 * x + y + 20 * channel);
        save(ramp, path("ramp.jpg"));
        expectNear(load(path("ramp.jpg"), layout), ramp, 4);
    }
}

TEST_F(ImageIo, GreyAndColourAreConverted)
{
    const Image grey = randomImage(9, 5, Image::GREYSCALE);
    save(grey, path("grey.png"));
    const Image colour = load(path("grey.png"), Image::RGB);
    for (unsigned y = 0; y < 5; ++y)
        for (unsigned x = 0; x < 9; ++x)
            for (unsigned channel = 0; channel < 3; ++channel)
                EXPECT_EQ(pixel(colour, x, y)[channel], *pixel(grey, x, y));

    const Image picture = randomImage(9, 5, Image::RGB);
    save(picture, path("colour.png"));
    const Image brightness = load(path("colour.png"), Image::GREYSCALE);
    for (unsigned y = 0; y < 5; ++y) {
        for (unsigned x = 0; x < 9; ++x) {
            const unsigned char* const p = pixel(picture, x, y);
            // The weights of television, in fixed point: the last place may differ.
            EXPECT_NEAR(*pixel(brightness, x, y), 0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2], 1.0);
        }
    }
}

TEST_F(ImageIo, ChannelsOfSixteenBitsBecomeEight)
{
    cv::Mat deep(3, 4, CV_16UC3);
    for (int y = 0; y < deep.rows; ++y)
        for (int i = 0; i < 3 * deep.cols; ++i) // 257 v is to 65535 as v is to 255
            deep.ptr<std::uint16_t>(y)[i] = static_cast<std::uint16_t>(257 * (50 * y + 4 * i));
    ASSERT_TRUE(cv::imwrite(path("deep.png"), deep));
    const Image image = load(path("deep.png"), Image::BGR);
    ASSERT_EQ(image.width(), 4u);
    ASSERT_EQ(image.height(), 3u);
    for (unsigned y = 0; y < 3; ++y)
        for (unsigned i = 0; i < 12; ++i)
            EXPECT_EQ(pixel(image, 0, y)[i], 50 * y + 4 * i);
}

TEST_F(ImageIo, TransparencyIsDropped)
{
    cv::Mat transparent(2, 2, CV_8UC4);
    for (int i = 0; i < 4; ++i)
        transparent.at<cv::Vec4b>(i / 2, i % 2) = cv::Vec4b(10, 20, 30, static_cast<unsigned char>(80 * i));
    ASSERT_TRUE(cv::imwrite(path("transparent.png"), transparent));
    const Image image = load(path("transparent.png"), Image::RGB);
    for (unsigned i = 0; i < 4; ++i) {
        EXPECT_EQ(pixel(image, i % 2, i / 2)[0], 30);
        EXPECT_EQ(pixel(image, i % 2, i / 2)[1], 20);
        EXPECT_EQ(pixel(image, i % 2, i / 2)[2], 10);
    }
}

TEST_F(ImageIo, ContentTellsTheFormatNotTheName)
{
    const Image image = randomImage(6, 5, Image::BGR);
    save(image, path("picture.png"));
    fs::rename(path("picture.png"), path("picture.jpg"));
    expectNear(load(path("picture.jpg"), Image::BGR), image, 0);
}

TEST_F(ImageIo, LoadNamesWhatIsNoPictureFile)
{
    fs::create_directory(path("folder"));
    write(path("empty.png"), {});
    write(path("text.png"), Bytes(1000, 'x'));
    write(path("byte.png"), {0});
    expectRefused("missing.png", "No such file or directory");
    expectRefused("missing/picture.png", "No such file or directory");
    expectRefused("text.png/picture.png", "Not a directory");
    expectRefused("folder", "it is a folder");
    expectRefused("empty.png", "it is empty");
    expectRefused("text.png", "it holds no picture of a known format");
    expectRefused("byte.png", "it holds no picture of a known format");
}

TEST_F(ImageIo, LoadNamesAFileThatMayNotBeRead)
{
    save(randomImage(3, 3, Image::BGR), path("secret.png"));
    fs::permissions(path("secret.png"), fs::perms::none);
    const OrdinaryUser user;
    expectRefused("secret.png", "Permission denied");
}

TEST_F(ImageIo, LoadNamesAFileWhoseReadingFails)
{
    fs::create_symlink("/proc/self/mem", path("memory.png")); // nothing can be read at its beginning
    expectRefused("memory.png", "Input/output error");
}

TEST_F(ImageIo, LoadRefusesPicturesThatAreCutShort)
{
    for (const char* const ending : {".png", ".jpg", ".bmp", ".tiff", ".ppm", ".webp"}) {
        save(randomImage(64, 48, Image::BGR), path(std::string("whole") + ending));
        const Bytes whole = read(path(std::string("whole") + ending));
        const std::string name = std::string("cut") + ending;
        for (const std::size_t size : {whole.size() / 4, whole.size() / 2, whole.size() - 9}) {
            write(path(name), firstPart(whole, size));
            expectRefused(name, "its picture is damaged, cut short or too large");
        }
    }
}

TEST_F(ImageIo, AJpegIsWholeWhenItsOwnEndIsThere)
{
    save(randomImage(64, 48, Image::BGR), path("inner.jpg"));
    const Bytes inner = read(path("inner.jpg"));
    // As cameras write it: the thumbnail, a whole JPEG with an end of its own, in a segment before the picture.
    const std::size_t length = inner.size() + 2;
    ASSERT_LT(length, 65536u);
    Bytes outer = {0xFF, 0xD8, 0xFF, 0xED, static_cast<unsigned char>(length >> 8), static_cast<unsigned char>(length)};
    outer.insert(outer.end(), inner.begin(), inner.end());
    outer.insert(outer.end(), inner.begin() + 2, inner.end());
    write(path("outer.jpg"), outer);
    expectNear(load(path("outer.jpg"), Image::BGR), load(path("inner.jpg"), Image::BGR), 0);
    write(path("cut.jpg"), firstPart(outer, outer.size() - 100));
    expectRefused("cut.jpg", "its picture is damaged, cut short or too large");

    Bytes followed = inner;
    followed.insert(followed.end(), 100, 0);
    write(path("followed.jpg"), followed);
    expectNear(load(path("followed.jpg"), Image::BGR), load(path("inner.jpg"), Image::BGR), 0);
}

TEST_F(ImageIo, LoadRefusesASizeBeyondTheCodecs)
{
    const char header[] = "P6 2000000 1 255\n";
    write(path("wide.ppm"), Bytes(header, header + sizeof(header) - 1));
    expectRefused("wide.ppm", "its picture is damaged, cut short or too large");
}

TEST_F(ImageIo, DamagedFilesDoNotCrash)
{
    std::mt19937 random(4);
    for (const char* const ending : {".png", ".jpg", ".bmp"}) {
        save(randomImage(24, 16, Image::BGR), path(std::string("whole") + ending));
        const Bytes whole = read(path(std::string("whole") + ending));
        const std::string file = path(std::string("damaged") + ending);
        for (int repeat = 0; repeat < 60; ++repeat) {
            Bytes damaged = whole;
            for (int i = 0; i < 4; ++i)
                damaged[random() % std::min<std::size_t>(damaged.size(), 200)] = static_cast<unsigned char>(random());
            write(file, damaged);
            const std::string thrown = thrownText<std::runtime_error>([&] { load(file, Image::BGR); });
            if (thrown != "no exception") {
                EXPECT_EQ(thrown.rfind("load(): cannot load '" + file + "': it", 0), 0u) << thrown;
            }
        }
    }
}

TEST_F(ImageIo, SaveNamesWhatItCannotWrite)
{
    const Image image = randomImage(5, 4, Image::RGB);
    for (const auto layout : kLayouts)
        for (const auto& [width, height] : {std::pair{0u, 0u}, {0u, 5u}, {5u, 0u}})
            expectNotSaved(Image(width, height, layout), path("none.png"), "the image has no pixels");
    expectNotSaved(image, path("picture.xyz"), "no picture format has the extension '.xyz'");
    expectNotSaved(image, path("picture"), "no picture format has the extension ''");
    expectNotSaved(image, path("picture."), "no picture format has the extension '.'");
    expectNotSaved(image, path(".png"), "no picture format has the extension ''");
    expectNotSaved(Image(70000, 1, Image::RGB), path("wide.jpg"),
                   "the format cannot hold 70000 x 1 pixels of 3 channels");
    expectNotSaved(Image(5, 4, Image::GREYSCALE), path("grey.ppm"),
                   "the format cannot hold 5 x 4 pixels of 1 channels");
    expectNotSaved(image, path("missing/picture.png"), "No such file or directory");
    write(path("file"), {1});
    expectNotSaved(image, path("file/picture.png"), "Not a directory");
    fs::create_directory(path("folder.png"));
    expectNotSaved(image, path("folder.png"), "Is a directory");
}

TEST_F(ImageIo, SaveReplacesAFileThatWasThere)
{
    save(randomImage(50, 40, Image::RGB), path("picture.png"));
    const Image image = randomImage(5, 4, Image::RGB);
    save(image, path("picture.png"));
    expectNear(load(path("picture.png"), Image::RGB), image, 0);
    EXPECT_EQ(filesInFolder(), 1u);
}

TEST_F(ImageIo, InAFolderThatMayNotBeWrittenTheOldFileStays)
{
    save(randomImage(5, 4, Image::RGB), path("picture.png"));
    const Bytes before = read(path("picture.png"));
    fs::permissions(folder(), fs::perms(0555));
    {
        const OrdinaryUser user;
        expectNotSaved(randomImage(6, 6, Image::RGB), path("picture.png"), "Permission denied");
        expectNotSaved(randomImage(6, 6, Image::RGB), path("new.png"), "Permission denied");
    }
    EXPECT_EQ(read(path("picture.png")), before);
}

TEST_F(ImageIo, WhenTheDiskHasNoRoomTheOldFileStays)
{
    save(randomImage(5, 4, Image::RGB), path("picture.png"));
    const Bytes before = read(path("picture.png"));
    ASSERT_LT(before.size(), 1000u);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit low{1000, limit.rlim_max};
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &low), 0);
    const std::string thrown =
        thrownText<std::runtime_error>([&] { save(randomImage(100, 100, Image::RGB), path("picture.png")); });
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(thrown, "save(): cannot save '" + path("picture.png") + "': File too large");
    EXPECT_EQ(read(path("picture.png")), before);
    EXPECT_EQ(filesInFolder(), 1u);
}

} // namespace
} // namespace velmor::tests
