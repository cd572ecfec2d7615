#pragma once

#include <stdexcept>
#include <string>

namespace velmor::python {

/// Stops a call with a ValueError: "velmor.not_(): expected ..., got ...".
[[noreturn]] void refuse(const std::string& function, const std::string& expected, const std::string& got);

/// Stops a call with what a function of the library said, under the name that Python has for it.
[[noreturn]] void refuse(const std::string& function, const std::invalid_argument& error);

/// Lets Python have a MemoryError where OpenCV finds no memory. Its other errors are RuntimeErrors.
void translateErrors();

} // namespace velmor::python
