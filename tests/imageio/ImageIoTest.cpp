#include "imageio/ImageIo.h"

#include "tests/support/SmallDisk.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/ThrownText.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <valgrind/valgrind.h>

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
#include <optional>
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
    expectRefused("wide.ppm", "its picture of 2000000 x 1 pixels is too large");
}

/// Bytes with some of them replaced.
Bytes patched(Bytes bytes, std::size_t place, const Bytes& by)
{
    EXPECT_LE(place + by.size(), bytes.size());
    std::copy(by.begin(), by.end(), bytes.begin() + static_cast<std::ptrdiff_t>(place));
    return bytes;
}

Bytes bytesOf(const std::string& text)
{
    return {text.begin(), text.end()};
}

Bytes operator+(Bytes bytes, const Bytes& more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

/// A picture of 7 x 5 pixels in a format.
Bytes encoded(const char* ending, const std::vector<int>& parameters = {})
{
    cv::Mat colours(5, 7, CV_8UC3);
    for (int i = 0; i < 35; ++i)
        colours.at<cv::Vec3b>(i / 7, i % 7) = cv::Vec3b(cv::Vec3i(7 * i, 250 - 6 * i, 60 + i));
    Bytes bytes;
    EXPECT_TRUE(cv::imencode(ending, colours, bytes, parameters));
    return bytes;
}

constexpr const char* kUnknown = "it holds no picture of a known format";
constexpr const char* kDamaged = "its picture is damaged, cut short or too large";

// One of OpenCV's decoders, that of medical images, ends the process on these.
TEST_F(ImageIo, AFileWithTheMarkOfAMedicalImageReachesNoDecoder)
{
    Bytes medical(132, 0);
    medical = patched(medical, 128, bytesOf("DICM"));
    write(path("medical"), medical);
    expectRefused("medical", kUnknown);
    write(path("disguised.webp"), patched(patched(medical, 0, bytesOf("RIFF")), 8, bytesOf("WEBPVP8X")));
    expectRefused("disguised.webp", kUnknown);

    Image image = randomImage(40, 3, Image::BGR); // a BMP's rows stand upside down behind 54 bytes
    std::copy_n("DICM", 4, pixel(image, 0, 2) + 128 - 54);
    save(image, path("picture.bmp"));
    ASSERT_EQ(read(path("picture.bmp"))[128], 'D');
    expectNear(load(path("picture.bmp"), Image::BGR), image, 0);
}

TEST_F(ImageIo, LoadTakesTheFormatsOfItsPageAndNoOther)
{
    for (const char* const ending : {".png", ".jpg", ".bmp", ".pbm", ".pgm", ".ppm", ".tiff", ".webp"}) {
        cv::Mat bright(5, 7, std::string(ending) == ".pbm" || std::string(ending) == ".pgm" ? CV_8UC1 : CV_8UC3,
                       cv::Scalar::all(255));
        ASSERT_TRUE(cv::imwrite(path(std::string("picture") + ending), bright));
        const Image image = load(path(std::string("picture") + ending), Image::GREYSCALE);
        EXPECT_EQ(image.width(), 7u) << ending;
        EXPECT_EQ(image.height(), 5u) << ending;
        EXPECT_NEAR(*pixel(image, 3, 2), 255, 2) << ending;
    }
    for (const char* const ending : {".hdr", ".jp2", ".pam", ".ras"}) {
        ASSERT_TRUE(cv::imwrite(path(std::string("other") + ending), cv::Mat(50, 70, CV_8UC3, cv::Scalar(1, 2, 3))));
        expectRefused(std::string("other") + ending, kUnknown);
    }
    for (const char* const text : {"GIF89a", "P7\nWIDTH 7\n", "P6", "P0 7 5 255\n", "PF\n7 5\n-1\n", "BN", "II+", "II*",
                                   "RIFF1234WAVE", "\x89PNG", "\xFF\xD8", "<svg/>"}) {
        write(path("other"), bytesOf(text));
        expectRefused("other", kUnknown);
    }
}

TEST_F(ImageIo, LoadNamesASizeBeforeADecoderAsksMemoryForIt)
{
    const auto expectTooLarge = [&](const Bytes& bytes, const std::string& size) {
        write(path("large"), bytes);
        expectRefused("large", "its picture of " + size + " pixels is too large for a file of " +
                                   std::to_string(bytes.size()) + " bytes");
    };
    const Bytes bigEndian = {0, 0, 0x10, 0, 0, 0, 0x20, 0}; // 4096 and 8192
    const Bytes littleEndian = {0, 0x10, 0, 0, 0, 0x20, 0, 0};
    expectTooLarge(patched(encoded(".png"), 16, bigEndian), "4096 x 8192");
    expectTooLarge(patched(encoded(".bmp"), 18, littleEndian), "4096 x 8192");
    expectTooLarge(patched(encoded(".bmp"), 18, {0, 0x10, 0, 0, 0, 0xE0, 0xFF, 0xFF}), "4096 x 8192"); // from the top
    expectTooLarge(bytesOf("P5\n# 1 1\n4096\t# 2\n8192 255\n"), "4096 x 8192");
    expectTooLarge(bytesOf("RIFF1234WEBPVP8X12341234") + Bytes{0xFF, 0x0F, 0, 0xFF, 0x1F, 0}, "4096 x 8192");
    expectTooLarge(bytesOf("RIFF1234WEBPVP8L1234/") + Bytes{0xFF, 0xCF, 0xFF, 0x07}, "4096 x 8192");
    expectTooLarge(bytesOf("RIFF1234WEBPVP8 1234123\x9D\x01*") + Bytes{0, 0x10, 0, 0x20}, "4096 x 8192");
    const Bytes frame = {0xFF, 0xC0, 0, 17, 8};
    Bytes jpeg = encoded(".jpg");
    const auto place = std::search(jpeg.begin(), jpeg.end(), frame.begin(), frame.end()) - jpeg.begin();
    expectTooLarge(patched(jpeg, static_cast<std::size_t>(place) + 5, {0x20, 0, 0x10, 0}), "4096 x 8192");

    write(path("large"), patched(encoded(".png"), 16, {0, 0, 0x80, 0, 0, 1, 0, 0}));
    expectRefused("large", "its picture of 32768 x 65536 pixels is too large");
    write(path("large"), patched(encoded(".bmp"), 18, {1, 0, 0, 0, 0, 0, 0, 0x80}));
    expectRefused("large", "its picture of 1 x 2147483648 pixels is too large");
    write(path("none"), patched(encoded(".png"), 16, {0, 0, 0, 0}));
    expectRefused("none", kDamaged);
}

TEST_F(ImageIo, LoadRefusesCommentsThatTheDecoderWouldTakeForNumbers)
{
    const std::string pixels = "\n123456";
    write(path("picture"), bytesOf("P6 # 9 9\n1\t#9\n2 #9\n255" + pixels));
    EXPECT_EQ(load(path("picture"), Image::RGB).height(), 2u);
    for (const std::string header :
         {"P6 1#9\n2 255", "P6 1 2#9\n255", "P6 1 2 255#9\n", "P3 1 2 9#9\n", "P4\r333#333333P"}) {
        SCOPED_TRACE(header);
        write(path("picture"), bytesOf(header + pixels));
        expectRefused("picture", kDamaged);
    }
}

/// A TIFF file of one directory without anything behind it.
Bytes tiff(const std::vector<std::pair<unsigned, unsigned>>& values)
{
    Bytes bytes = {'I', 'I', '*', 0, 8, 0, 0, 0, static_cast<unsigned char>(values.size()), 0};
    for (const auto& [tag, value] : values) {
        bytes.insert(bytes.end(),
                     {static_cast<unsigned char>(tag), static_cast<unsigned char>(tag >> 8), 4, 0, 1, 0, 0, 0});
        for (unsigned k = 0; k < 4; ++k)
            bytes.push_back(static_cast<unsigned char>(value >> 8 * k));
    }
    return bytes + Bytes(4, 0);
}

TEST_F(ImageIo, LoadNamesWhatATiffFileWouldAskMemoryFor)
{
    const auto expectReason = [&](const std::vector<std::pair<unsigned, unsigned>>& values, std::string reason) {
        const Bytes bytes = tiff(values);
        write(path("large.tiff"), bytes);
        if (reason.rfind("it", 0) != 0)
            reason = "its picture of " + reason + " pixels is too large for a file of " + std::to_string(bytes.size()) +
                     " bytes";
        expectRefused("large.tiff", reason);
    };
    expectReason({{256, 4096}, {257, 8192}}, "4096 x 8192");
    expectReason({{256, 7}, {257, 5}, {278, 1000000}}, "7 x 1000000");           // rows of a strip
    expectReason({{256, 7}, {257, 5}, {322, 4096}, {323, 8192}}, "4096 x 8192"); // a tile
    expectReason({{256, 7}, {257, 5}, {278, 0xFFFFFFFF}}, kDamaged);             // one strip, which is not there
    expectReason({{256, 7}, {257, 5}, {256, 7}}, kDamaged);                      // twice
    expectReason({{257, 5}}, kDamaged);                                          // no width
    expectReason({{256, 7}, {257, 5}, {277, 5}},
                 "it holds TIFF of 5 channels of 1 bits, compression 1, which is not supported");
    expectReason({{256, 7}, {257, 5}, {258, 65}},
                 "it holds TIFF of 1 channels of 65 bits, compression 1, which is not supported");
    expectReason({{256, 7}, {257, 5}, {259, 34925}}, // LZMA: takes any amount of memory
                 "it holds TIFF of 1 channels of 1 bits, compression 34925, which is not supported");
    expectReason({{256, 7}, {257, 5}, {322, 16}}, kDamaged); // a tile without a height
}

TEST_F(ImageIo, LargePicturesOfOneColourLoad)
{
    // As few bytes as the packers of PNG and JPEG make of one channel.
    for (const char* const ending : {".png", ".jpg"}) {
        ASSERT_TRUE(cv::imwrite(path(std::string("plain") + ending), cv::Mat(3000, 4000, CV_8UC1, cv::Scalar(77)),
                                {cv::IMWRITE_PNG_COMPRESSION, 9, cv::IMWRITE_JPEG_OPTIMIZE, 1}));
        const Image image = load(path(std::string("plain") + ending), Image::GREYSCALE);
        EXPECT_EQ(image.width(), 4000u);
        EXPECT_EQ(image.height(), 3000u);
        EXPECT_NEAR(*pixel(image, 3999, 2999), 77, 1);
    }
}

/// What a file is loaded as: an image, or nothing with an error of the usual form.
std::optional<Image> imageOrError(const std::string& file)
{
    std::optional<Image> image;
    const std::string thrown = thrownText<std::runtime_error>([&] { image.emplace(load(file, Image::BGR)); });
    if (!image) {
        EXPECT_EQ(thrown.rfind("load(): cannot load '" + file + "': it", 0), 0u) << thrown;
    }
    return image;
}

/// Loads a picture with each of its bytes cut off with all behind it, zeroed and flipped, and hands over what has
/// loaded. Cut files are refused.
template<typename Check>
void sweep(const std::string& file, const Bytes& whole, const Check& check)
{
    const std::size_t step = RUNNING_ON_VALGRIND ? 17 : 1;
    for (std::size_t place = 0; place < whole.size(); place += step) {
        if (place > 0) { // else it is empty
            write(file, firstPart(whole, place));
            EXPECT_FALSE(imageOrError(file)) << place << " bytes";
        }
        for (const unsigned byte : {0u, whole[place] ^ (1u << place % 8), whole[place] ^ 0xFFu}) {
            write(file, patched(whole, place, {static_cast<unsigned char>(byte)}));
            if (const auto image = imageOrError(file))
                check(place, *image);
        }
    }
}

TEST_F(ImageIo, EveryBytePositionOfAPngIsAnErrorOrTheRightPicture)
{
    const Bytes whole = encoded(".png");
    write(path("whole.png"), whole);
    const Image expected = load(path("whole.png"), Image::BGR);
    sweep(path("damaged.png"), whole, [&](std::size_t, const Image& image) { expectNear(image, expected, 0); });
    expectNear(load(path("whole.png"), Image::BGR), expected, 0);
}

TEST_F(ImageIo, EveryBytePositionOfAJpegIsAnErrorOrAPictureOfItsSize)
{
    const Bytes whole = encoded(".jpg");
    const Bytes frame = {0xFF, 0xC0, 0, 17, 8};
    const auto start =
        static_cast<std::size_t>(std::search(whole.begin(), whole.end(), frame.begin(), frame.end()) - whole.begin());
    sweep(path("damaged.jpg"), whole, [&](std::size_t place, const Image& image) {
        const bool isSize = place >= start + 5 && place < start + 9;
        EXPECT_TRUE(isSize || (image.width() == 7 && image.height() == 5)) << place;
    });
}

TEST_F(ImageIo, EveryBytePositionOfAPpmIsAnErrorOrWhatItSays)
{
    const Bytes whole = encoded(".ppm");
    write(path("whole.ppm"), whole);
    const Image expected = load(path("whole.ppm"), Image::RGB);
    const std::size_t header = whole.size() - 7 * 5 * 3;
    sweep(path("damaged.ppm"), whole, [&](std::size_t place, const Image& image) {
        if (place < header)
            return;
        expectSameShape(image, Image(7, 5, Image::BGR));
        const Bytes bytes = read(path("damaged.ppm"));
        for (unsigned k = 0; k < 105; ++k) // red, green, blue in the file
            ASSERT_EQ(pixel(image, 0, k / 21)[k % 21 / 3 * 3 + 2 - k % 3], bytes[header + k]) << place;
    });
    expectNear(load(path("whole.ppm"), Image::RGB), expected, 0);
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

TEST_F(ImageIo, OnAFullDiskTheOldPictureStaysAndNothingBesideIt)
{
    const Image image = randomImage(5, 4, Image::RGB);
    const std::string result = onSmallDisk(folder(), [&](const std::string& full) -> std::string {
        save(image, path("picture.png"));
        const Bytes before = read(path("picture.png"));
        const std::string thrown =
            thrownText<std::runtime_error>([&] { save(randomImage(200, 200, Image::RGB), path("picture.png")); });
        if (thrown != "save(): cannot save '" + path("picture.png") + "': " + full)
            return thrown;
        if (read(path("picture.png")) != before)
            return "the old picture has changed";
        return filesInFolder() == 1 ? "as it was" : "something is left beside it";
    });
    EXPECT_EQ(result, "as it was");
}

TEST_F(ImageIo, InAFolderThatIsLostNothingIsSaved)
{
    const fs::path lost = folder() / "lost";
    fs::create_directory(lost);
    save(randomImage(5, 4, Image::RGB), (lost / "picture.png").string());
    fs::rename(lost, folder() / "moved");
    expectNotSaved(randomImage(6, 6, Image::RGB), (lost / "picture.png").string(), "No such file or directory");
    EXPECT_EQ(load((folder() / "moved" / "picture.png").string(), Image::RGB).width(), 5u);
}

} // namespace
} // namespace velmor::tests
