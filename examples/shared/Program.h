#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace velmor::demo {

/// A command line that is no valid one; the text names the argument.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// OpenCV and its video library print what is wrong with a video, the latter from threads of its own at any time; the
/// programs say it in one line.
void silenceCodecs();

/// Says in one line on standard error why a program fails.
/// @param name  of the program
void reportFailure(const std::string& name, const std::string& reason);

/// Runs a program and reports what it throws.
/// @param name  of the program
/// @return      the exit code: 2 for a UsageError, 1 for other errors
int runProgram(const std::string& name, const std::function<void()>& program);

} // namespace velmor::demo
