#include "examples/demo/Gallery.h"

#include "catalogue/Catalogue.h"
#include "catalogue/NativeFilters.h"
#include "examples/demo/Frames.h"
#include "examples/demo/Sheet.h"
#include "examples/shared/Program.h"

#include <opencv2/imgcodecs.hpp>

#include <cctype>
#include <map>
#include <vector>

namespace velmor::examples {
namespace {

using Titles = std::vector<std::string>;

// Pictures whose titles tell of the frames.
const char* const kEarlier = "the earlier frame";
const char* const kLater = "the later frame";

/// What the demo gives to operators that do not get a whole frame, or both.
const std::map<std::string, Titles> kSpecialInputs = {
    {"And", {"Mask: moving", "Mask: dark"}},
    {"Or", {"Mask: moving", "Mask: dark"}},
    {"Xor", {"Mask: moving", "Mask: dark"}},
    {"BayerRG2GRAY", {"Bayer mosaic, a detail"}},
    {"BayerRG2RGB", {"Bayer mosaic, a detail"}},
    {"GRAY2Sobel", {"BGR2GRAY"}},
    {"NonMaxSupression", {"Input of NonMaxSupression"}},
    {"ColorGMM", {"Learnt patch"}},
    {"ColorGMM2", {"Learnt patches"}},
    {"ColorHistShader", {kLater}},
    {"PixelCount", {"Mask: moving"}},
    {"ColourDetector", {"Colour patch"}},
    {"ColourHist2D", {kLater, "Mask: moving"}},
    {"Moments", {"ColourDetector, with morphology"}},
    {"MotionSegment", {kEarlier, kLater}},
    {"FaceDetect", {"Photograph"}},
};

/// Functions in the place of filters whose result is numbers.
const std::map<std::string, std::string> kFunctions = {{"ColorHistShader", "native::colorHistShader()"},
                                                       {"PixelCount", "native::pixelCount()"}};

/// The pictures of the overview, as far as the sheet has them.
const Titles kOverview = {kEarlier,     kLater,           "Subtract",  "Not, in two regions",          "BGR2HSV",
                          "GRAY2Sobel", "Learnt patches", "ColorGMM2", "MotionSegment, centre of mass"};
constexpr int kOverviewWidth = 1100; ///< in pixels; captions can be read, and the file stays small
constexpr int kOverviewQuality = 75; ///< of 100

Titles inputsOf(const catalogue::Operator& each)
{
    const auto special = kSpecialInputs.find(each.name);
    if (special != kSpecialInputs.end())
        return special->second;
    return each.sources == 2 ? Titles{kEarlier, kLater} : Titles{kLater};
}

/// What works in main memory in the place of a filter; nothing for other operators, or where there is none.
std::string nativeSentence(const catalogue::Operator& each)
{
    if (catalogue::hasNative(each))
        return "In main memory: `native::" + each.name + "`.\n";
    const auto function = kFunctions.find(each.name);
    return function == kFunctions.end() ? "" : "In main memory: `" + function->second + "`.\n";
}

/// "picture-laplacian-four-neighbours.png" for "Laplacian, four neighbours".
std::string fileName(const std::string& title)
{
    std::string name = "picture";
    bool inWord = false;
    for (const char character : title) {
        const auto letter = static_cast<unsigned char>(character);
        if (std::isalnum(letter)) {
            name += inWord ? "" : "-";
            name += static_cast<char>(std::tolower(letter));
        }
        inWord = std::isalnum(letter);
    }
    return name + ".png";
}

/// The exhibits of some titles.
Sheet::Exhibits exhibitsOf(const Titles& titles, const Sheet& sheet, const Scene& scene)
{
    Sheet::Exhibits result;
    for (const std::string& title : titles)
        for (const Sheet::Exhibit& exhibit : sheet.exhibits())
            if (exhibit.title == (title == kEarlier ? scene.earlierCaption.title
                                  : title == kLater ? scene.laterCaption.title
                                                    : title))
                result.push_back(exhibit);
    return result;
}

/// A row of a table.
template<typename Cell>
std::string row(const Sheet::Exhibits& exhibits, const Cell& cell)
{
    std::string text = "|";
    for (const Sheet::Exhibit& exhibit : exhibits)
        text += " " + cell(exhibit) + " |";
    return text + "\n";
}

std::string tableText(const Sheet::Exhibits& exhibits)
{
    std::string text = row(exhibits, [](const auto& exhibit) { return exhibit.title; });
    text += row(exhibits, [](const auto&) { return std::string("---"); });
    text += row(exhibits, [](const auto& exhibit) {
        return "![" + exhibit.title + "](" + kGalleryFolderName + "/" + fileName(exhibit.title) + ")";
    });
    text += row(exhibits, [](const auto& exhibit) { return exhibit.sentence; });
    return text + "\n";
}

} // namespace

void writeGalleryPage(const Sheet& sheet, const Scene& scene, const std::filesystem::path& folder)
{
    std::string text =
        "# Gallery\n\nWhat each operator gets, and what it makes of it. Input: " + scene.origin + ".\n\n";
    for (const catalogue::Operator& each : catalogue::operators()) {
        Sheet::Exhibits shown = exhibitsOf(inputsOf(each), sheet, scene);
        const std::size_t inputs = shown.size();
        for (const Sheet::Exhibit& exhibit : sheet.exhibits())
            if (exhibit.title.substr(0, exhibit.title.find(',')) == each.name)
                shown.push_back(exhibit);
        text += "## " + each.name + "\n\n" + each.meaning + ".\n" + nativeSentence(each) + "\n";
        if (shown.size() > inputs)
            text += tableText(shown);
    }
    writeFile(folder / kGalleryPageName, text);

    std::filesystem::create_directory(folder / kGalleryFolderName);
    for (const Sheet::Exhibit& exhibit : sheet.exhibits())
        savePicture(exhibit.picture, folder / kGalleryFolderName / fileName(exhibit.title));
}

void writeOverview(const Sheet& sheet, const Scene& scene, const std::string& title,
                   const std::filesystem::path& folder)
{
    Sheet overview(3);
    overview.beginSection("The frames, and what some operators make of them");
    for (const Sheet::Exhibit& exhibit : exhibitsOf(kOverview, sheet, scene))
        overview.add(exhibit.picture, exhibit.title, exhibit.sentence);
    const cv::Mat drawn = overview.drawn(title, scene.origin);
    std::vector<unsigned char> bytes;
    cv::imencode(".jpg", fitted(drawn, {kOverviewWidth, drawn.rows}), bytes,
                 {cv::IMWRITE_JPEG_QUALITY, kOverviewQuality});
    writeFile(folder / kOverviewName, {bytes.begin(), bytes.end()});
}

} // namespace velmor::examples
