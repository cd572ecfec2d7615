#pragma once

#include "python/binding/gl/Filter.h"

namespace velmor::python::gl {

/// The filters by colour models, for Python. They keep copies of their models.
void defineMixtures(py::module_& module, py::class_<Filter, std::shared_ptr<Filter>>& filter);

} // namespace velmor::python::gl
