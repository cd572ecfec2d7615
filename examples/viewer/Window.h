#pragma once

#include "examples/viewer/Screen.h"

#include <vector>

namespace velmor::examples {

class MessageLog;
class FrameSource;

/// Opens a window on an input and lets the user have his way until he closes it. Ends the process with a message and
/// exit code 1 where no window can be opened.
/// @throws std::runtime_error  when the driver lacks something, or the input fails on the way
void runWindow(FrameSource& source, const MessageLog& log);

/// Keys and mouse, for people.
std::vector<HelpLine> helpLines();

} // namespace velmor::examples
