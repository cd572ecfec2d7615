#include "python/binding/Threads.h"

#include "python/binding/Docstrings.h"
#include "python/binding/ForkedThreads.h"
#include "python/binding/Gate.h"
#include "python/binding/Numbers.h"

#include <opencv2/core/utility.hpp>
#include <pthread.h>

#include <memory>
#include <new>

namespace velmor::python {
namespace {

namespace py = pybind11;

/// More than any machine can use for one picture. Much larger numbers OpenCV's threads do not survive.
constexpr int kMostThreads = 1024;

Gate gate;

void beforeFork()
{
    gate.enterAlone();
}

void afterForkInParent()
{
    gate.leaveAlone();
}

void afterForkInChild()
{
    // Threads may have waited at the gate that are not here any more.
    new (&gate) Gate;
    const int threads = cv::getNumThreads();
    cv::parallel::setParallelForBackend(std::make_shared<ForkedThreads>(), false);
    cv::setNumThreads(threads);
}

void setNumThreads(const py::object& n)
{
    const int threads = n.is_none() ? -1 : wholeNumber(n, "set_num_threads", "n", 1, kMostThreads);
    const WithoutPython others;
    gate.enterAlone();
    cv::setNumThreads(threads);
    gate.leaveAlone();
}

int getNumThreads()
{
    return cv::getNumThreads();
}

} // namespace

Work::Work()
{
    gate.enter();
}

Work::~Work()
{
    gate.leave();
}

void defineThreads(py::module_& module)
{
    pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);
    module.def("set_num_threads", &setNumThreads, docstring("set_num_threads"), py::arg("n"));
    module.def("get_num_threads", &getNumThreads, docstring("get_num_threads"));
}

} // namespace velmor::python
