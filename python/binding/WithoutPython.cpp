#include "python/binding/WithoutPython.h"

#include <unistd.h>

namespace velmor::python {

WithoutPython::WithoutPython() : mPython(PyEval_SaveThread()) {}

WithoutPython::~WithoutPython()
{
    try {
        PyEval_RestoreThread(mPython);
    } catch (...) { // which has no object
        // The interpreter has ended, and ends its threads by unwinding them. From a destructor that would abort the
        // process; and what it let go on its way would be Python's, which nobody guards any more.
        for (;;)
            pause();
    }
}

} // namespace velmor::python
