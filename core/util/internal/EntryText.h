#pragma once

#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace velmor::core::util {

// Reads nested entries from the YAML and XML that cv::FileStorage writes. The parsers of OpenCV hang or crash on some
// texts, and in some versions they misread whole numbers that do not fit an int.

/// Says what is wrong with a text.
struct TextDamage : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/// A number, a word, or a list or map of entries.
struct TextEntry
{
    enum Kind
    {
        Empty,
        Number,
        Word,
        List,
        Map
    };

    Kind kind = Empty;
    std::string_view key; ///< of an entry in a map; a part of the text
    double number = 0.0;
    std::vector<TextEntry> elements; ///< of a list or a map
};

/// Reads a text and returns the map at its root. Time and memory grow with the size of the text, and no text needs more
/// stack than 16 levels take.
///
/// YAML begins with a line `%YAML:1.0`, followed by `---`. Maps and lists are indented; lists may also stand in
/// brackets. XML begins with a declaration and holds elements without attributes in `opencv_storage`. Elements of a
/// list are named `_`; a list of numbers is words between spaces. Both may have comments. Matrices, references and
/// types are not read.
/// @param text         outlives the result
/// @param mostEntries  the most entries that the text may have in all
/// @throws TextDamage  saying what is wrong, and in which line
TextEntry parseEntries(std::string_view text, std::size_t mostEntries);

} // namespace velmor::core::util
