#pragma once

#include <pybind11/pybind11.h>

namespace velmor::python {

/// The class velmor.MotionSegment.
void defineMotionSegment(pybind11::module_& module);

} // namespace velmor::python
