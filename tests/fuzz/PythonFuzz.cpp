// Calls of the Python package, with any arguments: tests/python/search draws them from the bytes of an input. A call
// returns or raises what is documented, and one that raises leaves what it was given as it was.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

/// What a call has given; stops the fuzzer where it has raised something.
PyObject* expectResult(PyObject* result)
{
    if (!result) {
        PyErr_Print();
        std::abort();
    }
    return result;
}

void start()
{
    PyConfig config;
    PyConfig_InitPythonConfig(&config);
    // Whose packages are taken: another Python may come first in the path.
    const PyStatus set = PyConfig_SetString(&config, &config.program_name, VELMOR_FUZZ_PYTHON);
    const PyStatus started = PyStatus_Exception(set) ? set : Py_InitializeFromConfig(&config);
    PyConfig_Clear(&config);
    if (PyStatus_Exception(started))
        Py_ExitStatusException(started);
}

/// The function that makes the calls of an input.
PyObject* findCaller()
{
    start();
    PyObject* const module = expectResult(PyImport_ImportModule("one"));
    Py_DECREF(expectResult(PyObject_CallMethod(module, "begin", nullptr)));
    return expectResult(PyObject_GetAttrString(module, "one"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static PyObject* const caller = findCaller();
    Py_DECREF(expectResult(
        PyObject_CallFunction(caller, "y#", reinterpret_cast<const char*>(data), static_cast<Py_ssize_t>(size))));
    return 0;
}
