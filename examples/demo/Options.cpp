#include "examples/demo/Options.h"

#include "examples/shared/Program.h"

#include <charconv>
#include <vector>

namespace velmor::demo {
namespace {

constexpr int kMostFrames = 100000;

int parseFrames(const std::string& text)
{
    int frames = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, frames);
    if (error != std::errc() || stop != end || frames < 1 || frames > kMostFrames)
        throw UsageError("--frames: expected a number of 1 to " + std::to_string(kMostFrames) + ", got '" + text + "'");
    return frames;
}

/// The arguments from first to last, taken one by one.
class Arguments
{
public:
    Arguments(const char* const* first, const char* const* last) : mArguments(first, last) {}

    bool empty() const { return mNext == mArguments.size(); }
    std::string take() { return mArguments[mNext++]; }

    /// The value of an option, which stands behind it.
    std::string takeValue(const std::string& option)
    {
        if (empty() || mArguments[mNext].empty())
            throw UsageError(option + ": expected a value behind it");
        return take();
    }

private:
    std::vector<std::string> mArguments;
    std::size_t mNext = 0;
};

} // namespace

Options parseOptions(int argc, const char* const* argv)
{
    Options options;
    Arguments arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    std::vector<std::string> inputs;
    bool optionsEnded = false;
    while (!arguments.empty()) {
        const std::string argument = arguments.take();
        if (optionsEnded || argument.empty() || argument.front() != '-')
            inputs.push_back(argument);
        else if (argument == "--")
            optionsEnded = true;
        else if (argument == "--out")
            options.outputFolder = arguments.takeValue(argument);
        else if (argument == "--frames")
            options.frames = parseFrames(arguments.takeValue(argument));
        else if (argument == "--sequence")
            options.sequence = true;
        else if (argument == "--gallery")
            options.gallery = true;
        else if (argument == "--help" || argument == "-h")
            options.help = true;
        else
            throw UsageError("unknown option '" + argument + "'");
    }
    if (inputs.size() > 1)
        throw UsageError("expected one input, got '" + inputs[0] + "' and '" + inputs[1] + "'");
    if (!inputs.empty())
        options.input = inputs.front();
    return options;
}

std::string usage()
{
    const Options defaults;
    return "usage: velmor_demo [video | image | camera] [options]\n"
           "\n"
           "Runs the operators of velmor on real frames and writes what they see as pictures.\n"
           "\n"
           "  video, image   a file; without one, " +
           defaults.input +
           "\n"
           "  camera         its number, such as 0, or its device, such as /dev/video0\n"
           "\n"
           "  --out DIR      folder for the results, made when it is not there (" +
           defaults.outputFolder +
           ")\n"
           "  --frames N     take at most N frames of a video or a camera (" +
           std::to_string(defaults.frames) +
           ")\n"
           "  --sequence     write moving results as PNG pictures instead of an MP4 video\n"
           "  --gallery      write each picture of the sheet as a PNG picture too, a page that shows them by "
           "operator,\n"
           "                 and a small sheet of a few\n"
           "  --help         show this text\n"
           "\n"
           "Results: contact-sheet.png, motion.mp4 or motion/frame-0001.png and so on, summary.txt, messages.log;\n"
           "with --gallery also gallery.md, gallery/ and overview.jpg.\n"
           "They replace those of an earlier run in the same folder, and appear only when the run succeeds.\n";
}

} // namespace velmor::demo
