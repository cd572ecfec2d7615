#include "python/binding/MotionSegment.h"

#include "cvprocess/MotionSegment.h"
#include "math/Vector2.h"
#include "python/binding/Class.h"
#include "python/binding/Docstrings.h"
#include "python/binding/Filters.h"
#include "python/binding/Images.h"
#include "python/binding/Numbers.h"
#include "python/binding/Self.h"
#include "python/binding/Texts.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>

namespace velmor::python {
namespace {

/// The motion of a stream.
class Motion
{
public:
    Motion(int width, int height) : mSegment(width, height) {}

    py::object process(py::handle frame, py::handle out)
    {
        static const std::string function = "MotionSegment.process";
        const ImageSource source(frame, {3}, function);
        const IplImage& history = *mSegment.getMHIImage();
        if (source.picture().size() != cv::Size(history.width, history.height))
            refuse(function,
                   "frames of shape (" + std::to_string(history.height) + ", " + std::to_string(history.width) + ", 3)",
                   source.source().description());
        MaskResult result(out, source, function);
        work(function, [&] {
            const std::lock_guard<std::mutex> turn(mMutex);
            const core::cvdata::Image input = source.image();
            core::cvdata::Image output = result.image();
            mSegment.getMHI(&input, &output);
        });
        return result.finish();
    }

    cv::Mat history() { return cv::cvarrToMat(mSegment.getMHIImage()); }

    py::tuple massCenter(py::handle image)
    {
        static const std::string function = "MotionSegment.mass_center";
        const ImageSource source(image, {1}, function);
        math::Vector2 center;
        work(function, [&] {
            core::cvdata::Image weights = source.image();
            mSegment.getMassCenter(&weights, &center); // takes nothing of the stream
        });
        return py::make_tuple(center[0], center[1]);
    }

private:
    std::mutex mMutex;
    cvprocess::MotionSegment mSegment;
};

using MotionPointer = std::shared_ptr<Motion>;

MotionPointer make(py::handle width, py::handle height)
{
    static const std::string function = "MotionSegment";
    const int columns = wholeNumber(width, function, "width", 1, (1 << 27) - 1);
    const int rows = wholeNumber(height, function, "height", 1, std::numeric_limits<int>::max());
    if (4LL * columns * rows >= 1LL << 31)
        refuse(function, "less than 2**29 pixels", std::to_string(columns) + " x " + std::to_string(rows));
    MotionPointer motion;
    work(function, [&] { motion = std::make_shared<Motion>(columns, rows); });
    return motion;
}

/// The time of each pixel's last motion, in the object's own memory.
py::array historyOf(const py::object& self)
{
    const cv::Mat history = self.cast<Self<Motion>>()->history();
    py::array view(py::dtype::of<float>(), {py::ssize_t{history.rows}, py::ssize_t{history.cols}},
                   {static_cast<py::ssize_t>(history.step), py::ssize_t{sizeof(float)}}, history.data, self);
    view.attr("setflags")(py::arg("write") = false);
    return view;
}

} // namespace

void defineMotionSegment(py::module_& module)
{
    Class<Motion, MotionPointer>(module, "MotionSegment", docstring("MotionSegment"))
        .def(py::init(&make), py::arg("width"), py::arg("height"))
        .def(
            "process",
            [](const Self<Motion>& self, py::handle frame, py::handle out) { return self->process(frame, out); },
            docstring("MotionSegment.process"), py::arg("frame"), py::kw_only(), py::arg("out") = py::none())
        .def_property_readonly("history", &historyOf, docstring("MotionSegment.history"))
        .def(
            "mass_center", [](const Self<Motion>& self, py::handle image) { return self->massCenter(image); },
            docstring("MotionSegment.mass_center"), py::arg("image"));
}

} // namespace velmor::python
