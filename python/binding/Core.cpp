#include "python/binding/Arrays.h"
#include "python/binding/ColourDetector.h"
#include "python/binding/ColourHistogram.h"
#include "python/binding/ColourModel.h"
#include "python/binding/Errors.h"
#include "python/binding/FaceDetect.h"
#include "python/binding/Filters.h"
#include "python/binding/MixtureFilters.h"
#include "python/binding/Moments.h"
#include "python/binding/MotionSegment.h"
#include "python/binding/Threads.h"

namespace {

/// Gives classes the name that users know them by, which pickles hold too.
void nameClasses(const pybind11::module_& module)
{
    for (const auto& item : pybind11::dict(module.attr("__dict__")))
        if (PyType_Check(item.second.ptr()))
            item.second.attr("__module__") = "velmor";
}

} // namespace

PYBIND11_MODULE(_core, module)
{
    module.attr("__version__") = VELMOR_VERSION;
    velmor::python::translateErrors();
    velmor::python::prepareArrays();
    velmor::python::defineThreads(module);
    velmor::python::defineFilters(module);
    velmor::python::defineColourModel(module);
    velmor::python::defineMixtureFilters(module);
    velmor::python::defineColourHistogram(module);
    velmor::python::defineColourDetector(module);
    velmor::python::defineMoments(module);
    velmor::python::defineMotionSegment(module);
    velmor::python::defineFaceDetect(module);
    nameClasses(module);
}
