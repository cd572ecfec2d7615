#pragma once

#include <pybind11/pybind11.h>

namespace velmor::python {

/// The class velmor.ColourHistogram, and the functions that make histograms: colour_hist2d() and color_hist_shader().
void defineColourHistogram(pybind11::module_& module);

} // namespace velmor::python
