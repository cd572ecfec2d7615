#pragma once

#include <pybind11/pybind11.h>

namespace velmor::python {

/// The classes velmor.ColorGMM and velmor.ColorGMM2: filters that are made of models.
void defineMixtureFilters(pybind11::module_& module);

} // namespace velmor::python
