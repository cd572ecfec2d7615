#include "examples/demo/Demo.h"

#include "examples/demo/BayerSection.h"
#include "examples/demo/ColourFilterSection.h"
#include "examples/demo/ColourSection.h"
#include "examples/demo/CountSection.h"
#include "examples/demo/EdgeSection.h"
#include "examples/demo/FaceSection.h"
#include "examples/demo/FramePass.h"
#include "examples/demo/Gallery.h"
#include "examples/demo/GalleryPage.h"
#include "examples/demo/InputSection.h"
#include "examples/demo/Interruption.h"
#include "examples/demo/LogicSection.h"
#include "examples/demo/MixtureSection.h"
#include "examples/demo/MotionClip.h"
#include "examples/demo/MovementSection.h"
#include "examples/demo/Options.h"
#include "examples/demo/OutputFolder.h"
#include "examples/demo/Progress.h"
#include "examples/demo/Showcase.h"
#include "examples/demo/Summary.h"
#include "examples/demo/ViewSection.h"
#include "examples/shared/FilterSupport.h"
#include "examples/shared/Findings.h"
#include "examples/shared/FrameSource.h"
#include "examples/shared/MessageLog.h"
#include "examples/shared/PictureFile.h"
#include "examples/shared/TextFile.h"
#include "glsupport/DriverAdapter.h"
#include "glsupport/HeadlessContext.h"

#include <GL/glew.h>

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <stdexcept>

namespace velmor::demo {
namespace {

const char* const kSheetName = "contact-sheet.png";
const char* const kSummaryName = "summary.txt";
const char* const kMessagesName = "messages.log";

/// A part of the sheet under one heading.
struct Section
{
    const char* heading;
    void (*show)(const Scene& scene, Showcase& showcase);
};

/// What stands on the sheet, from top to bottom. Further operators come in as a section of their own.
constexpr Section kSections[] = {
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

glsupport::HeadlessContext makeContext(const MessageLog& log)
{
    const MessageLog::Capture capture(log, STDERR_FILENO);
    return glsupport::HeadlessContext(false);
}

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
        Interruption::throwIfRequested();
        pass.add(frame);
        progress.step(pass.frameName());
    }
}

Gallery showSections(const Scene& scene, Summary& summary)
{
    Gallery gallery;
    Showcase showcase(gallery, summary);
    Progress progress(static_cast<int>(std::size(kSections)));
    for (const Section& section : kSections) {
        Interruption::throwIfRequested();
        progress.step(section.heading);
        gallery.beginSection(section.heading);
        section.show(scene, showcase);
    }
    return gallery;
}

void writeClip(MotionClip& clip, Summary& summary)
{
    if (const ClipWriter* const written = clip.finish())
        summary.addFile(written->name(), written->description());
}

void writeSheet(const Gallery& gallery, const std::string& title, const std::string& subtitle,
                const OutputFolder& folder, Summary& summary)
{
    const cv::Mat sheet = gallery.sheet(title, subtitle);
    savePicture(sheet, folder.unfinished(kSheetName));
    summary.addFile(kSheetName, std::to_string(gallery.size()) + " pictures, " + sizeText(sheet.size()) + " pixels");
}

} // namespace

std::string runDemo(const Options& options)
{
    const MessageLog log;
    const MessageLog::Capture chatter(log, STDOUT_FILENO);
    const auto source = FrameSource::open(options.input, log);
    OutputFolder folder(options.outputFolder);
    const glsupport::HeadlessContext context = makeContext(log);
    requireFilterSupport(context.description());
    const std::string driver = adaptDriver();

    Summary summary;
    MotionClip clip(folder, source->rate(), options.sequence, log);
    FramePass pass(clip);
    passFrames(*source, options.frames, pass);
    pass.report(options.input, summary);
    summary.addFact("renderer", context.description());
    summary.addFact("driver", driver);

    const Scene scene = pass.scene();
    const Gallery gallery = showSections(scene, summary);
    const std::string title = "velmor operators on " + source->name();
    writeSheet(gallery, title,
               scene.origin + ", " + sizeText(scene.later.size()) + " pixels, on " + context.description(), folder,
               summary);
    writeClip(clip, summary);
    if (options.gallery) {
        writeGalleryPage(gallery, scene, folder);
        writeOverview(gallery, scene, title, folder);
        summary.addFile(kGalleryPageName, "what each operator gets, and what it makes of it");
        summary.addFile(kOverviewName, "a few pictures of the sheet, for a document");
    }
    summary.addFile(kSummaryName, "this text");
    summary.addFile(kMessagesName, "what the driver adapter, filters and codecs print");

    const std::string text = summary.text(folder.path().string());
    writeTextFile(folder.unfinished(kSummaryName), text);
    log.saveTo(folder.unfinished(kMessagesName));
    Interruption::throwIfRequested();
    folder.publish({kMessagesName, ClipWriter::kVideoName, ClipWriter::kSequenceName, kGalleryFolderName,
                    kGalleryPageName, kOverviewName, kSheetName, kSummaryName});
    return text;
}

} // namespace velmor::demo
