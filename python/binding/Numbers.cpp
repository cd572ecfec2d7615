#include "python/binding/Numbers.h"

#include "python/binding/Arrays.h"

namespace velmor::python {

int wholeNumber(py::handle argument, const std::string& function, const std::string& name, int least, int most)
{
    const std::string expected = name + " from " + std::to_string(least) + " to " + std::to_string(most);
    if (PyBool_Check(argument.ptr()) || !PyIndex_Check(argument.ptr()))
        refuse(function, expected + ", a whole number", py::repr(argument));
    const auto number = py::reinterpret_steal<py::int_>(PyNumber_Index(argument.ptr()));
    if (!number)
        throw py::error_already_set();
    int overflow = 0;
    const long value = PyLong_AsLongAndOverflow(number.ptr(), &overflow);
    if (overflow != 0 || value < least || value > most)
        refuse(function, expected, py::repr(number));
    return static_cast<int>(value);
}

} // namespace velmor::python
