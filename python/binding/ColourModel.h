#pragma once

#include "core/cvdata/ColorGMM.h"

#include <pybind11/pybind11.h>

#include <memory>
#include <string>

namespace velmor::python {

/// A model as Python has it. Its components never change; its threshold does, while the GIL is held.
using ColourModel = core::cvdata::ColorGMM;

/// Refuses a model with a component that is not of two dimensions, as the operators need them.
void needTwoDimensions(const ColourModel& model, const std::string& function);

/// The class velmor.ColourModel.
void defineColourModel(pybind11::module_& module);

} // namespace velmor::python
