#pragma once

#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace velmor::core::util {

// Texts of nested entries in the YAML and XML that cv::FileStorage writes. Its own parsers hang or crash on some texts,
// and some of its versions read whole numbers beyond an int as other ones.

/// What is wrong with a text.
struct TextDamage : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/// A number, or what is made of numbers.
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
    std::string_view key; ///< in a map: a part of the text
    double number = 0.0;
    std::vector<TextEntry> elements; ///< of a list or a map
};

/// Reads a text of entries: the root's map. Time and memory grow with the size of the text, and no text takes more
/// stack than 16 levels need.
///
/// YAML begins with a line `%YAML:1.0`, and `---` behind it; maps and lists are indented or, lists only, in brackets.
/// XML begins with a declaration, holds elements without attributes in `opencv_storage`, those of a list named `_`, and
/// lists of numbers as words between spaces. Both may have comments. There are no matrices, references and types.
/// @param text         outlives the result
/// @param mostEntries  the largest number of entries in all
/// @throws TextDamage  saying what is wrong, and in which line
TextEntry parseEntries(std::string_view text, std::size_t mostEntries);

} // namespace velmor::core::util
