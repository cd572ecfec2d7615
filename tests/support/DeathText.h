#pragma once

#include <string>

namespace velmor::tests {

/// A regular expression that matches a text and nothing else in its place.
inline std::string escaped(const std::string& text)
{
    std::string result;
    for (const char each : text) {
        if (std::string("\\^$.|?*+()[]{}").find(each) != std::string::npos)
            result += '\\';
        result += each;
    }
    return result;
}

/// Matches a standard error stream that holds this text alone.
inline std::string exactly(const std::string& text)
{
    return '^' + escaped(text) + '$';
}

/// Matches the report of an assertion.
/// @param file        source file, relative to the repository root
/// @param expression  the asserted expression as it is written in the source
inline std::string assertion(const std::string& file, const std::string& expression)
{
    return ": " + escaped(file) + ":[0-9]+: .*: Assertion `" + escaped(expression) + "' failed\\.";
}

} // namespace velmor::tests
