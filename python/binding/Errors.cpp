#include "python/binding/Errors.h"

#include "core/util/internal/OutOfMemory.h"

#include <opencv2/core.hpp>
#include <pybind11/pybind11.h>

#include <exception>
#include <utility>

namespace velmor::python {

namespace py = pybind11;

void refuse(const std::string& function, const std::string& expected, const std::string& got)
{
    throw py::value_error("velmor." + function + "(): expected " + expected + ", got " + got);
}

void refuse(const std::string& function, const std::invalid_argument& error)
{
    const std::string text = error.what();
    const std::size_t name = text.find("(): ");
    throw py::value_error("velmor." + function + (name == std::string::npos ? "(): " + text : text.substr(name)));
}

void translateErrors()
{
    py::register_local_exception_translator([](std::exception_ptr thrown) {
        try {
            std::rethrow_exception(std::move(thrown));
        } catch (const cv::Exception& error) {
            PyErr_SetString(core::util::isOutOfMemory(error) ? PyExc_MemoryError : PyExc_RuntimeError, error.what());
        }
    });
}

} // namespace velmor::python
