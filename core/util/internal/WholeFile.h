#pragma once

#include "core/Export.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmor::core::util {

// Reads and writes files in one piece. In each function, attempt is how the text of an error begins, such as
// "ColorGMM::load(): cannot load".

/// An error with the text "<attempt> '<file>': <reason>".
VELMOR_CORE_EXPORT std::runtime_error fileError(const std::string& attempt, const std::string& file,
                                                const std::string& reason);

/// The bytes of a file.
/// @throws std::runtime_error  when it cannot be read or is empty
VELMOR_CORE_EXPORT std::vector<unsigned char> readWholeFile(const std::string& attempt, const std::string& file);

/// The bytes of a file that has at most limit of them. No more are read, whatever the file system says of its size.
/// @throws std::runtime_error  when it cannot be read, is empty or is larger
VELMOR_CORE_EXPORT std::vector<unsigned char> readWholeFile(const std::string& attempt, const std::string& file,
                                                            std::size_t limit);

/// Writes a file, which appears complete or not at all: the bytes go into a file beside it, which is then renamed. A
/// file that is replaced is whole at every moment, also after a loss of power, and keeps its permissions where the file
/// system has them. A link stays a link, and the file that it leads to is replaced.
/// @throws std::runtime_error  when it cannot be written, or when there is something in its place that is not a regular
///                             file; what was there stays as it was, and nothing is left beside it
VELMOR_CORE_EXPORT void writeWholeFile(const std::string& attempt, const std::string& file,
                                       const std::vector<unsigned char>& bytes);

} // namespace velmor::core::util
