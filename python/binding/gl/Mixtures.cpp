#include "python/binding/gl/Mixtures.h"

#include "core/cvdata/ColorGMM.h"
#include "cvprocess/gpuStdShaders/ColorGMM.h"
#include "cvprocess/gpuStdShaders/ColorGMM2.h"
#include "python/binding/Class.h"
#include "python/binding/Docstrings.h"

#include <boost/make_shared.hpp>
#include <pybind11/stl.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace velmor::python::gl {
namespace {

using Model = core::cvdata::ColorGMM;

constexpr std::size_t kMostModels = 11;

/// The components too, which models share otherwise. It is made with the GIL, which models need.
Model deepCopy(const std::shared_ptr<Model>& model)
{
    if (!model)
        throw py::type_error("expected a ColourModel, got None");
    Model copy(*model);
    for (boost::shared_ptr<core::cvdata::GM>& component : copy.mixture)
        component = boost::make_shared<core::cvdata::GM>(*component);
    return copy;
}

void checkComponents(const std::string& function, const Model& model, std::size_t most)
{
    if (model.mixture.empty() || model.mixture.size() > most)
        refuse(function, "a model of 1 to " + std::to_string(most) + " components",
               "one of " + std::to_string(model.mixture.size()));
    for (const boost::shared_ptr<core::cvdata::GM>& component : model.mixture)
        if (component->dimension != 2)
            refuse(function, "a model of two dimensions", "one of " + std::to_string(component->dimension));
}

/// What a filter borrows, kept as long as the filter itself, which may be longer than Python keeps it.
struct Models
{
    explicit Models(std::vector<Model> given) : models(std::move(given))
    {
        for (Model& model : models)
            addresses.push_back(&model);
    }
    std::vector<Model> models;
    std::vector<Model*> addresses;
};

struct OneModelFilter : private Models, public cvprocess::ColorGMM
{
    OneModelFilter(const Model& model, Param param) : Models({model}), ColorGMM(addresses[0], &param) {}
};

struct ModelsFilter : private Models, public cvprocess::ColorGMM2
{
    explicit ModelsFilter(const std::vector<Model>& classes) : Models(classes), ColorGMM2(addresses) {}
};

class ColorGMM : public Filter
{
public:
    ColorGMM(const Model& model, bool binary)
        : Filter("ColorGMM", [&] {
              checkComponents("gl.ColorGMM", model, 3); // the library has no shader for more
              cvprocess::ColorGMM::Param param;
              param.mBinaryOutput = binary;
              return std::make_unique<OneModelFilter>(model, param);
          })
    {
    }
};

class ColorGMM2 : public Filter
{
public:
    explicit ColorGMM2(const std::vector<Model>& models)
        : Filter("ColorGMM2", [&] {
              const std::string function = "gl.ColorGMM2";
              if (models.empty() || models.size() > kMostModels)
                  refuse(function, "1 to " + std::to_string(kMostModels) + " models", std::to_string(models.size()));
              for (const Model& model : models)
                  checkComponents(function, model, 9);
              return std::make_unique<ModelsFilter>(models);
          })
    {
    }
};

} // namespace

void defineMixtures(py::module_& module, py::class_<Filter, std::shared_ptr<Filter>>& filter)
{
    using Given = std::shared_ptr<Model>;
    Class<ColorGMM, std::shared_ptr<ColorGMM>>(module, "ColorGMM", filter, docstring("gl.ColorGMM"))
        .def(py::init(
                 [](const Given& model, bool binary) { return std::make_shared<ColorGMM>(deepCopy(model), binary); }),
             py::arg("model"), py::arg("binary") = false);
    Class<ColorGMM2, std::shared_ptr<ColorGMM2>>(module, "ColorGMM2", filter, docstring("gl.ColorGMM2"))
        .def(py::init([](const std::vector<Given>& models) {
                 std::vector<Model> copies;
                 std::transform(models.begin(), models.end(), std::back_inserter(copies), deepCopy);
                 return std::make_shared<ColorGMM2>(copies);
             }),
             py::arg("models"));
}

} // namespace velmor::python::gl
