#pragma once

#include <exception>

namespace velmor::demo {

/// The user or the system asked the program to end (Ctrl-C, SIGTERM, SIGHUP).
///
/// A signal only leaves a note; the program looks for it between its steps, with throwIfRequested(), and so leaves
/// through its destructors, which take unfinished files away. A second signal of the same kind ends it at once.
class Interruption : public std::exception
{
public:
    /// From here on signals leave a note.
    static void watch();

    /// @throws Interruption  when there is a note
    static void throwIfRequested();

    const char* what() const noexcept override { return "interrupted, nothing was written"; }

    /// Ends the process by the signal that was noted, as the caller's shell expects it.
    [[noreturn]] static void endProcess();
};

} // namespace velmor::demo
