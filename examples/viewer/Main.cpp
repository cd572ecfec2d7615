#include "examples/shared/Program.h"
#include "examples/shared/Sources.h"
#include "examples/viewer/Viewer.h"
#include "examples/viewer/Window.h"

#include <algorithm>
#include <iostream>
#include <string>

using namespace velmor::examples;

namespace {

std::string usage()
{
    std::string text = R"(usage: velmor-viewer [video | image | camera]

Shows in a window what the operators of velmor make of it, live.

  video, image   a file; without one, )" +
                       std::string(kUsualInput) + R"(
  camera         its number, such as 0, or its device, such as /dev/video0
  --help         show this text

In the window:
)";
    for (const auto& [keys, effect] : helpLines())
        text += "  " + keys + std::string(std::max<std::size_t>(15, keys.size()) - keys.size(), ' ') + effect + "\n";
    return text;
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram(kProgramName, [&] {
        bool isHelpWanted = false;
        CommandLine line;
        line.flags["--help"] = line.flags["-h"] = &isHelpWanted;
        const std::string input = line.parse(argc, argv);
        if (isHelpWanted) {
            std::cout << usage();
            return;
        }
        silenceCodecs();
        const MessageLog log;
        FrameSource source(input, log);
        runWindow(source, log);
    });
}
