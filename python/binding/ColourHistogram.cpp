#include "python/binding/ColourHistogram.h"

#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/ColourHist2D.h"
#include "native/ColorHistShader.h"
#include "python/binding/Arguments.h"
#include "python/binding/Class.h"
#include "python/binding/Docstrings.h"
#include "python/binding/Filters.h"
#include "python/binding/Images.h"
#include "python/binding/Self.h"
#include "python/binding/Texts.h"

#include <algorithm>
#include <array>
#include <optional>

namespace velmor::python {
namespace {

using core::cvdata::ColourHist2d;
using cvprocess::CvtColour;
using HistogramPointer = std::shared_ptr<ColourHist2d>;
using Doubles = py::array_t<double, py::array::f_style | py::array::forcecast>;

HistogramPointer withBins(const std::array<unsigned char, 3>& bins)
{
    return std::make_shared<ColourHist2d>(bins[0], bins[1], bins[2]);
}

HistogramPointer empty(py::handle bins)
{
    return withBins(binsOf(bins, "ColourHistogram"));
}

std::array<py::ssize_t, 3> shapeOf(const ColourHist2d& histogram)
{
    std::array<unsigned char, 3> bins{};
    histogram.getNofBins(bins[0], bins[1], bins[2]);
    return {bins[0], bins[1], bins[2]};
}

double* firstOf(const ColourHist2d& histogram)
{
    return &histogram.data()[0];
}

/// The bins themselves. The first index counts fastest.
py::array binsView(const py::object& self)
{
    const auto histogram = self.cast<Self<ColourHist2d>>();
    const auto shape = shapeOf(*histogram);
    const py::ssize_t item = sizeof(double);
    return py::array(py::dtype::of<double>(), shape, {item, item * shape[0], item * shape[0] * shape[1]},
                     firstOf(*histogram), self);
}

/// What np.asarray() asks for: the bins themselves, or numbers of another type, or a copy.
py::object asArray(const py::object& self, const py::object& dtype, const py::object& copy)
{
    const py::array view = binsView(self);
    const bool converts = !dtype.is_none() && !view.dtype().equal(py::dtype::from_args(dtype));
    const bool copies = !copy.is_none() && copy.cast<bool>();
    if (!converts && !copies)
        return view;
    if (!copies && !copy.is_none())
        throw py::value_error("velmor.ColourHistogram: expected float64, as another type takes a copy, got " +
                              std::string(py::str(dtype)));
    return view.attr("astype")(converts ? dtype : view.dtype());
}

// ---- counting

/// A region of an image; all of it where none is given.
cv::Rect regionIn(const cv::Mat& picture, py::handle region, const std::string& function, int least)
{
    if (region.is_none())
        return {{0, 0}, picture.size()};
    const auto [x, y, width, height] = regionOf(region, function, least);
    return {x, y, width, height};
}

CvtColour::ColourFormat formatOf(py::handle format, const std::string& function)
{
    const std::string expected = "format to be 'rgb', 'hsv' or 'bgr'";
    if (!py::isinstance<py::str>(format))
        refuse(function, expected, py::str(py::type::handle_of(format).attr("__name__")));
    const auto is = [&](const char* name) {
        return format.equal(py::str(name));
    };
    if (is("rgb"))
        return CvtColour::RGB;
    if (is("hsv"))
        return CvtColour::HSV;
    if (is("bgr"))
        return CvtColour::BGR;
    refuse(function, expected, "another text");
}

HistogramPointer colourHist2d(py::handle source, py::handle bins, py::handle region, py::handle format, py::handle mask)
{
    const std::string function = "colour_hist2d";
    const ImageSource colours(source, {3}, function);
    std::optional<ImageSource> selected;
    if (!mask.is_none()) {
        selected.emplace(mask, std::vector<int>{1}, function);
        checkMaskSize(*selected, colours, function);
    }
    const cv::Rect counted = regionIn(colours.picture(), region, function, 0);
    const CvtColour::ColourFormat colourFormat = formatOf(format, function);
    const HistogramPointer histogram = withBins(binsOf(bins, function));
    work(function, [&] {
        std::optional<core::cvdata::Image> selects;
        if (selected)
            selects.emplace(selected->image());
        cvprocess::ColourHist2D::computeHistogram(
            colours.image(), *histogram, static_cast<unsigned>(counted.x), static_cast<unsigned>(counted.y),
            static_cast<unsigned>(counted.width), static_cast<unsigned>(counted.height), colourFormat,
            selects ? &*selects : nullptr);
    });
    return histogram;
}

HistogramPointer colorHistShader(py::handle source, py::handle bins, py::handle region)
{
    const std::string function = "color_hist_shader";
    const Source colours(source, function, {{3, 4}, {CV_8U, CV_32F}});
    const cv::Rect counted = regionIn(colours.picture(), region, function, std::numeric_limits<int>::min());
    const HistogramPointer histogram = withBins(binsOf(bins, function));
    work(function, [&] { native::colorHistShader(colours.picture(), counted, *histogram); });
    return histogram;
}

// ---- comparing, copying and pickling

bool areEqual(const Self<ColourHist2d>& self, const Self<ColourHist2d>& other)
{
    const unsigned size = self->data().size();
    return shapeOf(*self) == shapeOf(*other) && std::equal(firstOf(*self), firstOf(*self) + size, firstOf(*other));
}

HistogramPointer copyOf(const Self<ColourHist2d>& self)
{
    return std::make_shared<ColourHist2d>(*self);
}

HistogramPointer fromState(const py::array& state)
{
    const auto isCount = [&](py::ssize_t axis) {
        return state.shape(axis) >= 1 && state.shape(axis) <= 255;
    };
    if (state.ndim() != 3 || !isCount(0) || !isCount(1) || !isCount(2))
        throw py::value_error("velmor.ColourHistogram: expected the state of a histogram, got " + textOf(state));
    const auto bins = [&](py::ssize_t axis) {
        return static_cast<unsigned char>(state.shape(axis));
    };
    const HistogramPointer histogram = withBins({bins(0), bins(1), bins(2)});
    const Doubles values(state);
    std::copy(values.data(), values.data() + values.size(), firstOf(*histogram));
    return histogram;
}

std::string reprOf(const Self<ColourHist2d>& self)
{
    const auto shape = shapeOf(*self);
    return "<velmor.ColourHistogram: " + std::to_string(shape[0]) + " x " + std::to_string(shape[1]) + " x " +
           std::to_string(shape[2]) + " bins>";
}

} // namespace

void defineColourHistogram(py::module_& module)
{
    Class<ColourHist2d, HistogramPointer>(module, "ColourHistogram", docstring("ColourHistogram"))
        .def(py::init(&empty), py::arg("bins"))
        .def_property_readonly("bins", &binsView, docstring("ColourHistogram.bins"))
        .def("__array__", &asArray, py::arg("dtype") = py::none(), py::arg("copy") = py::none())
        .def("__eq__", &areEqual, py::arg("other").none(false), py::is_operator())
        .def("__copy__", &copyOf)
        .def("__deepcopy__", [](const Self<ColourHist2d>& self, py::handle) { return copyOf(self); })
        .def("__repr__", &reprOf)
        .def(py::pickle([](const py::object& self) { return binsView(self); }, &fromState));
    module.def("colour_hist2d", &colourHist2d, docstring("colour_hist2d"), py::arg("source"), py::arg("bins") = 8,
               py::kw_only(), py::arg("region") = py::none(), py::arg("format") = "rgb", py::arg("mask") = py::none());
    module.def("color_hist_shader", &colorHistShader, docstring("color_hist_shader"), py::arg("source"),
               py::arg("bins") = 8, py::kw_only(), py::arg("region") = py::none());
}

} // namespace velmor::python
