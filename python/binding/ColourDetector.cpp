#include "python/binding/ColourDetector.h"

#include "cvprocess/ColourDetector.h"
#include "python/binding/Class.h"
#include "python/binding/ColourModel.h"
#include "python/binding/Docstrings.h"
#include "python/binding/Filters.h"
#include "python/binding/Images.h"
#include "python/binding/Self.h"

#include <memory>
#include <mutex>

namespace velmor::python {
namespace {

/// The detector of a model. It has a model of its own, with the same components, whose threshold becomes the one that
/// the given model has at each call: that one may change while the detector works without the GIL.
class Detector
{
public:
    Detector(std::shared_ptr<ColourModel> model, bool useMorphology)
        : usesMorphology(useMorphology), mGiven(std::move(model)), mModel(*mGiven), mDetector(&mModel, &mParam)
    {
        needTwoDimensions(mModel, "ColourDetector");
    }

    py::object process(py::handle source, py::handle out)
    {
        static const std::string function = "ColourDetector.process";
        const ImageSource colours(source, {3}, function);
        MaskResult mask(out, colours, function);
        const double threshold = mGiven->detectionThreshold;
        const bool morphology = usesMorphology;
        work(function, [&] {
            const std::lock_guard<std::mutex> turn(mMutex);
            mModel.detectionThreshold = threshold;
            mParam.useMorphology = morphology;
            core::cvdata::Image result = mask.image();
            mDetector.preProcess(colours.image(), result);
        });
        return mask.finish();
    }

    std::shared_ptr<ColourModel> model() const { return mGiven; }

    bool usesMorphology; ///< read and written while the GIL is held

private:
    std::shared_ptr<ColourModel> mGiven;
    std::mutex mMutex; ///< for the rest
    ColourModel mModel;
    cvprocess::ColourDetector::Param mParam{0};
    cvprocess::ColourDetector mDetector;
};

} // namespace

void defineColourDetector(py::module_& module)
{
    Class<Detector, std::shared_ptr<Detector>>(module, "ColourDetector", docstring("ColourDetector"))
        .def(py::init([](const std::shared_ptr<ColourModel>& model, bool useMorphology) {
                 return std::make_shared<Detector>(model, useMorphology);
             }),
             py::arg("model").none(false), py::arg("use_morphology") = false)
        .def_property_readonly(
            "model", [](const Self<Detector>& self) { return self->model(); }, docstring("ColourDetector.model"))
        .def_property(
            "use_morphology", [](const Self<Detector>& self) { return self->usesMorphology; },
            [](const Self<Detector>& self, bool use) { self->usesMorphology = use; },
            docstring("ColourDetector.use_morphology"))
        .def(
            "process",
            [](const Self<Detector>& self, py::handle source, py::handle out) { return self->process(source, out); },
            docstring("ColourDetector.process"), py::arg("source"), py::kw_only(), py::arg("out") = py::none());
}

} // namespace velmor::python
