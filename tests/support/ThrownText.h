#pragma once

#include <string>
#include <typeinfo>

namespace velmor::tests {

/// The text of the exception that an action throws, if it is of this very type; else what happened instead. An
/// exception that is not an `Expected` passes through.
template<typename Expected, typename Action>
std::string thrownText(const Action& action)
{
    try {
        action();
    } catch (const Expected& exception) {
        return typeid(exception) == typeid(Expected) ? exception.what() : "another exception";
    }
    return "no exception";
}

} // namespace velmor::tests
