#pragma once

#include <pybind11/numpy.h>

namespace velmor::python {

/// numpy's type for the numbers of pictures of a depth. 32-bit integers are unsigned, for which OpenCV has no depth.
pybind11::dtype dtypeOf(int depth);

} // namespace velmor::python
