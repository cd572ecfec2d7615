#pragma once

#include <string>

namespace velmor::python {

/// The docstring of a public name, such as "bgr2hsv", "Moments.find" or "gl.Texture".
///
/// It is what the class page says, with arguments and a sample; python/docstrings.py writes the source.
/// @throws std::logic_error  where python/docstrings.md does not have the name; the import fails then
const char* docstring(const std::string& name);

} // namespace velmor::python
