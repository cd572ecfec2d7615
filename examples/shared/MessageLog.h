#pragma once

#include <string>

namespace velmor::demo {

/// Keeps what libraries print about their work away from the terminal, to be written to a file.
///
/// Filters announce themselves on standard output when they are made; codecs and drivers complain on standard error
/// about files that the program itself reports on. The text is kept in memory until saveTo().
class MessageLog
{
public:
    /// @throws std::runtime_error  when the system has no memory for it
    MessageLog();
    MessageLog(const MessageLog&) = delete;
    MessageLog& operator=(const MessageLog&) = delete;
    ~MessageLog();

    /// While it lives, what goes to an output of the process goes to the log.
    class Capture
    {
    public:
        /// @param output  STDOUT_FILENO or STDERR_FILENO
        Capture(const MessageLog& log, int output);
        Capture(const Capture&) = delete;
        Capture& operator=(const Capture&) = delete;
        ~Capture();

    private:
        int mOutput;
        int mSaved; ///< what the output was before; -1 if it was closed
    };

    /// Writes everything that was captured so far into a file.
    /// @throws std::runtime_error  naming the file and the reason when it cannot be written
    void saveTo(const std::string& file) const;

private:
    int mFile;
};

} // namespace velmor::demo
