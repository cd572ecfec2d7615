#pragma once

#include <pybind11/pybind11.h>

namespace velmor::python {

/// The class velmor.Moments, and the layout of its records, velmor.BLOB_DTYPE.
void defineMoments(pybind11::module_& module);

} // namespace velmor::python
