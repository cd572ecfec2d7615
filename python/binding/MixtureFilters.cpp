#include "python/binding/MixtureFilters.h"

#include "native/ColorGMM.h"
#include "native/ColorGMM2.h"
#include "python/binding/Class.h"
#include "python/binding/ColourModel.h"
#include "python/binding/Docstrings.h"
#include "python/binding/Filters.h"
#include "python/binding/Self.h"

#include <utility>
#include <vector>

namespace velmor::python {
namespace {

/// A filter that is made of models, and called as a function of arrays.
template<typename Filter>
struct MixtureFilter : ArrayFilter
{
    template<typename... Arguments>
    MixtureFilter(const std::string& name, const Arguments&... arguments) : ArrayFilter(name, made(name, arguments...))
    {
    }

private:
    template<typename... Arguments>
    static std::shared_ptr<const native::Filter> made(const std::string& name, const Arguments&... arguments)
    {
        std::shared_ptr<const native::Filter> filter;
        work(name, [&] { filter = std::make_shared<Filter>(arguments...); });
        return filter;
    }
};

using ColorGMM = MixtureFilter<native::ColorGMM>;
using ColorGMM2 = MixtureFilter<native::ColorGMM2>;

/// The models of classes. They are copied while the GIL is held: their thresholds may change without it.
std::vector<ColourModel> modelsOf(py::handle models, const std::string& function)
{
    constexpr std::size_t most = 256;
    if (!PySequence_Check(models.ptr()))
        refuse(function, "a sequence of models", py::str(py::type::handle_of(models).attr("__name__")));
    const std::size_t count = py::len(models);
    if (count < 1 || count > most)
        refuse(function, "1 to 256 models", std::to_string(count));
    std::vector<ColourModel> copies;
    for (std::size_t i = 0; i < count; ++i) {
        const auto model =
            py::reinterpret_steal<py::object>(PySequence_GetItem(models.ptr(), static_cast<py::ssize_t>(i)));
        if (!model)
            throw py::error_already_set();
        if (!py::isinstance<ColourModel>(model))
            refuse(function, "models of type ColourModel", py::str(py::type::of(model).attr("__name__")));
        copies.push_back(*model.cast<std::shared_ptr<ColourModel>>());
    }
    return copies;
}

template<typename Filter, typename Make, typename... Arguments>
void defineMixtureFilter(py::module_& module, const char* name, const Make& make, const Arguments&... arguments)
{
    Class<Filter, std::shared_ptr<Filter>>(module, name, docstring(name))
        .def(py::init(make), arguments...)
        .def(
            "__call__",
            [](const Self<Filter>& self, const py::object& source, const py::object& out, const py::object& dtype) {
                return self->execute(source, out, dtype);
            },
            docstring(name), py::arg("source"), py::kw_only(), py::arg("out") = py::none(),
            py::arg("dtype") = py::none());
}

} // namespace

void defineMixtureFilters(py::module_& module)
{
    defineMixtureFilter<ColorGMM>(
        module, "ColorGMM",
        [](const std::shared_ptr<ColourModel>& model, bool binary) {
            needTwoDimensions(*model, "ColorGMM");
            return std::make_shared<ColorGMM>("ColorGMM", ColourModel(*model), binary);
        },
        py::arg("model").none(false), py::arg("binary") = false);
    defineMixtureFilter<ColorGMM2>(
        module, "ColorGMM2",
        [](py::handle models) {
            const std::vector<ColourModel> classes = modelsOf(models, "ColorGMM2");
            for (const ColourModel& model : classes)
                needTwoDimensions(model, "ColorGMM2");
            return std::make_shared<ColorGMM2>("ColorGMM2", classes);
        },
        py::arg("models"));
}

} // namespace velmor::python
