#pragma once

#include "python/binding/Arrays.h"
#include "python/binding/Errors.h"
#include "python/binding/Threads.h"

#include <pybind11/pybind11.h>

#include <stdexcept>
#include <string>

namespace velmor::python {

/// The path of a file, from str, bytes or os.PathLike, in the encoding of the file system.
/// @throws py::value_error  "velmor.ColourModel.load(): expected a path, ..., got int"
std::string pathOf(pybind11::handle argument, const std::string& function);

/// Stops a call with a RuntimeError: what a function of the library said of a file, under the name that Python has for
/// that function. The name of the file in its text may have bytes that are no UTF-8, as os.fsdecode() takes them.
[[noreturn]] void fail(const std::string& function, const std::runtime_error& error);

/// Does work on a file while other threads run Python code. It calls no Python.
template<typename Function>
void workOnFile(const std::string& function, const Function& what)
{
    try {
        const Work working;
        what();
    } catch (const std::invalid_argument& error) {
        refuse(function, error);
    } catch (const std::runtime_error& error) {
        fail(function, error);
    }
}

} // namespace velmor::python
