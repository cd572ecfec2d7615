#pragma once

#include "python/binding/gl/Context.h"

namespace velmor::python::gl {

/// DriverAdapter and StateGuard, for Python.
void defineState(py::module_& module);

} // namespace velmor::python::gl
