#include "imageio/internal/PictureHeader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string_view>

namespace velmor::imageio {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uint64_t kMaxSide = 1u << 20;
constexpr std::uint64_t kMaxPixels = 1u << 28; ///< 800 MB in colour
/// A file of a few bytes can claim any size. Beyond this number of pixels it has to have a byte for each 2048: the
/// packers of PNG and JPEG need more for 8-bit channels even where all of them are one colour.
constexpr std::uint64_t kSmallPicture = 1u << 22;
constexpr std::uint64_t kPixelsPerByte = 2048;

/// What a header tells; without pixels where it is damaged or cut short.
struct Header
{
    std::uint64_t width = 0, height = 0;
    std::string reason = {}; ///< against its picture, whatever its size
};

/// Numbers in a file's bytes. Beyond its end there are zeros: no format has a size of zero.
class Reader
{
public:
    Reader(const Bytes& bytes, bool isLittleEndian) : mBytes(bytes), mIsLittleEndian(isLittleEndian) {}

    std::uint64_t number(std::uint64_t place, unsigned size) const
    {
        std::uint64_t result = 0;
        for (unsigned k = 0; k < size; ++k)
            result = 256 * result + byte(place + (mIsLittleEndian ? size - 1 - k : k));
        return result;
    }

    bool has(std::uint64_t place, std::string_view text) const
    {
        for (std::size_t k = 0; k < text.size(); ++k)
            if (place + k >= mBytes.size() || mBytes[place + k] != static_cast<unsigned char>(text[k]))
                return false;
        return true;
    }

    std::uint64_t byte(std::uint64_t place) const { return place < mBytes.size() ? mBytes[place] : 0; }
    std::uint64_t end() const { return mBytes.size(); }

private:
    const Bytes& mBytes;
    bool mIsLittleEndian;
};

Header pngHeader(const Bytes& bytes)
{
    const Reader reader(bytes, false);
    if (reader.number(8, 4) != 13 || !reader.has(12, "IHDR"))
        return {};
    return {reader.number(16, 4), reader.number(20, 4)};
}

/// Whether a JPEG marker begins a frame: C0 to CF but tables of codes, an extension and arithmetic conditions.
bool beginsFrame(std::uint64_t marker)
{
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

Header jpegHeader(const Bytes& bytes)
{
    const Reader reader(bytes, false);
    for (std::uint64_t place = 2; place + 4 <= reader.end();) {
        if (reader.byte(place) != 0xFF)
            return {};
        const std::uint64_t marker = reader.byte(place + 1);
        if (marker == 0xFF) { // fills up
            ++place;
            continue;
        }
        if (beginsFrame(marker) && reader.byte(place + 9) <= 4)
            return {reader.number(place + 7, 2), reader.number(place + 5, 2)};
        if (beginsFrame(marker) || marker < 0xC0 || marker == 0xDA || reader.number(place + 2, 2) < 2)
            return {};
        place += 2 + reader.number(place + 2, 2);
    }
    return {};
}

Header bmpHeader(const Bytes& bytes)
{
    const Reader reader(bytes, true);
    if (reader.number(14, 4) == 12) // OS/2
        return {reader.number(18, 2), reader.number(20, 2)};
    const auto height = static_cast<std::int32_t>(static_cast<std::uint32_t>(reader.number(22, 4)));
    const std::int64_t rows = height; // from the top when negative
    return {reader.number(18, 4), static_cast<std::uint64_t>(rows < 0 ? -rows : rows)};
}

/// The next number of a PNM header, behind space and comments; 0 when there is none, or when a comment follows it
/// directly: the decoder drops the character behind a number, and would take the comment for the next one.
std::uint64_t pnmNumber(const Bytes& bytes, std::size_t& place)
{
    const auto isSpace = [](unsigned char each) {
        return each == ' ' || (each >= '\t' && each <= '\r');
    };
    bool isComment = false;
    for (; place < bytes.size() && (isComment || isSpace(bytes[place]) || bytes[place] == '#'); ++place)
        isComment = bytes[place] == '#' || (isComment && bytes[place] != '\n' && bytes[place] != '\r');
    std::uint64_t number = 0;
    for (; place < bytes.size() && bytes[place] >= '0' && bytes[place] <= '9' && number < kMaxPixels; ++place)
        number = 10 * number + (bytes[place] - '0');
    const bool isFollowedByComment = place < bytes.size() && bytes[place] == '#';
    return isFollowedByComment ? 0 : number;
}

Header pnmHeader(const Bytes& bytes)
{
    std::size_t place = 2;
    Header header;
    header.width = pnmNumber(bytes, place);
    header.height = pnmNumber(bytes, place);
    const bool hasLargestValue = bytes[1] != '1' && bytes[1] != '4';
    if (hasLargestValue && pnmNumber(bytes, place) == 0)
        return {};
    return header;
}

Header webpHeader(const Bytes& bytes)
{
    const Reader reader(bytes, true);
    if (reader.has(12, "VP8 ") && reader.has(23, "\x9D\x01\x2A"))
        return {reader.number(26, 2) & 0x3FFF, reader.number(28, 2) & 0x3FFF};
    if (reader.has(12, "VP8L") && reader.byte(20) == 0x2F)
        return {(reader.number(21, 4) & 0x3FFF) + 1, (reader.number(21, 4) >> 14 & 0x3FFF) + 1};
    if (reader.has(12, "VP8X"))
        return {reader.number(24, 3) + 1, reader.number(27, 3) + 1};
    return {};
}

// ---- TIFF

/// Tags that tell how much memory a picture takes.
enum TiffTag : std::uint64_t
{
    TiffWidth = 256,
    TiffHeight = 257,
    TiffBits = 258,
    TiffCompression = 259,
    TiffChannels = 277,
    TiffRowsPerStrip = 278,
    TiffTileWidth = 322,
    TiffTileHeight = 323
};

/// The first directory of a TIFF file.
class TiffDirectory
{
public:
    explicit TiffDirectory(const Bytes& bytes) : mReader(bytes, bytes[0] == 'I'), mPlace(mReader.number(4, 4)) {}

    bool isWhole() const { return count() > 0 && mPlace + 2 + 12 * count() <= mReader.end(); }

    /// The value of a tag, the first of several; another value where the tag is missing, nothing where it is there
    /// twice or no number.
    std::optional<std::uint64_t> value(TiffTag tag, std::uint64_t missing) const
    {
        std::optional<std::uint64_t> result;
        for (std::uint64_t k = 0; k < count(); ++k) {
            const std::uint64_t entry = mPlace + 2 + 12 * k;
            if (mReader.number(entry, 2) != tag)
                continue;
            const std::uint64_t type = mReader.number(entry + 2, 2); // 3: 16 bits, 4: 32 bits
            if (result || (type != 3 && type != 4))
                return {};
            const unsigned size = type == 3 ? 2 : 4;
            const bool isHere = mReader.number(entry + 4, 4) * size <= 4; // else behind the directory
            result = mReader.number(isHere ? entry + 8 : mReader.number(entry + 8, 4), size);
        }
        return result ? result : missing;
    }

private:
    std::uint64_t count() const { return mReader.number(mPlace, 2); }

    Reader mReader;
    std::uint64_t mPlace;
};

/// Whether a compression is one whose decoder is bound to the memory that the picture takes: none, CCITT, LZW, JPEG,
/// Deflate, PackBits.
bool isBound(std::uint64_t compression)
{
    const std::initializer_list<std::uint64_t> bound = {1, 2, 3, 4, 5, 7, 8, 32773, 32946};
    return std::find(bound.begin(), bound.end(), compression) != bound.end();
}

Header tiffHeader(const Bytes& bytes)
{
    const TiffDirectory directory(bytes);
    if (!directory.isWhole())
        return {};
    const auto width = directory.value(TiffWidth, 0), height = directory.value(TiffHeight, 0);
    const auto bits = directory.value(TiffBits, 1), channels = directory.value(TiffChannels, 1);
    const auto compression = directory.value(TiffCompression, 1);
    const auto rows = directory.value(TiffRowsPerStrip, 0);
    const auto tileWidth = directory.value(TiffTileWidth, 0), tileHeight = directory.value(TiffTileHeight, 0);
    if (!width || !height || !bits || !channels || !compression || !rows || !tileWidth || !tileHeight)
        return {};
    if (*bits > 64 || *channels > 4 || !isBound(*compression))
        return {0, 0,
                "it holds TIFF of " + std::to_string(*channels) + " channels of " + std::to_string(*bits) +
                    " bits, compression " + std::to_string(*compression) + ", which is not supported"};
    const bool isTiled = *tileWidth != 0 || *tileHeight != 0;
    if (isTiled && (*tileWidth == 0 || *tileHeight == 0))
        return {};
    // Decoders take memory for a whole strip or tile, which may reach beyond the picture; without a number of rows all
    // are one strip.
    const bool isOneStrip = *rows == 0xFFFFFFFF;
    return {std::max(*width, *tileWidth), std::max({*height, *tileHeight, isOneStrip ? 0 : *rows})};
}

// ---- what a file is

struct Format
{
    bool (*isOne)(const Reader& reader);
    Header (*header)(const Bytes& bytes);
};

bool isPng(const Reader& reader)
{
    return reader.has(0, "\x89PNG\r\n\x1A\n");
}

bool isJpeg(const Reader& reader)
{
    return reader.has(0, "\xFF\xD8\xFF");
}

bool isBmp(const Reader& reader)
{
    return reader.has(0, "BM");
}

bool isPnm(const Reader& reader)
{
    const std::uint64_t kind = reader.byte(1), space = reader.byte(2);
    return reader.has(0, "P") && kind >= '1' && kind <= '6' && (space == ' ' || (space >= '\t' && space <= '\r'));
}

bool isTiff(const Reader& reader)
{
    using namespace std::string_view_literals;
    return reader.has(0, "II*\0"sv) || reader.has(0, "MM\0*"sv);
}

/// Not one that holds the mark of a medical image where such a file has it: a decoder of those comes later in the
/// list, and ends the process on most of them. That of WebP looks further than to the first bytes.
bool isWebp(const Reader& reader)
{
    return reader.has(0, "RIFF") && reader.has(8, "WEBP") && !reader.has(128, "DICM");
}

constexpr Format kFormats[] = {{isPng, pngHeader}, {isJpeg, jpegHeader}, {isBmp, bmpHeader},
                               {isPnm, pnmHeader}, {isTiff, tiffHeader}, {isWebp, webpHeader}};

std::string reasonAgainst(const Header& header, std::uint64_t fileSize)
{
    if (!header.reason.empty())
        return header.reason;
    if (header.width == 0 || header.height == 0)
        return kDamaged;
    const std::string pixels = std::to_string(header.width) + " x " + std::to_string(header.height) + " pixels";
    if (header.width > kMaxSide || header.height > kMaxSide || header.width * header.height > kMaxPixels)
        return "its picture of " + pixels + " is too large";
    if (header.width * header.height > std::max(kSmallPicture, kPixelsPerByte * fileSize))
        return "its picture of " + pixels + " is too large for a file of " + std::to_string(fileSize) + " bytes";
    return {};
}

} // namespace

std::string reasonAgainstDecoding(const std::vector<unsigned char>& bytes)
{
    const Reader reader(bytes, true);
    const auto format =
        std::find_if(std::begin(kFormats), std::end(kFormats), [&](const Format& each) { return each.isOne(reader); });
    if (format == std::end(kFormats))
        return "it holds no picture of a known format";
    return reasonAgainst(format->header(bytes), bytes.size());
}

} // namespace velmor::imageio
