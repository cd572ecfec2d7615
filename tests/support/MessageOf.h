#pragma once

#include <string>
#include <typeinfo>

namespace velmor::tests {

/// The text of the exception that a piece of code throws, if it is of this very type; else what happened instead.
template<typename Exception, typename Code>
std::string messageOf(const Code& code)
{
    try {
        code();
    } catch (const Exception& exception) {
        return typeid(exception) == typeid(Exception) ? exception.what() : "another exception";
    }
    return "no exception";
}

} // namespace velmor::tests
