#include "examples/shared/MessageLog.h"
#include "examples/shared/Program.h"
#include "examples/viewer/Options.h"
#include "examples/viewer/Player.h"
#include "examples/viewer/Viewer.h"
#include "examples/viewer/Window.h"

#include <iostream>

int main(int argc, char** argv)
{
    using namespace velmor;
    return demo::runProgram(viewer::kProgramName, [&] {
        const viewer::Options options = viewer::parseOptions(argc, argv);
        if (options.help) {
            std::cout << viewer::usage();
            return;
        }
        demo::silenceCodecs();
        const demo::MessageLog log;
        viewer::Player player(options.input, log);
        viewer::runWindow(player, log);
    });
}
