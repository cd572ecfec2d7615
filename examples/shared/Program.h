#pragma once

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

namespace velmor::examples {

/// A command line that is no valid one; the text names the argument.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// What is shown to a user who names no input.
constexpr const char* kUsualInput = "/usr/share/doc/opencv-doc/examples/data/vtest.avi";

/// The options of a program that takes one input beside them.
struct CommandLine
{
    std::map<std::string, bool*> flags;           ///< by name, such as "--help": what becomes true
    std::map<std::string, std::string*> settings; ///< likewise: what takes the value behind the option

    /// @return  the input, or the usual one
    /// @throws UsageError  naming the argument
    std::string parse(int argc, const char* const* argv) const;
};

/// Runs a program of a name and reports what it throws.
/// @return  the exit code: 2 for a UsageError, 1 for other errors
int runProgram(const std::string& name, const std::function<void()>& program);

/// Says in one line on standard error why the program of a name fails. Needs no memory.
void reportFailure(std::string_view name, std::string_view reason, std::string_view detail = {});

/// OpenCV and its video library print what is wrong with a video, at any time; the programs say it in one line.
void silenceCodecs();

/// Makes sure that the current context has what filters end the process without.
/// @param context  what it is, for the text of the error
/// @throws std::runtime_error  naming what is missing
void requireFilterSupport(const std::string& context);

/// Writes a file of that text, byte by byte.
/// @throws std::runtime_error  naming the file and the reason when it cannot be written
void writeFile(const std::string& file, const std::string& text);

/// Keeps what libraries print about their work away from the terminal, to be written to a file.
///
/// Filters announce themselves on standard output when they are made; codecs and drivers complain on standard error
/// about files that the program itself reports on. The text is kept in memory until saveTo().
class MessageLog
{
public:
    MessageLog();
    MessageLog(const MessageLog&) = delete;
    MessageLog& operator=(const MessageLog&) = delete;
    ~MessageLog();

    /// While it lives, what goes to STDOUT_FILENO or STDERR_FILENO goes to the log.
    class Capture
    {
    public:
        Capture(const MessageLog& log, int output);
        Capture(const Capture&) = delete;
        Capture& operator=(const Capture&) = delete;
        ~Capture();

    private:
        int mOutput;
        int mSaved; ///< what the output was before
    };

    /// Writes everything that was captured so far into a file, as writeFile() does.
    void saveTo(const std::string& file) const;

private:
    int mFile;
};

} // namespace velmor::examples
