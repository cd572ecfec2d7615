#include "python/binding/Arguments.h"

#include "python/binding/Arrays.h"
#include "python/binding/Numbers.h"

#include <cmath>
#include <limits>

namespace velmor::python {
namespace {

std::string typeText(py::handle argument)
{
    return py::str(py::type::handle_of(argument).attr("__name__"));
}

/// The elements of a sequence of a given length.
py::tuple elementsOf(py::handle argument, std::size_t count, const std::string& function, const std::string& expected)
{
    if (!PySequence_Check(argument.ptr()))
        refuse(function, expected, typeText(argument));
    const std::size_t size = py::len(argument);
    if (size != count)
        refuse(function, expected, std::to_string(size) + " elements");
    const auto elements = py::reinterpret_steal<py::tuple>(PySequence_Tuple(argument.ptr()));
    if (!elements)
        throw py::error_already_set();
    if (elements.size() != count) // it says one length and has another
        refuse(function, expected, std::to_string(elements.size()) + " elements");
    return elements;
}

} // namespace

double realNumber(py::handle argument, const std::string& function, const std::string& name)
{
    const double value = PyFloat_AsDouble(argument.ptr());
    if (PyErr_Occurred()) {
        const py::error_already_set error;
        if (error.matches(PyExc_OverflowError))
            refuse(function, name + " to be a number that a float holds", "a larger one");
        if (error.matches(PyExc_TypeError))
            refuse(function, name + " to be a number", typeText(argument));
        throw py::error_already_set(error);
    }
    if (std::isnan(value))
        refuse(function, name + " to be a number", "nan");
    return value;
}

std::array<int, 4> regionOf(py::handle argument, const std::string& function, int least)
{
    std::array<int, 4> region{};
    const py::tuple elements = elementsOf(argument, region.size(), function, "region to be (x, y, width, height)");
    const char* const names[] = {"x of region", "y of region", "width of region", "height of region"};
    for (std::size_t i = 0; i < region.size(); ++i)
        region[i] = wholeNumber(elements[i], function, names[i], least, std::numeric_limits<int>::max());
    return region;
}

std::array<unsigned char, 3> binsOf(py::handle argument, const std::string& function)
{
    const auto count = [&](py::handle each) {
        return static_cast<unsigned char>(wholeNumber(each, function, "bins", 1, 255));
    };
    // An array of no dimension is a number too.
    const bool isNumber =
        PyIndex_Check(argument.ptr()) && (!PySequence_Check(argument.ptr()) || PySequence_Size(argument.ptr()) < 0);
    PyErr_Clear();
    if (isNumber) {
        const unsigned char bins = count(argument);
        return {bins, bins, bins};
    }
    const py::tuple elements = elementsOf(argument, 3, function, "bins to be a whole number or three");
    return {count(elements[0]), count(elements[1]), count(elements[2])};
}

} // namespace velmor::python
