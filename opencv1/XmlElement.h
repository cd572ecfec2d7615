#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace velmor::opencv1 {

/// An element of an XML text with all that it holds.
struct XmlElement
{
    std::string name;
    std::string text; ///< its own text, without that of its children
    std::vector<XmlElement> children;
    unsigned long line = 0; ///< where it begins, from 1

    /// An error about this element: "line 7: <name> <reason>".
    std::runtime_error error(const std::string& reason) const;

    /// The child of this name; null when there is none.
    /// @throws std::runtime_error  when there are several
    const XmlElement* find(const char* childName) const;

    /// The child of this name.
    /// @throws std::runtime_error  when there is not exactly one
    const XmlElement& child(const char* childName) const;
};

/// Reads the outermost element of a text. Attributes, comments and processing instructions are left out.
/// @throws std::runtime_error  naming the line and the reason when the text is not well-formed, has a document type
///                             (whose entities may grow without bound), or nests deeper or has more elements or words
///                             than any cascade
XmlElement parseXml(const std::string& text);

} // namespace velmor::opencv1
