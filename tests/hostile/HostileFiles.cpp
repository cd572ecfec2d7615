#include "tests/hostile/HostileFiles.h"

#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/Image.h"
#include "core/util/internal/WholeFile.h"
#include "imageio/ImageIo.h"
#include "opencv1/CascadeFile.h"
#include "opencv1/HaarCascade.h"
#include "tests/fuzz/Files.h"
#include "tests/support/Models.h"

#include <opencv2/imgcodecs.hpp>

#include <limits>
#include <regex>
#include <stdexcept>
#include <tuple>
#include <utility>
#include <vector>

namespace velmor::tests {
namespace {

using Take = std::function<void(const HostileFile&)>;
using Load = void (*)(const std::string& path);

std::string repeated(const std::string& part, std::size_t count)
{
    std::string text;
    text.reserve(part.size() * count);
    while (count-- > 0)
        text += part;
    return text;
}

/// A text with the first place of a part replaced.
std::string replaced(std::string text, const std::string& part, const std::string& by)
{
    const std::size_t place = text.find(part);
    if (place == std::string::npos)
        throw std::logic_error("there is no '" + part + "' in " + text);
    return text.replace(place, part.size(), by);
}

/// A text whose first number behind a name is 10^9.
std::string claiming(std::string text, const std::string& name)
{
    const std::size_t place = text.find_first_of("0123456789", text.find(name));
    const std::size_t end = text.find_first_not_of("0123456789", place);
    return text.replace(place, end - place, "1000000000");
}

/// Hands over every beginning of a file but the whole.
void cut(const std::string& kind, const std::string& name, std::string whole, Load load, const Take& take)
{
    while (!whole.empty()) {
        whole.pop_back();
        take({kind, name + " cut to " + std::to_string(whole.size()) + " bytes", whole, load});
    }
}

/// Hands over a file with each of its numbers in turn replaced by a word.
void replaceNumbers(const std::string& kind, const std::string& name, const std::string& whole, const char* word,
                    Load load, bool mayLoad, const Take& take)
{
    static const std::regex number(R"([>\s\[](-?[0-9][-+.0-9e]*)(?=[\s<,\]]))");
    for (std::sregex_iterator found(whole.begin(), whole.end(), number), end; found != end; ++found) {
        const auto place = static_cast<std::size_t>(found->position(1));
        take({kind, name + " with " + word + " at byte " + std::to_string(place),
              whole.substr(0, place) + word + found->suffix().str(), load, mayLoad});
    }
}

// ---- pictures

void loadPicture(const std::string& path)
{
    imageio::load(path, core::cvdata::Image::BGR);
}

/// A file with a picture of 7 x 5 pixels.
std::string picture(const std::string& ending, int type, double value)
{
    std::vector<unsigned char> bytes;
    if (!cv::imencode(ending, cv::Mat(5, 7, type, cv::Scalar::all(value)), bytes))
        throw std::logic_error("OpenCV does not write " + ending);
    return {bytes.begin(), bytes.end()};
}

std::string picture(const std::string& ending)
{
    return picture(ending, ending == ".pbm" || ending == ".pgm" ? CV_8UC1 : CV_8UC3, 100.0);
}

std::string bigEndian(unsigned number, unsigned size)
{
    std::string bytes;
    while (size-- > 0)
        bytes += static_cast<char>(number >> 8 * size);
    return bytes;
}

std::string littleEndian(unsigned number, unsigned size)
{
    const std::string bytes = bigEndian(number, size);
    return {bytes.rbegin(), bytes.rend()};
}

/// A TIFF file of one directory, whose entries are tags and whole numbers.
std::string tiff(const std::vector<std::pair<unsigned, unsigned>>& entries)
{
    std::string bytes("II*\0\x08\0\0\0", 8);
    bytes += littleEndian(static_cast<unsigned>(entries.size()), 2);
    for (const auto& [tag, value] : entries)
        bytes += littleEndian(tag, 2) + littleEndian(4, 2) + littleEndian(1, 4) + littleEndian(value, 4);
    return bytes + std::string(4, '\0');
}

struct Named
{
    std::string name, content;
};

/// Pictures of a size, in each format that has room for it.
std::vector<Named> picturesOf(unsigned width, unsigned height)
{
    const std::string png = picture(".png"), bmp = picture(".bmp");
    const std::string size = std::to_string(width) + " " + std::to_string(height);
    std::vector<Named> files = {
        {"PNG", png.substr(0, 16) + bigEndian(width, 4) + bigEndian(height, 4) + png.substr(24)},
        {"BMP", bmp.substr(0, 18) + littleEndian(width, 4) + littleEndian(height, 4) + bmp.substr(26)},
        {"BMP from the top", bmp.substr(0, 18) + littleEndian(width, 4) + littleEndian(0 - height, 4) + bmp.substr(26)},
        {"TIFF", tiff({{256, width}, {257, height}, {258, 8}})},
        {"TIFF of one tile", tiff({{256, 7}, {257, 5}, {258, 8}, {322, width}, {323, height}})},
        {"TIFF of one strip", tiff({{256, width}, {257, 1}, {258, 8}, {278, height}})}};
    for (const std::string format : {"P1", "P2", "P3", "P4", "P5", "P6"})
        files.push_back({format, format + " " + size + " 255 "});
    if (width < 1u << 24 && height < 1u << 24)
        files.push_back({"WebP", "RIFF1234WEBPVP8X" + littleEndian(10, 4) + std::string(4, '\0') +
                                     littleEndian(width - 1, 3) + littleEndian(height - 1, 3)});
    for (Named& file : files)
        file.name += " of " + size;
    return files;
}

void claimingPictures(const Take& take)
{
    std::vector<Named> files = {// The largest sizes that these have room for.
                                {"JPEG", replaced(picture(".jpg"), std::string("\0\x05\0\x07", 4), "\xFF\xFF\xFF\xFF")},
                                {"WebP without loss", "RIFF1234WEBPVP8L1234/\xFF\xFF\xFF\x0F"},
                                {"WebP with loss", "RIFF1234WEBPVP8 1234123\x9D\x01*\xFF\x3F\xFF\x3F"},
                                {"TIFF of many channels", tiff({{256, 7}, {257, 5}, {258, 8}, {277, 1000000000}})}};
    for (const auto& [width, height] : {std::pair{31623u, 31623u}, {1000000000u, 1u}, {1u, 1000000000u}})
        for (const Named& file : picturesOf(width, height))
            files.push_back(file);
    for (const Named& file : files)
        for (const std::size_t more : {0u, 100000u})
            take({"pictures that claim 10^9 pixels", file.name + " with " + std::to_string(more) + " bytes more",
                  file.content + std::string(more, '\0'), loadPicture});
}

void pictures(const Take& take)
{
    claimingPictures(take);
    for (const std::string ending : {".png", ".jpg", ".bmp", ".pbm", ".pgm", ".ppm", ".tiff", ".webp"})
        cut("pictures, cut", ending, picture(ending), loadPicture, take);
    for (const double value : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
        take({"pictures of nan and inf", "a TIFF file of " + std::to_string(value), picture(".tiff", CV_32FC1, value),
              loadPicture, true});
}

// ---- models

void loadModel(const std::string& path)
{
    core::cvdata::ColorGMM().load(path);
}

void models(const Take& take)
{
    const std::string claims = "models that claim 10^9 components", nests = "models that nest 10^5 levels";
    for (const std::string ending : {".yml", ".xml"}) {
        makeModel({numbered(1), numbered(2)}, 0.5).save("model" + ending);
        std::string whole = contentOf("model" + ending);
        whole.erase(whole.find_last_not_of('\n') + 1);
        for (const std::string name : {"dimension", "number_of_components"})
            take({claims, ending + " with " + name, claiming(whole, name), loadModel});
        for (const char* const word : {"nan", "inf", "1e999"})
            replaceNumbers("models of nan and inf", ending, whole, word, loadModel, false, take);
        for (const char* const word : {".Nan", ".Inf", "-.Inf"})
            replaceNumbers("models of nan and inf", ending, whole, word, loadModel, true, take);
        cut("models, cut", ending, whole, loadModel, take);
    }
    // As many as a file has room for.
    const std::string yaml = "%YAML:1.0\n---\ncomponents:\n",
                      xml = "<?xml version=\"1.0\"?>\n<opencv_storage>\n<components>";
    take({claims, "YAML of many components", yaml + repeated("  -\n    weight: 1.\n", 880000), loadModel});
    take({claims, "YAML of many numbers", yaml + "  - mean: [" + repeated("1,", 8000000), loadModel});
    take({claims, "XML of many components", xml + repeated("<_><weight>1.</weight></_>", 640000), loadModel});
    take({claims, "XML of many numbers", xml + "<_><mean>" + repeated("1 ", 8000000), loadModel});
    for (const std::string part : {" -", "[", "{"})
        take({nests, "YAML of " + part, yaml + repeated(part, 100000), loadModel});
    for (const std::string part : {"<_>", "<a>", "<!--"})
        take({nests, "XML of " + part, xml + repeated(part, 100000), loadModel});
}

// ---- cascades

void loadCascade(const std::string& path)
{
    const auto bytes = core::util::readWholeFile("cannot load", path, opencv1::kMostOfACascade);
    opencv1::checkedCascade({bytes.begin(), bytes.end()}); // says why
    auto* loaded = static_cast<CvHaarClassifierCascade*>(cvLoad(path.c_str()));
    if (!loaded)
        throw std::runtime_error("OpenCV does not take it");
    cvReleaseHaarClassifierCascade(&loaded);
}

/// The text of a small cascade, without what is not read.
std::string cascade(const std::string& name)
{
    const std::regex unread("<!--[^>]*-->|<stageParams>[^]*</stageParams>|<featSize>1</featSize>|\n+$");
    return std::regex_replace(contentOf(VELMOR_TEST_CASCADES "/" + name), unread, "");
}

void claimingCascades(const Take& take)
{
    const std::string kind = "cascades that claim 10^9 stages";
    for (const std::string name : {"haar.xml", "lbp.xml"})
        for (const std::string count : {"<height>", "<width>", "<maxCatCount>", "<stageNum>", "<internalNodes>"})
            take({kind, name + " with " + count, claiming(cascade(name), count), loadCascade});
    for (const std::string count : {"<size>", "<rects>", "<left_node>"})
        take({kind, "old.xml with " + count, claiming(cascade("old.xml"), count), loadCascade});
    // As many as a file has room for.
    const std::tuple<const char*, std::string, std::string> lists[] = {
        {"old.xml", "<stages>", "<_/>"},
        {"old.xml", "<stages>", "<_><trees></trees></_>"},
        {"old.xml", "<stages>", "<name-of-16-bytes>text of 16 bytes</name-of-16-bytes>"},
        {"old.xml", "<size>", "1 "},
        {"haar.xml", "<internalNodes>", "0 0 0 1 "},
        {"lbp.xml", "<internalNodes>", "0 0 0 1 1 1 1 1 1 1 1 "}};
    for (const auto& [name, list, item] : lists) {
        const std::string whole = cascade(name);
        const std::size_t count = (opencv1::kMostOfACascade - whole.size()) / item.size();
        take({kind, name + (" with many " + item) + "in " + list, replaced(whole, list, list + repeated(item, count)),
              loadCascade});
    }
}

void cascades(const Take& take)
{
    claimingCascades(take);
    for (const std::string name : {"haar.xml", "lbp.xml", "old.xml"}) {
        for (const char* const word : {"nan", "inf", "-inf", "1e999", ".Nan"})
            replaceNumbers("cascades of nan and inf", name, cascade(name), word, loadCascade, false, take);
        cut("cascades, cut", name, cascade(name), loadCascade, take);
    }
    for (const std::string part : {"<_>", "<a>", "<!--"})
        take({"cascades that nest 10^5 levels", "old.xml with " + part,
              replaced(cascade("old.xml"), "<stages>", "<stages>" + repeated(part, 100000)), loadCascade});
}

} // namespace

void forEachHostileFile(const Take& take)
{
    pictures(take);
    models(take);
    cascades(take);
}

} // namespace velmor::tests
