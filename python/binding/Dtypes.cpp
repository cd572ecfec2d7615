#include "python/binding/Dtypes.h"

#include <opencv2/core/hal/interface.h>

#include <cstdint>

namespace velmor::python {

pybind11::dtype dtypeOf(int depth)
{
    switch (depth) {
    case CV_8U:
        return pybind11::dtype::of<std::uint8_t>();
    case CV_16U:
        return pybind11::dtype::of<std::uint16_t>();
    case CV_32S:
        return pybind11::dtype::of<std::uint32_t>();
    default:
        return pybind11::dtype::of<float>();
    }
}

} // namespace velmor::python
