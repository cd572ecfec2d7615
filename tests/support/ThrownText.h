#pragma once

#include <string>

namespace velmor::tests {

/// The text of the exception that an action throws; "no exception" when it throws none. An exception that is not an
/// `Expected` passes through.
template<typename Expected, typename Action>
std::string thrownText(const Action& action)
{
    try {
        action();
    } catch (const Expected& exception) {
        return exception.what();
    }
    return "no exception";
}

} // namespace velmor::tests
