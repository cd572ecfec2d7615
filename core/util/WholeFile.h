#pragma once

#include "core/Export.h"

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

/// Writes a file, which appears complete or not at all.
/// @throws std::runtime_error  when it cannot be written; a file that was there stays as it was
VELMOR_CORE_EXPORT void writeWholeFile(const std::string& attempt, const std::string& file,
                                       const std::vector<unsigned char>& bytes);

} // namespace velmor::core::util
