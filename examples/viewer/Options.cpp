#include "examples/viewer/Options.h"

#include "examples/shared/FrameSource.h"
#include "examples/shared/Program.h"
#include "examples/viewer/Commands.h"

#include <vector>

namespace velmor::viewer {

Options parseOptions(int argc, const char* const* argv)
{
    Options options;
    std::vector<std::string> inputs;
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (optionsEnded || argument.empty() || argument.front() != '-')
            inputs.push_back(argument);
        else if (argument == "--")
            optionsEnded = true;
        else if (argument == "--help" || argument == "-h")
            options.help = true;
        else
            throw demo::UsageError("unknown option '" + argument + "'");
    }
    if (inputs.size() > 1)
        throw demo::UsageError("expected one input, got '" + inputs[0] + "' and '" + inputs[1] + "'");
    options.input = inputs.empty() ? demo::kUsualInput : inputs.front();
    return options;
}

std::string usage()
{
    std::string text = "usage: velmor-viewer [video | image | camera]\n"
                       "\n"
                       "Shows in a window what the operators of velmor make of it, live.\n"
                       "\n"
                       "  video, image   a file; without one, ";
    text += demo::kUsualInput;
    text += "\n"
            "  camera         its number, such as 0, or its device, such as /dev/video0\n"
            "  --help         show this text\n"
            "\n"
            "In the window:\n";
    for (const HelpLine& line : helpLines())
        text +=
            "  " + line.keys + std::string(line.keys.size() < 15 ? 15 - line.keys.size() : 1, ' ') + line.effect + "\n";
    return text;
}

} // namespace velmor::viewer
