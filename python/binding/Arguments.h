#pragma once

#include <pybind11/pybind11.h>

#include <array>
#include <string>

/// Arguments of several whole numbers, and real ones. What does not fit is refused with a ValueError.
namespace velmor::python {

/// A number. Infinite ones are taken, what is not a number is not.
double realNumber(pybind11::handle argument, const std::string& function, const std::string& name);

/// A region: x, y, width and height, each from least up.
std::array<int, 4> regionOf(pybind11::handle argument, const std::string& function, int least);

/// Numbers of bins: three, or one for all three channels; each from 1 to 255.
std::array<unsigned char, 3> binsOf(pybind11::handle argument, const std::string& function);

} // namespace velmor::python
