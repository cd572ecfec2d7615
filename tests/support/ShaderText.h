#pragma once

#include <algorithm>
#include <string>

namespace velmor::tests {

/// A shader text whose layout does not count: without blanks and line ends.
inline std::string withoutBlanks(std::string text)
{
    text.erase(std::remove_if(text.begin(), text.end(), [](char each) { return each == ' ' || each == '\n'; }),
               text.end());
    return text;
}

} // namespace velmor::tests
