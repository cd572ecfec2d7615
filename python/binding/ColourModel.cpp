#include "python/binding/ColourModel.h"

#include "python/binding/Arguments.h"
#include "python/binding/Arrays.h"
#include "python/binding/Class.h"
#include "python/binding/Docstrings.h"
#include "python/binding/Files.h"
#include "python/binding/Filters.h"
#include "python/binding/Images.h"
#include "python/binding/Numbers.h"
#include "python/binding/Self.h"
#include "python/binding/Texts.h"

#include <boost/make_shared.hpp>
#include <opencv2/core.hpp>
#include <pybind11/stl.h>

#include <cmath>
#include <limits>
#include <optional>
#include <vector>

namespace velmor::python {
namespace {

using core::cvdata::GM;
using Component = boost::shared_ptr<GM>;
using ModelPointer = std::shared_ptr<ColourModel>;
using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;

/// Where dimensions and components end: decomposing takes the cube of the one, and filters are made of the other.
constexpr py::ssize_t kMostDimensions = 16;
constexpr py::ssize_t kMostComponents = 65536;

// ---- arguments

/// An argument as an array of numbers. Its shape is checked before it is copied.
template<typename HasShape>
Doubles numbersOf(py::handle argument, const std::string& function, const std::string& expected,
                  const HasShape& hasShape)
{
    const py::array array = py::module_::import("numpy").attr("asarray")(argument);
    const bool isNumber = std::string("biuf").find(array.dtype().kind()) != std::string::npos;
    if (!isNumber || !hasShape(array))
        refuse(function, expected, textOf(array));
    return Doubles(array);
}

void needFinite(const Doubles& numbers, const std::string& function, const std::string& name)
{
    for (py::ssize_t i = 0; i < numbers.size(); ++i)
        if (!std::isfinite(numbers.data()[i]))
            refuse(function, name + " to be finite", std::to_string(numbers.data()[i]));
}

float weightOf(double weight, const std::string& function)
{
    if (!(std::abs(weight) <= static_cast<double>(std::numeric_limits<float>::max())))
        refuse(function, "a weight that a float32 holds", std::to_string(weight));
    return static_cast<float>(weight);
}

Component componentOf(const double* covariance, const double* mean, py::ssize_t dimension, float weight)
{
    const auto order = static_cast<unsigned>(dimension);
    math::SquareMatrix matrix(order);
    std::copy(covariance, covariance + dimension * dimension, matrix[0]);
    math::Vector vector(order);
    std::copy(mean, mean + dimension, &vector[0]);
    return GM::fromCovariance(matrix, vector, weight);
}

// ---- making models

ModelPointer fromComponents(py::handle weights, py::handle means, py::handle covariances, py::handle threshold)
{
    const std::string function = "ColourModel";
    const Doubles mean = numbersOf(
        means, function, "means of shape (n, dimension), with at most 65536 of 1 to 16", [](const py::array& a) {
            return a.ndim() == 2 && a.shape(0) <= kMostComponents && a.shape(1) >= 1 && a.shape(1) <= kMostDimensions;
        });
    const py::ssize_t count = mean.shape(0), dimension = mean.shape(1);
    const Doubles weight = numbersOf(weights, function, "weights of shape (n,), as many as means",
                                     [&](const py::array& a) { return a.ndim() == 1 && a.shape(0) == count; });
    const Doubles covariance =
        numbersOf(covariances, function, "covariances of shape (n, dimension, dimension), as many as means",
                  [&](const py::array& a) {
                      return a.ndim() == 3 && a.shape(0) == count && a.shape(1) == dimension && a.shape(2) == dimension;
                  });
    needFinite(mean, function, "means");
    const auto model = std::make_shared<ColourModel>();
    model->detectionThreshold = realNumber(threshold, function, "threshold");
    work(function, [&] {
        for (py::ssize_t k = 0; k < count; ++k)
            model->mixture.push_back(componentOf(covariance.data() + k * dimension * dimension,
                                                 mean.data() + k * dimension, dimension,
                                                 weightOf(weight.data()[k], function)));
    });
    return model;
}

ModelPointer fromCovariance(py::handle covariance, py::handle mean, py::handle weight)
{
    const std::string function = "ColourModel.from_covariance";
    const Doubles vector = numbersOf(mean, function, "a mean of shape (dimension,), 1 to 16", [](const py::array& a) {
        return a.ndim() == 1 && a.shape(0) >= 1 && a.shape(0) <= kMostDimensions;
    });
    const py::ssize_t dimension = vector.shape(0);
    const Doubles matrix = numbersOf(
        covariance, function, "a covariance of shape (dimension, dimension), that of the mean",
        [&](const py::array& a) { return a.ndim() == 2 && a.shape(0) == dimension && a.shape(1) == dimension; });
    needFinite(vector, function, "the mean");
    const auto model = std::make_shared<ColourModel>();
    const float share = weightOf(realNumber(weight, function, "weight"), function);
    work(function, [&] { model->mixture = {componentOf(matrix.data(), vector.data(), dimension, share)}; });
    return model;
}

ModelPointer train(py::handle samples, py::handle components, py::handle mask)
{
    const std::string function = "ColourModel.train";
    const ImageSource colours(samples, {3}, function);
    const int count = wholeNumber(components, function, "components", 1, std::numeric_limits<int>::max());
    const core::cvdata::Image image = colours.image();
    const auto model = std::make_shared<ColourModel>();
    const auto learn = [&](const core::cvdata::Image* selects, int pixels) {
        if (pixels < count)
            refuse(function, "a pixel for each of " + std::to_string(count) + " components", std::to_string(pixels));
        work(function, [&] { model->train(image, selects, count); });
    };
    if (mask.is_none()) {
        learn(nullptr, static_cast<int>(colours.picture().total()));
    } else {
        const ImageSource selected(mask, {1}, function);
        checkMaskSize(selected, colours, function);
        const core::cvdata::Image selects(selected.image()); // a copy: training counts first and takes then
        learn(&selects, cv::countNonZero(selects.mat()));
    }
    return model;
}

// ---- files

ModelPointer load(py::handle path)
{
    const std::string function = "ColourModel.load", file = pathOf(path, function);
    const auto model = std::make_shared<ColourModel>();
    workOnFile(function, [&] { model->load(file); });
    return model;
}

void save(const Self<ColourModel>& self, py::handle path)
{
    const std::string function = "ColourModel.save", file = pathOf(path, function);
    const ColourModel model = *self; // whose threshold stays while it is written
    workOnFile(function, [&] { model.save(file); });
}

// ---- components as arrays

/// What components hold, as an array of one element for each, which nobody can take for a way to change them.
/// @param take  writes what one component has to an address
template<typename Take>
py::array arrayOf(const ColourModel& model, std::vector<py::ssize_t> shape, const Take& take)
{
    shape.insert(shape.begin(), static_cast<py::ssize_t>(model.mixture.size()));
    py::array_t<double> result(shape);
    double* place = result.mutable_data();
    const py::ssize_t step = model.mixture.empty() ? 0 : result.size() / result.shape(0);
    for (const Component& component : model.mixture) {
        take(*component, place);
        place += step;
    }
    result.attr("setflags")(py::arg("write") = false);
    return result;
}

/// The dimension that all components have; a model read from a file may mix them.
py::ssize_t dimensionOf(const ColourModel& model)
{
    const int dimension = model.mixture.empty() ? 2 : model.mixture.front()->dimension;
    for (const Component& component : model.mixture)
        if (component->dimension != dimension)
            throw py::value_error("velmor.ColourModel: expected components of one dimension, got " +
                                  std::to_string(dimension) + " and " + std::to_string(component->dimension));
    return dimension;
}

const double* inverseOf(const GM& component)
{
    return component.invCovariance[0];
}

std::size_t inverseSize(const GM& component)
{
    return std::size_t{component.invCovariance.rows()} * component.invCovariance.rows();
}

/// The inverse of what is kept; not numbers where it has none, as in a file that was written by hand.
void writeCovariance(const GM& component, double* place)
{
    const cv::Mat inverse(component.dimension, component.dimension, CV_64F, component.invCovariance[0]);
    cv::Mat covariance(component.dimension, component.dimension, CV_64F, place);
    if (cv::invert(inverse, covariance) == 0)
        covariance = std::numeric_limits<double>::quiet_NaN();
}

py::array weightsOf(const Self<ColourModel>& self)
{
    return arrayOf(*self, {}, [](const GM& each, double* place) { *place = static_cast<double>(each.weight); });
}

py::array determinantsOf(const Self<ColourModel>& self)
{
    return arrayOf(*self, {}, [](const GM& each, double* place) { *place = static_cast<double>(each.determinant); });
}

py::array meansOf(const Self<ColourModel>& self)
{
    return arrayOf(*self, {dimensionOf(*self)}, [](const GM& each, double* place) {
        std::copy(&each.mean[0], &each.mean[0] + each.mean.size(), place);
    });
}

py::array inversesOf(const Self<ColourModel>& self)
{
    const py::ssize_t dimension = dimensionOf(*self);
    return arrayOf(*self, {dimension, dimension}, [](const GM& each, double* place) {
        std::copy(inverseOf(each), inverseOf(each) + inverseSize(each), place);
    });
}

py::array covariancesOf(const Self<ColourModel>& self)
{
    const py::ssize_t dimension = dimensionOf(*self);
    return arrayOf(*self, {dimension, dimension}, writeCovariance);
}

// ---- comparing, copying and pickling

/// Every number of a component: what pickles hold, and what makes components equal.
struct Numbers
{
    explicit Numbers(const GM& component)
        : weight(component.weight), determinant(component.determinant),
          mean(&component.mean[0], &component.mean[0] + component.mean.size()),
          inverse(inverseOf(component), inverseOf(component) + inverseSize(component))
    {
    }
    bool operator==(const Numbers& other) const
    {
        return weight == other.weight && determinant == other.determinant && mean == other.mean &&
               inverse == other.inverse;
    }

    float weight, determinant;
    std::vector<double> mean, inverse;
};

bool areEqual(const Self<ColourModel>& self, const Self<ColourModel>& other)
{
    const auto same = [](const Component& a, const Component& b) {
        return a == b || Numbers(*a) == Numbers(*b);
    };
    return self->detectionThreshold == other->detectionThreshold &&
           std::equal(self->mixture.begin(), self->mixture.end(), other->mixture.begin(), other->mixture.end(), same);
}

py::tuple stateOf(const Self<ColourModel>& self)
{
    py::list components;
    for (const Component& component : self->mixture) {
        const Numbers numbers(*component);
        components.append(py::make_tuple(numbers.weight, numbers.determinant, numbers.mean, numbers.inverse));
    }
    return py::make_tuple(self->detectionThreshold, components);
}

[[noreturn]] void refuseState()
{
    throw py::value_error("velmor.ColourModel: expected the state of a model, got another one");
}

Component componentOf(const py::tuple& state)
{
    if (state.size() != 4)
        refuseState();
    const auto mean = state[2].cast<std::vector<double>>(), inverse = state[3].cast<std::vector<double>>();
    if (mean.empty() || mean.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()) ||
        inverse.size() != mean.size() * mean.size())
        refuseState();
    auto component = boost::make_shared<GM>(static_cast<int>(mean.size()));
    component->weight = state[0].cast<float>();
    component->determinant = state[1].cast<float>();
    std::copy(mean.begin(), mean.end(), &component->mean[0]);
    std::copy(inverse.begin(), inverse.end(), component->invCovariance[0]);
    return component;
}

ModelPointer fromState(const py::tuple& state)
{
    if (state.size() != 2)
        refuseState();
    try {
        const auto model = std::make_shared<ColourModel>();
        model->detectionThreshold = state[0].cast<double>();
        for (const py::handle component : state[1].cast<py::list>())
            model->mixture.push_back(componentOf(component.cast<py::tuple>()));
        return model;
    } catch (const py::cast_error&) {
        refuseState();
    }
}

ModelPointer copyOf(const Self<ColourModel>& self)
{
    return std::make_shared<ColourModel>(*self);
}

std::string reprOf(const Self<ColourModel>& self)
{
    const std::size_t count = self->mixture.size();
    return "<velmor.ColourModel: " + std::to_string(count) + (count == 1 ? " component" : " components") +
           ", threshold " + std::string(py::repr(py::float_(self->detectionThreshold))) + ">";
}

} // namespace

void needTwoDimensions(const ColourModel& model, const std::string& function)
{
    for (const Component& component : model.mixture)
        if (component->dimension != 2)
            refuse(function, "a model of 2 colour components", "one of " + std::to_string(component->dimension));
}

void defineColourModel(py::module_& module)
{
    Class<ColourModel, ModelPointer>(module, "ColourModel", docstring("ColourModel"))
        .def(py::init(&fromComponents), py::arg("weights"), py::arg("means"), py::arg("covariances"),
             py::arg("threshold") = ColourModel().detectionThreshold)
        .def_static("train", &train, docstring("ColourModel.train"), py::arg("samples"), py::arg("components") = 1,
                    py::arg("mask") = py::none())
        .def_static("load", &load, docstring("ColourModel.load"), py::arg("path"))
        .def_static("from_covariance", &fromCovariance, docstring("ColourModel.from_covariance"), py::arg("covariance"),
                    py::arg("mean"), py::arg("weight") = 1.0)
        .def("save", &save, docstring("ColourModel.save"), py::arg("path"))
        .def_property_readonly("weights", &weightsOf, docstring("ColourModel.weights"))
        .def_property_readonly("means", &meansOf, docstring("ColourModel.means"))
        .def_property_readonly("covariances", &covariancesOf, docstring("ColourModel.covariances"))
        .def_property_readonly("inverse_covariances", &inversesOf, docstring("ColourModel.inverse_covariances"))
        .def_property_readonly("determinants", &determinantsOf, docstring("ColourModel.determinants"))
        .def_property(
            "threshold", [](const Self<ColourModel>& self) { return self->detectionThreshold; },
            [](const Self<ColourModel>& self, py::handle threshold) {
                self->detectionThreshold = realNumber(threshold, "ColourModel.threshold", "threshold");
            },
            docstring("ColourModel.threshold"))
        .def("__len__", [](const Self<ColourModel>& self) { return self->mixture.size(); })
        .def("__eq__", &areEqual, py::arg("other").none(false), py::is_operator())
        .def("__copy__", &copyOf)
        .def("__deepcopy__", [](const Self<ColourModel>& self, py::handle) { return copyOf(self); })
        .def("__repr__", &reprOf)
        .def(py::pickle(&stateOf, &fromState));
}

} // namespace velmor::python
