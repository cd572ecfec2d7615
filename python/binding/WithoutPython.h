#pragma once

#include <pybind11/pybind11.h>

namespace velmor::python {

/// Other threads run Python code while this is alive, and what works here calls no Python.
///
/// It differs from pybind11's release of the GIL at the interpreter's end: Python then unwinds a thread that comes
/// back, which no destructor may let through. Such a thread waits here for the end of the process instead.
class WithoutPython
{
public:
    WithoutPython();
    WithoutPython(const WithoutPython&) = delete;
    WithoutPython& operator=(const WithoutPython&) = delete;
    ~WithoutPython();

private:
    PyThreadState* mPython;
};

} // namespace velmor::python
