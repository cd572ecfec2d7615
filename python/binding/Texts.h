#pragma once

#include "python/binding/Arrays.h"

#include <pybind11/numpy.h>

#include <string>
#include <vector>

/// What messages say about arrays, in numpy's words.
namespace velmor::python {

/// Such as "a", "a or b", "a, b or c".
std::string listText(const std::vector<std::string>& items);

/// Such as "uint8 of shape (5, 7)".
std::string textOf(const py::dtype& type, const std::vector<py::ssize_t>& shape);
std::string textOf(const py::array& array);

/// Such as "an array of bool, uint8, float32 or float64 of shape (height, width)". What is converted is named too.
std::string textOf(const Takes& takes);

/// The name of the type of a picture's numbers.
std::string depthText(int depth);

/// A text up to its first line's end.
std::string firstLine(const std::string& text);

} // namespace velmor::python
