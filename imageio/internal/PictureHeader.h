#pragma once

#include <string>
#include <vector>

namespace velmor::imageio {

/// Why a file of a known format does not load, where no more can be told.
inline constexpr const char* kDamaged = "its picture is damaged, cut short or too large";

/// Why the bytes of a file are not to be handed to a decoder; nothing when they are.
///
/// Decoders choose themselves by what a file begins with, there are more of them than the formats that load() takes,
/// and some end the process on a damaged file. They also trust the size that a header claims, and ask for memory to
/// hold it. So both are looked at before.
std::string reasonAgainstDecoding(const std::vector<unsigned char>& bytes);

} // namespace velmor::imageio
