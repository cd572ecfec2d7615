#pragma once

#include <string>

namespace velmor::opencv1 {

/// Checks a cascade and writes it anew.
///
/// OpenCV's parser, loader and detector trust what they read: an index that points nowhere, a rectangle outside the
/// window or a text that is cut off lets them read and write anywhere. So a file is read here first, by an XML parser
/// that is made for texts from anywhere, and OpenCV sees nothing but what comes out.
/// @param file  what a cascade's XML file holds, of the old format (a tree of nodes) or of the one of today
/// @return      the same cascade in the format of today, every index and number of which is in its range
/// @throws std::runtime_error  naming the line and the reason when it is no cascade, or one that is not safe to use
std::string checkedCascade(const std::string& file);

} // namespace velmor::opencv1
