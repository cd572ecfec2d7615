#pragma once

#include "python/binding/gl/Filter.h"

namespace velmor::python::gl {

/// Laplacian, for Python.
void defineLaplacian(py::module_& module, py::class_<Filter, std::shared_ptr<Filter>>& filter);

} // namespace velmor::python::gl
