#pragma once

#include <pybind11/pybind11.h>

#include <string>

namespace velmor::python {

/// An argument as a whole number of a range. numpy's whole numbers are taken; True and 2.0 are not.
/// @throws py::value_error  "velmor.laplacian(): expected kernel from 0 to 2, got 3"
int wholeNumber(pybind11::handle argument, const std::string& function, const std::string& name, int least, int most);

} // namespace velmor::python
