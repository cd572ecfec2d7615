#pragma once

#include "core/Export.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmor::core::util {

// Files that are read and written in one piece. The attempt is the beginning of an error's text, such as
// "ColorGMM::load(): cannot load".

/// An error with the text "<attempt> '<file>': <reason>".
VELMOR_CORE_EXPORT std::runtime_error fileError(const std::string& attempt, const std::string& file,
                                                const std::string& reason);

/// The bytes of a file.
/// @throws std::runtime_error  when it cannot be read or is empty
VELMOR_CORE_EXPORT std::vector<unsigned char> readWholeFile(const std::string& attempt, const std::string& file);

/// The bytes of a file that has no more than so many: no more are read, whatever it says of its size.
/// @throws std::runtime_error  when it cannot be read, is empty or is larger
VELMOR_CORE_EXPORT std::vector<unsigned char> readWholeFile(const std::string& attempt, const std::string& file,
                                                            std::size_t limit);

/// Writes a file, which appears complete or not at all: the bytes go into a file beside it, which is then renamed. A
/// file that is replaced is whole at every moment, also after a loss of power, and keeps its permissions where
/// the file system has them; a link stays
/// a link, and what it leads to is replaced.
/// @throws std::runtime_error  when it cannot be written, or is there and no regular file; what was there stays as it
///                             was, and nothing is left beside it
VELMOR_CORE_EXPORT void writeWholeFile(const std::string& attempt, const std::string& file,
                                       const std::vector<unsigned char>& bytes);

} // namespace velmor::core::util
