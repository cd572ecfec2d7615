#pragma once

#include <string>

namespace velmor::viewer {

/// What the user asked for on the command line.
struct Options
{
    std::string input;
    bool help = false;
};

/// @throws demo::UsageError  naming the argument
Options parseOptions(int argc, const char* const* argv);

/// The text of --help.
std::string usage();

} // namespace velmor::viewer
