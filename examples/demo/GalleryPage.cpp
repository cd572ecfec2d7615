#include "examples/demo/GalleryPage.h"

#include "examples/demo/Gallery.h"
#include "examples/demo/OutputFolder.h"
#include "examples/demo/Scene.h"
#include "examples/shared/PictureFile.h"
#include "examples/shared/PictureFit.h"
#include "examples/shared/TextFile.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

namespace velmor::demo {
namespace {

using Exhibits = std::vector<Gallery::Exhibit>;

// Inputs whose titles tell of the frames.
const char* const kEarlier = "the earlier frame";
const char* const kLater = "the later frame";

/// An operator on the page, with the pictures that it gets.
struct Entry
{
    const char* name;
    std::vector<std::string> inputs;
};

const Entry kEntries[] = {
    {"And", {"Mask: moving", "Mask: dark"}},
    {"Or", {"Mask: moving", "Mask: dark"}},
    {"Xor", {"Mask: moving", "Mask: dark"}},
    {"Not", {kLater}},
    {"Subtract", {kEarlier, kLater}},
    {"BGR2GRAY", {kLater}},
    {"RGB2GRAY", {kLater}},
    {"BGR2HSV", {kLater}},
    {"RGB2HSV", {kLater}},
    {"BayerRG2GRAY", {"Bayer mosaic, a detail"}},
    {"BayerRG2RGB", {"Bayer mosaic, a detail"}},
    {"GRAY2Sobel", {"BGR2GRAY"}},
    {"Laplacian", {kLater}},
    {"NonMaxSupression", {"Input of NonMaxSupression"}},
    {"FlipV", {kLater}},
    {"DebugUInt2Float", {kLater}},
    {"ColorGMM", {"Learnt patch"}},
    {"ColorGMM2", {"Learnt patches"}},
    {"Classify", {kEarlier, kLater}},
    {"ColorHistShader", {kLater}},
    {"PixelCount", {"Mask: moving"}},
    {"ColourDetector", {"Colour patch"}},
    {"ColourHist2D", {kLater, "Mask: moving"}},
    {"Moments", {"ColourDetector, with morphology"}},
    {"MotionSegment", {kEarlier, kLater}},
    {"FaceDetect", {"Photograph"}},
};

/// The pictures of the overview, as far as the gallery has them.
const char* const kOverview[] = {kEarlier,     kLater,           "Subtract",  "Not, in two regions",          "BGR2HSV",
                                 "GRAY2Sobel", "Learnt patches", "ColorGMM2", "MotionSegment, centre of mass"};
constexpr int kOverviewColumns = 3;
constexpr int kOverviewWidth = 1100; ///< in pixels; captions can be read, and the file stays small
constexpr int kOverviewQuality = 75; ///< of 100

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

/// The title of an input in the gallery.
std::string titleOf(const std::string& input, const Scene& scene)
{
    return input == kEarlier ? scene.earlierCaption.title : input == kLater ? scene.laterCaption.title : input;
}

/// Whether a picture is an operator's result: titles are its name, alone or with a comma and what is special about it.
bool isResultOf(const std::string& name, const std::string& title)
{
    return title.substr(0, title.find(',')) == name;
}

/// What an operator gets, and then what it makes of it; nothing where the gallery has no result of it.
Exhibits exhibitsOf(const Entry& entry, const Exhibits& all, const Scene& scene)
{
    Exhibits result;
    const auto take = [&all, &result](const auto& isWanted) {
        std::copy_if(all.begin(), all.end(), std::back_inserter(result), isWanted);
    };
    for (const std::string& input : entry.inputs) {
        const std::string title = titleOf(input, scene);
        take([&title](const Gallery::Exhibit& exhibit) { return exhibit.title == title; });
    }
    const std::size_t inputs = result.size();
    take([&entry](const Gallery::Exhibit& exhibit) { return isResultOf(entry.name, exhibit.title); });
    return result.size() == inputs ? Exhibits() : result;
}

/// A row of a table.
template<typename Cell>
std::string row(const Exhibits& exhibits, const Cell& cell)
{
    std::string text = "|";
    for (const Gallery::Exhibit& exhibit : exhibits)
        text += " " + cell(exhibit) + " |";
    return text + "\n";
}

std::string entryText(const std::string& name, const Exhibits& exhibits)
{
    std::string text = "## " + name + "\n\n";
    text += row(exhibits, [](const auto& exhibit) { return exhibit.title; });
    text += row(exhibits, [](const auto&) { return std::string("---"); });
    text += row(exhibits, [](const auto& exhibit) {
        return "![" + exhibit.title + "](" + kGalleryFolderName + "/" + fileName(exhibit.title) + ")";
    });
    text += row(exhibits, [](const auto& exhibit) { return exhibit.sentence; });
    return text + "\n";
}

} // namespace

void writeGalleryPage(const Gallery& gallery, const Scene& scene, const OutputFolder& folder)
{
    const Exhibits exhibits = gallery.exhibits();
    std::string text =
        "# Gallery\n\nWhat each operator gets, and what it makes of it. Input: " + scene.origin + ".\n\n";
    for (const Entry& entry : kEntries) {
        const Exhibits shown = exhibitsOf(entry, exhibits, scene);
        if (!shown.empty())
            text += entryText(entry.name, shown);
    }

    const std::string pictures = folder.unfinished(kGalleryFolderName);
    std::filesystem::create_directory(pictures);
    for (const Gallery::Exhibit& exhibit : exhibits)
        savePicture(exhibit.picture, pictures + "/" + fileName(exhibit.title));
    writeTextFile(folder.unfinished(kGalleryPageName), text);
}

void writeOverview(const Gallery& gallery, const Scene& scene, const std::string& title, const OutputFolder& folder)
{
    const Exhibits exhibits = gallery.exhibits();
    Gallery overview(kOverviewColumns);
    overview.beginSection("The frames, and what some operators make of them");
    for (const char* const name : kOverview)
        for (const Gallery::Exhibit& exhibit : exhibits)
            if (exhibit.title == titleOf(name, scene))
                overview.add(exhibit.picture, exhibit.title, exhibit.sentence);
    const cv::Mat sheet = overview.sheet(title, scene.origin);
    saveJpeg(fitted(sheet, {kOverviewWidth, sheet.rows}), folder.unfinished(kOverviewName), kOverviewQuality);
}

} // namespace velmor::demo
