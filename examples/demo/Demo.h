#pragma once

#include <string>

namespace velmor::demo {

struct Options;

/// Runs the operators on the frames of the input and writes what they see into the output folder.
/// @return  the summary
/// @throws Interruption        on a signal; nothing is written then
/// @throws std::runtime_error  saying what failed, where and why; nothing is written then
std::string runDemo(const Options& options);

} // namespace velmor::demo
