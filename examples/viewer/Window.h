#pragma once

namespace velmor::demo {
class MessageLog;
}

namespace velmor::viewer {

class Player;

/// Opens a window on an input and lets the user have his way until he closes it. Ends the process with a message and
/// exit code 1 where no window can be opened.
/// @throws std::runtime_error  when the driver lacks something, or the input fails on the way
void runWindow(Player& player, const demo::MessageLog& log);

} // namespace velmor::viewer
