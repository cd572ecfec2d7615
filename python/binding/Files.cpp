#include "python/binding/Files.h"

namespace velmor::python {

std::string pathOf(py::handle argument, const std::string& function)
{
    PyObject* bytes = nullptr;
    if (PyUnicode_FSConverter(argument.ptr(), &bytes))
        return py::reinterpret_steal<py::bytes>(bytes);
    const py::error_already_set error;
    const std::string expected = "a path: str, bytes or os.PathLike";
    if (error.matches(PyExc_TypeError))
        refuse(function, expected, py::str(py::type::handle_of(argument).attr("__name__")));
    if (error.matches(PyExc_ValueError)) // a NUL, or a character that the file system's encoding does not have
        refuse(function, expected, "one with characters that no path has");
    throw py::error_already_set(error);
}

void fail(const std::string& function, const std::runtime_error& error)
{
    std::string text = error.what();
    const std::size_t name = text.find("(): ");
    text = "velmor." + function + (name == std::string::npos ? "(): " + text : text.substr(name));
    const auto decoded = py::reinterpret_steal<py::object>(
        PyUnicode_DecodeFSDefaultAndSize(text.data(), static_cast<py::ssize_t>(text.size())));
    if (decoded)
        PyErr_SetObject(PyExc_RuntimeError, decoded.ptr());
    throw py::error_already_set();
}

} // namespace velmor::python
