#pragma once

#include "examples/shared/FrameSource.h"

#include <string>

namespace velmor::demo {

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

/// @throws UsageError  naming the argument
Options parseOptions(int argc, const char* const* argv);

/// The text of --help.
std::string usage();

} // namespace velmor::demo
