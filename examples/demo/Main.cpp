#include "examples/demo/Clip.h"
#include "examples/demo/Frames.h"
#include "examples/demo/Gallery.h"
#include "examples/demo/Sections.h"
#include "examples/demo/Sheet.h"
#include "examples/demo/Showcase.h"
#include "examples/demo/Summary.h"
#include "examples/shared/Findings.h"
#include "examples/shared/Program.h"
#include "examples/shared/Sources.h"
#include "glsupport/DriverAdapter.h"
#include "glsupport/HeadlessContext.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using namespace velmor;
using namespace velmor::examples;

namespace {

namespace fs = std::filesystem;

// ---- The command line

/// What the user asked for on the command line.
struct Options
{
    std::string input = kUsualInput;
    std::string outputFolder = "demo-output";
    int frames = 100; ///< at most so many frames are taken
    bool sequence = false;
    bool gallery = false;
    bool help = false;
};

int parseFrames(const std::string& text)
{
    constexpr int kMostFrames = 100000;
    int frames = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, frames);
    if (error != std::errc() || stop != end || frames < 1 || frames > kMostFrames)
        throw UsageError("--frames: expected a number of 1 to " + std::to_string(kMostFrames) + ", got '" + text + "'");
    return frames;
}

Options parseOptions(int argc, const char* const* argv)
{
    Options options;
    std::string frames;
    CommandLine line;
    line.flags["--sequence"] = &options.sequence;
    line.flags["--gallery"] = &options.gallery;
    line.flags["--help"] = line.flags["-h"] = &options.help;
    line.settings["--out"] = &options.outputFolder;
    line.settings["--frames"] = &frames;
    options.input = line.parse(argc, argv);
    if (!frames.empty())
        options.frames = parseFrames(frames);
    return options;
}

std::string usage()
{
    const Options usual;
    return R"(usage: velmor_demo [video | image | camera] [options]

Runs the operators of velmor on real frames and writes what they see as pictures.

  video, image   a file; without one, )" +
           usual.input + R"(
  camera         its number, such as 0, or its device, such as /dev/video0

  --out DIR      folder for the results, made when it is not there ()" +
           usual.outputFolder + R"()
  --frames N     take at most N frames of a video or a camera ()" +
           std::to_string(usual.frames) + R"()
  --sequence     write moving results as PNG pictures instead of an MP4 video
  --gallery      write each picture of the sheet as a PNG picture too, a page that shows them by operator,
                 and a small sheet of a few
  --help         show this text

Results: contact-sheet.png, motion.mp4 or motion/frame-0001.png and so on, summary.txt, messages.log;
with --gallery also gallery.md, gallery/ and overview.jpg.
They replace those of an earlier run in the same folder.
)";
}

// ---- What is written

const char* const kSheetName = "contact-sheet.png";
const char* const kSummaryName = "summary.txt";
const char* const kMessagesName = "messages.log";

/// Makes the folder of the results where it is missing; an absolute path.
fs::path makeFolder(const std::string& name)
{
    fs::path folder = fs::absolute(name).lexically_normal();
    if (!folder.has_filename()) // "out/" is "out"
        folder = folder.parent_path();
    std::error_code error;
    fs::create_directories(folder, error);
    if (!error && access(folder.c_str(), W_OK) != 0)
        error.assign(errno, std::generic_category());
    if (error)
        throw std::runtime_error("cannot write into '" + name + "': " + error.message());
    return folder;
}

/// Takes away the pictures that an earlier run wrote into a folder, and the folder when that empties it.
void removePictures(const fs::path& folder)
{
    if (!fs::is_directory(folder))
        return;
    std::vector<fs::path> pictures;
    for (const fs::path& file : fs::directory_iterator(folder)) {
        const std::string name = file.filename();
        if (file.extension() == ".png" && (name.rfind("frame-", 0) == 0 || name.rfind("picture-", 0) == 0))
            pictures.push_back(file);
    }
    for (const fs::path& picture : pictures)
        fs::remove(picture);
    if (fs::is_empty(folder))
        fs::remove(folder);
}

/// Takes the results of an earlier run away: not each run makes all of them.
void removeEarlierResults(const fs::path& folder)
{
    const auto cannotReplace = [](const fs::path& file, const std::string& reason) {
        return std::runtime_error("cannot replace '" + file.string() + "': " + reason);
    };
    const auto files = {kSheetName, kSummaryName, kMessagesName, Clip::kVideoName, kGalleryPageName, kOverviewName};
    for (const char* const file : files)
        if (fs::is_directory(folder / file))
            throw cannotReplace(folder / file, "it is a folder");
    try {
        for (const char* const file : files)
            fs::remove(folder / file);
        removePictures(folder / Clip::kSequenceName);
        removePictures(folder / kGalleryFolderName);
    } catch (const fs::filesystem_error& error) {
        throw cannotReplace(error.path1(), error.code().message());
    }
}

// ---- The run

/// What stands on the sheet, from top to bottom: headings, and what stands under them.
constexpr std::pair<const char*, void (*)(const Scene&, Showcase&)> kSections[] = {
    {"Inputs", showInputs},
    {"Logic filters", showLogicFilters},
    {"Colour filters", showColourFilters},
    {"Bayer mosaic", showBayerFilters},
    {"Edges", showEdgeFilters},
    {"Brighter pixels, flip and debug view", showViews},
    {"Colour mixtures", showMixtures},
    {"Colour classes and counts", showCounts},
    {"Colour detector and blobs", showColourModel},
    {"Motion history and colour histogram", showMovement},
    {"Faces", showFaces},
};

/// A bar on standard error that grows with the work, where that is a terminal; elsewhere nothing is shown.
class Progress
{
public:
    explicit Progress(int steps) : mSteps(steps) {}
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { print(""); }

    /// Tells in a few words what the next step is.
    void step(const std::string& what)
    {
        ++mDone;
        const auto filled = static_cast<std::size_t>(kLength * mDone / mSteps);
        print('[' + std::string(filled, '#') + std::string(kLength - filled, '.') + "] " + what);
    }

private:
    static constexpr int kLength = 30;

    static void print(const std::string& line)
    {
        if (isatty(STDERR_FILENO) == 1)
            std::cerr << "\r\033[K" << line << std::flush;
    }

    int mSteps;
    int mDone = 0;
};

/// Adapts the driver to the filters, and says in a few words what came of it.
std::string adaptDriver()
{
    using glsupport::DriverAdapter;
    const DriverAdapter::Report report = DriverAdapter::install();
    std::cout << report << std::flush;
    const auto count = [&report](DriverAdapter::Finding::Outcome outcome) {
        return std::to_string(std::count_if(report.findings.begin(), report.findings.end(),
                                            [outcome](const auto& finding) { return finding.outcome == outcome; }));
    };
    return "of what filters expect, " + count(DriverAdapter::Finding::Accepted) + " accepted, " +
           count(DriverAdapter::Finding::Adapted) + " adapted, " + count(DriverAdapter::Finding::Missing) + " missing";
}

/// Takes frames from the source until there are enough or no more.
void passFrames(FrameSource& source, int frames, FramePass& pass)
{
    Progress progress(frames);
    cv::Mat frame;
    for (int i = 0; i < frames && source.next(frame); ++i) {
        pass.add(frame);
        progress.step(pass.frameName());
    }
}

Sheet showSections(const Scene& scene, Summary& summary)
{
    Sheet sheet;
    Showcase showcase(sheet, summary);
    Progress progress(static_cast<int>(std::size(kSections)));
    for (const auto& [heading, show] : kSections) {
        progress.step(heading);
        sheet.beginSection(heading);
        show(scene, showcase);
    }
    return sheet;
}

/// Runs the operators on the frames of the input and writes what they see into the output folder.
/// @return  the summary
std::string runDemo(const Options& options)
{
    const MessageLog log;
    const MessageLog::Capture chatter(log, STDOUT_FILENO);
    FrameSource source(options.input, log);
    const auto context = [&log] {
        const MessageLog::Capture capture(log, STDERR_FILENO);
        return glsupport::HeadlessContext(false);
    }();
    requireFilterSupport(context.description());
    const std::string driver = adaptDriver();
    const fs::path folder = makeFolder(options.outputFolder);
    removeEarlierResults(folder);

    Summary summary;
    Clip clip(folder, source.rate(), options.sequence, log);
    FramePass pass(clip);
    passFrames(source, options.frames, pass);
    pass.report(options.input, summary);
    summary.addFact("renderer", context.description());
    summary.addFact("driver", driver);

    const Scene scene = pass.scene();
    const Sheet sheet = showSections(scene, summary);
    const std::string title = "velmor operators on " + source.name();
    const cv::Mat drawn =
        sheet.drawn(title, scene.origin + ", " + sizeText(scene.later.size()) + " pixels, on " + context.description());
    savePicture(drawn, folder / kSheetName);
    summary.addFile(kSheetName,
                    std::to_string(sheet.exhibits().size()) + " pictures, " + sizeText(drawn.size()) + " pixels");
    clip.finish(summary);
    if (options.gallery) {
        writeGalleryPage(sheet, scene, folder);
        writeOverview(sheet, scene, title, folder);
        summary.addFile(kGalleryPageName, "what each operator gets, and what it makes of it");
        summary.addFile(kOverviewName, "a few pictures of the sheet, for a document");
    }
    summary.addFile(kSummaryName, "this text");
    summary.addFile(kMessagesName, "what the driver adapter, filters and codecs print");
    const std::string text = summary.text(folder);
    writeFile(folder / kSummaryName, text);
    log.saveTo(folder / kMessagesName);
    return text;
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram("velmor_demo", [&] {
        const Options options = parseOptions(argc, argv);
        if (options.help) {
            std::cout << usage();
            return;
        }
        silenceCodecs();
        const std::string summary = runDemo(options);
        if (!(std::cout << summary << std::flush))
            throw std::runtime_error("cannot print the summary: " + std::string(std::strerror(errno)));
    });
}
