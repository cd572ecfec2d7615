#pragma once

#include <stdexcept>
#include <string>

namespace velmor::demo {

/// What the user asked for on the command line.
struct Options
{
    std::string input = "/usr/share/doc/opencv-doc/examples/data/vtest.avi";
    std::string outputFolder = "demo-output";
    int frames = 100; ///< at most so many frames are taken
    bool sequence = false;
    bool gallery = false;
    bool help = false;
};

/// A command line that is no valid one; the text names the argument.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// @throws UsageError
Options parseOptions(int argc, const char* const* argv);

/// The text of --help.
std::string usage();

} // namespace velmor::demo
