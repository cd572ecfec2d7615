#pragma once

#include <cstddef>
#include <string>

namespace velmor::opencv1 {

/// How many bytes of a cascade's file are read at most: the largest of Debian's opencv-data has 2.7 MB.
constexpr std::size_t kMostOfACascade = 16 << 20;

/// Checks a cascade and writes it out again.
///
/// OpenCV's parser, loader and detector trust what they read. An index that points nowhere, a rectangle outside the
/// window or a text that is cut off lets them read and write anywhere. So a file is read here first, by an XML parser
/// that is made for untrusted texts, and OpenCV sees only what comes out.
/// @param file  the text of a cascade's XML file, in the old format (a tree of nodes) or in today's
/// @return      the same cascade in today's format, with every index and number in its range
/// @throws std::runtime_error  naming the line and the reason when it is not a cascade, or one that is not safe to use
std::string checkedCascade(const std::string& file);

} // namespace velmor::opencv1
