#pragma once

#include "python/binding/WithoutPython.h"

#include <pybind11/pybind11.h>

namespace velmor::python {

/// A thread at work outside Python: other threads run Python code while this is alive, and no process is forked.
///
/// A fork waits until all threads have done their work. Else the child would have locks that nobody opens, and parts of
/// work that nobody ends. So what works calls no Python, and makes no second one of these.
///
/// Example:
///
///     {
///         const Work work;
///         filter.execute(source, result);
///     }
class Work
{
public:
    Work();
    ~Work();
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;

private:
    WithoutPython mOthers;
};

/// The number of threads, and what makes them work in forked processes.
void defineThreads(pybind11::module_& module);

} // namespace velmor::python
