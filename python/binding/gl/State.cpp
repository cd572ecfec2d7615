#include "python/binding/gl/State.h"

#include "glsupport/DriverAdapter.h"
#include "glsupport/StateGuard.h"
#include "python/binding/Class.h"
#include "python/binding/Docstrings.h"
#include "python/binding/gl/Methods.h"

#include <pybind11/stl.h>

#include <stdexcept>
#include <vector>

namespace velmor::python::gl {
namespace {

using glsupport::DriverAdapter;

/// The state of the context that is current at the beginning of a with statement, which comes back at its end.
class StateGuard : public std::enable_shared_from_this<StateGuard>
{
public:
    std::shared_ptr<StateGuard> enter()
    {
        const std::string function = "gl.StateGuard.__enter__";
        if (mGuard)
            fail(function, "a guard that is not in use", "one that is");
        const std::shared_ptr<Context> context = Context::current(function);
        mGuard = context->run(function, [&] { return context->own(std::make_unique<glsupport::StateGuard>()); });
        mContext = context;
        return shared_from_this();
    }

    /// With its context closed, nothing is left to come back.
    void exit(const py::args&)
    {
        const std::string function = "gl.StateGuard.__exit__";
        if (!mGuard)
            fail(function, "__enter__() before", "a guard that is not in use");
        if (mContext->isOpen())
            mContext->run(function, [this] { mGuard->end(); });
        mGuard.reset();
    }

private:
    std::shared_ptr<Context> mContext;
    Owner<glsupport::StateGuard> mGuard;
};

DriverAdapter::Report install(bool always)
{
    const std::string function = "gl.DriverAdapter.install";
    return Context::current(function)->runAlone(function, [&] {
        try {
            return DriverAdapter::install(always ? DriverAdapter::Always : DriverAdapter::WhereNeeded);
        } catch (const std::runtime_error& error) {
            const std::string what = error.what();
            throw std::runtime_error("velmor." + function + what.substr(what.find("(): ")));
        }
    });
}

void remove()
{
    const std::string function = "gl.DriverAdapter.remove";
    Context::current(function)->runAlone(function, [] { DriverAdapter::remove(); });
}

void defineAdapter(py::module_& module)
{
    py::class_<DriverAdapter> adapter(module, "DriverAdapter", docstring("gl.DriverAdapter"));
    using Finding = DriverAdapter::Finding;
    using Report = DriverAdapter::Report;
    py::enum_<Finding::Outcome>(adapter, "Outcome", docstring("gl.DriverAdapter.Outcome"))
        .value("ACCEPTED", Finding::Accepted)
        .value("ADAPTED", Finding::Adapted)
        .value("MISSING", Finding::Missing);
    Class<Finding, std::shared_ptr<Finding>>(adapter, "Finding", docstring("gl.DriverAdapter.Finding"))
        .def_property_readonly("expectation", field(&Finding::expectation),
                               docstring("gl.DriverAdapter.Finding.expectation"))
        .def_property_readonly("outcome", field(&Finding::outcome), docstring("gl.DriverAdapter.Finding.outcome"))
        .def_property_readonly("detail", field(&Finding::detail), docstring("gl.DriverAdapter.Finding.detail"));
    Class<Report, std::shared_ptr<Report>>(adapter, "Report", docstring("gl.DriverAdapter.Report"))
        .def_property_readonly("findings", field(&Report::findings), docstring("gl.DriverAdapter.Report.findings"))
        .def("__str__", method(&Report::text));
    adapter.def_static("install", &install, py::arg("always") = false, docstring("gl.DriverAdapter.install"))
        .def_static("remove", &remove, docstring("gl.DriverAdapter.remove"));
}

} // namespace

void defineState(py::module_& module)
{
    defineAdapter(module);
    Class<StateGuard, std::shared_ptr<StateGuard>>(module, "StateGuard", docstring("gl.StateGuard"))
        .def(py::init([] { return std::make_shared<StateGuard>(); }))
        .def("__enter__", method(&StateGuard::enter))
        .def("__exit__", method(&StateGuard::exit));
}

} // namespace velmor::python::gl
