#pragma once

#include <string>
#include <vector>

namespace velmor::imageio {

/// Says why a file of a known format does not load, where nothing more precise is known.
inline constexpr const char* kDamaged = "its picture is damaged, cut short or too large";

/// Says why the bytes of a file must not be handed to a decoder; an empty text when they may.
///
/// A decoder is chosen by the first bytes of a file. There are more decoders than formats that load() takes, and some
/// end the process on a damaged file. They also trust the size that a header claims, and ask for memory to hold it. So
/// this function looks at both before.
std::string reasonAgainstDecoding(const std::vector<unsigned char>& bytes);

} // namespace velmor::imageio
