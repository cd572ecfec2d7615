#pragma once

#include <string>

namespace velmor::demo {

/// Makes sure that the current context has what filters end the process without.
/// @param context  what it is, for the text of the error
/// @throws std::runtime_error  naming what is missing
void requireFilterSupport(const std::string& context);

} // namespace velmor::demo
