#pragma once

#include <string>

namespace velmor::demo {

/// Writes a file of that text, byte by byte.
/// @throws std::runtime_error  naming the file and the reason when it cannot be written
void writeTextFile(const std::string& file, const std::string& text);

} // namespace velmor::demo
