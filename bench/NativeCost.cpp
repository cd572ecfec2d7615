// The Python module velmor_native_cost: what a filter's call costs in C++, beside which bench/python.py and the tests
// hold what it costs in Python. It is no part of the package.

#include "catalogue/NativeFilters.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <chrono>
#include <stdexcept>
#include <vector>

namespace velmor::bench {
namespace {

namespace py = pybind11;

/// The picture in an array of three dimensions whose rows have no gaps.
cv::Mat pictureIn(const py::array& array)
{
    if (array.ndim() != 3 || (array.flags() & py::array::c_style) == 0)
        throw std::invalid_argument("velmor_native_cost.seconds(): expected arrays of three dimensions without gaps");
    const int depth = array.dtype().kind() == 'f' ? CV_32F : array.itemsize() == 2 ? CV_16U : CV_8U;
    const int type = CV_MAKETYPE(depth, static_cast<int>(array.shape(2)));
    return {static_cast<int>(array.shape(0)), static_cast<int>(array.shape(1)), type, const_cast<void*>(array.data())};
}

/// The seconds that one of some calls takes, into the memory of a result.
/// @param name  of the filter's class
double seconds(const std::string& name, const std::vector<py::array>& sources, const py::array& into, int calls)
{
    const auto filter = catalogue::makeNative(name);
    const cv::Mat first = pictureIn(sources.at(0)), second = pictureIn(sources.back());
    cv::Mat result = pictureIn(into);
    if (result.type() != filter->resultType(first.type()) || result.size() != first.size())
        throw std::invalid_argument("velmor_native_cost.seconds(): expected a result of the filter's size and type");
    const py::gil_scoped_release others;
    const auto begin = std::chrono::steady_clock::now();
    for (int call = 0; call < calls; ++call) {
        if (filter->sources() == 2)
            filter->execute(first, second, result);
        else
            filter->execute(first, result);
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count() / calls;
}

} // namespace
} // namespace velmor::bench

PYBIND11_MODULE(velmor_native_cost, module)
{
    module.def("seconds", &velmor::bench::seconds, pybind11::arg("name"), pybind11::arg("sources"),
               pybind11::arg("into"), pybind11::arg("calls"));
}
