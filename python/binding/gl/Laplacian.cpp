#include "python/binding/gl/Laplacian.h"

#include "cvprocess/gpuStdShaders/Laplacian.h"
#include "python/binding/Class.h"
#include "python/binding/Docstrings.h"

namespace velmor::python::gl {
namespace {

class Laplacian : public Filter
{
public:
    explicit Laplacian(int kernel)
        : Filter("Laplacian", [kernel] {
              cvprocess::Laplacian::Param param;
              param.kernelType = kernel;
              return std::make_unique<cvprocess::Laplacian>(&param);
          })
    {
    }
};

} // namespace

void defineLaplacian(py::module_& module, py::class_<Filter, std::shared_ptr<Filter>>& filter)
{
    Class<Laplacian, std::shared_ptr<Laplacian>>(module, "Laplacian", filter, docstring("gl.Laplacian"))
        .def(py::init([](int kernel) { return std::make_shared<Laplacian>(kernel); }), py::arg("kernel") = 0);
}

} // namespace velmor::python::gl
